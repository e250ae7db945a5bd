// What a subscription is told of its way to the subscriber. The tests of Redfish in Python push to real receivers.
#include "redfish/pusher.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "support/ledger_of.h"
#include "support/program.h"
#include "support/temp_dir.h"

namespace polaiga::web {
namespace pusher_test {

using engine::test::comes_true;

constexpr const char* kParts[] = {"-wal", "-shm", "-mark", ""};  // the file that makes it a ledger is the last

void move_ledger(const std::string& from, const std::string& to) {
  for (const char* part : kParts) {
    if (std::filesystem::exists(from + part)) std::filesystem::rename(from + part, to + part);
  }
}

TEST(PusherTest, TheTroubleOfALedgerIsOverWhenItCanBeReadThoughNothingIsDelivered) {
  const engine::test::TempDir dir;
  const std::string path = dir.file("ledger.db");
  engine::test::write_ledger(path, {{1, R"({"entity":"fan","sensor":"FAN1_TACH1","offset":3,"state":1})"}});
  LiveLedger live(path, [](const std::string&) {});
  ASSERT_TRUE(comes_true([&] { return live.view() != nullptr; }));
  // Its changes are asked of the disk, since the server has not seen them come.
  SubscriptionStore store(dir.path().string());
  Subscription rare;
  rare.destination = "http://203.0.113.9/";
  rare.severities = {"Critical"};
  rare.cursor = {live.view()->of.ledger_id, 0};
  const std::string id = store.add(rare)->id;
  move_ledger(path, dir.file("away.db"));
  ASSERT_TRUE(comes_true([&] { return live.problem().has_value(); }));

  const Pusher pusher(live, store, {}, [](engine::Priority, const std::string&) {});
  ASSERT_TRUE(comes_true([&] { return !pusher.trouble_of(id).empty(); }));
  move_ledger(dir.file("away.db"), path);
  EXPECT_TRUE(comes_true([&] { return store.find(id)->cursor.number == 1; })) << "it is read, and not wanted";
  EXPECT_TRUE(comes_true([&] { return pusher.trouble_of(id).empty(); })) << pusher.trouble_of(id);
}

}  // namespace pusher_test
}  // namespace polaiga::web
