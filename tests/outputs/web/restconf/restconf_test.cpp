// The alarms by RESTCONF, beside an engine.
#include <nlohmann/json.hpp>

#include "support/web.h"

namespace polaiga::web::test {
namespace {

using nlohmann::json;

constexpr const char* kAlarms = "/restconf/data/ietf-alarms:alarms";

class RestconfTest : public WebTest {
 protected:
  void SetUp() override {
    start_engine();
    start_web();
    feed(engine::test::slow(1) + engine::test::slow(2));
    get_until("/api/v1/alarms", [](const Answer& answer) { return answer.json().value("change", 0) >= 2; });
  }
};

TEST_F(RestconfTest, AlarmsAreThoseOfTheCommand) {
  const Answer answer = get(kAlarms);
  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(answer.header("content-type"), "application/yang-data+json");
  EXPECT_EQ(answer.body, engine::test::Shell().run("$POLAIGA active --rfc8632 --ledger '" + ledger() + "'").out);
  const json alarms = answer.json();
  const json& list = alarms.at("ietf-alarms:alarms").at("alarm-list");
  EXPECT_EQ(list.at("number-of-alarms"), 2);
  EXPECT_EQ(list.at("alarm").size(), 2U);
  EXPECT_EQ(get(kAlarms, "If-None-Match: " + answer.header("etag") + "\r\n").status, 304);
}

TEST_F(RestconfTest, AContainerCanBeReadAlone) {
  const json list = get(std::string(kAlarms) + "/alarm-list").json();
  EXPECT_EQ(list.size(), 1U);
  EXPECT_EQ(list.at("ietf-alarms:alarm-list").at("number-of-alarms"), 2);
  EXPECT_EQ(get(std::string(kAlarms) + "/ietf-alarms:alarm-list").json(), list);
  EXPECT_EQ(get(std::string(kAlarms) + "/nothing").status, 404);
}

TEST_F(RestconfTest, WhatChangesIsSeen) {
  feed(engine::test::well(1));
  const Answer answer = get_until(std::string(kAlarms) + "/alarm-list", [](const Answer& got) {
    const json body = got.json();
    return body.at("ietf-alarms:alarm-list").at("alarm").size() == 1;
  });
  EXPECT_EQ(answer.json().at("ietf-alarms:alarm-list").at("number-of-alarms"), 1);
}

TEST_F(RestconfTest, ClientsFindTheirWayAndAreToldWhatIsWrong) {
  EXPECT_NE(get("/.well-known/host-meta").body.find("<Link rel='restconf' href='/restconf'/>"), std::string::npos);
  EXPECT_TRUE(get("/restconf").json().at("ietf-restconf:restconf").contains("data"));
  const json error = get("/restconf/data/other:thing").json();
  EXPECT_EQ(error.at("ietf-restconf:errors").at("error").at(0).at("error-tag"), "invalid-value");
  Connection connection(address());
  const Answer refused = connection.ask("DELETE " + std::string(kAlarms) + " HTTP/1.1\r\nHost: x\r\n\r\n");
  EXPECT_EQ(refused.status, 405);
  EXPECT_EQ(refused.header("allow"), "GET, HEAD");
}

}  // namespace
}  // namespace polaiga::web::test
