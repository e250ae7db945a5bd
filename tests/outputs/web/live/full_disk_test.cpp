// The server while the disk of the ledger, and of its own state, has no room left.
#include <nlohmann/json.hpp>

#include "support/small_disk.h"
#include "support/web.h"

namespace polaiga::web::test {
namespace full_disk_test {

using engine::test::comes_true;
using engine::test::SmallDisk;

class FullDiskTest : public WebTest {
 protected:
  void SetUp() override {
    engine_ = std::make_unique<Child>("$POLAIGA run --ledger '" + disk_.file("ledger.db") + "' --socket '" + socket() +
                                          "' --control '" + control() + "'",
                                      dir_);
    feed(engine::test::slow(1));
    start_server();
  }

  // At a Unix socket, where its own user is an operator.
  void start_server() {
    web_.reset();
    web_dir_.write("err", "");
    web_ = std::make_unique<Child>(
        POLAIGA_WEB " --ledger '" + disk_.file("ledger.db") + "' --control '" + control() + "' --state '" +
            disk_.file("") + "' --push-local --listen 'unix:" + web_dir_.file("web.sock") + "' --program \"$POLAIGA\"",
        web_dir_);
    ASSERT_TRUE(web_->has_complained("ready: ")) << web_dir_.read("err");
  }

  Answer ask(const std::string& request, const std::string& body = "") const {
    return Connection(web_dir_.file("web.sock"))
        .ask(request + " HTTP/1.1\r\nHost: localhost\r\nContent-Type: application/json\r\nContent-Length: " +
             std::to_string(body.size()) + "\r\n\r\n" + body);
  }

  bool shows_the_alarm() const {
    return comes_true([this] {
      const Answer answer = ask("GET /api/v1/alarms");
      return answer.status == 200 && answer.json().at("found") == 1;
    });
  }

  int subscribe() const {
    return ask("POST /redfish/v1/EventService/Subscriptions",
               R"({"Destination":"http://127.0.0.1:9/","Protocol":"Redfish"})")
        .status;
  }

  SmallDisk disk_{dir_, 8};
};

TEST_F(FullDiskTest, WhatTheLedgerHasIsShownAllTheSame) {
  ASSERT_TRUE(shows_the_alarm());
  disk_.fill(0);
  EXPECT_TRUE(shows_the_alarm());
  EXPECT_EQ(ask("GET /api/v1/history").status, 200);
  EXPECT_EQ(ask("GET /metrics").status, 200);
  start_server();
  EXPECT_TRUE(shows_the_alarm()) << "also by a server that starts now";
}

TEST_F(FullDiskTest, ASubscriptionThatCannotBeKeptIsRefused) {
  ASSERT_TRUE(shows_the_alarm());
  disk_.fill(0);
  EXPECT_EQ(subscribe(), 507);
  EXPECT_TRUE(shows_the_alarm());
  disk_.make_room();
  EXPECT_EQ(subscribe(), 201);
  start_server();
  const Answer kept = ask("GET /redfish/v1/EventService/Subscriptions");
  EXPECT_EQ(kept.json().at("Members@odata.count"), 1) << kept.body;
}

}  // namespace full_disk_test
}  // namespace polaiga::web::test
