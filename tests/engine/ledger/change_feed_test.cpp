#include "ledger/change_feed.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "ledger/connection.h"
#include "ledger/stored_rows.h"
#include "support/ledger_fixture.h"

namespace polaiga::engine {
namespace change_feed_test {

using test::clears;
using test::kAll;
using test::moves;
using test::raises;

using Rows = std::vector<std::string>;

class ChangeFeedTest : public test::LedgerFixture {
 protected:
  static std::string numbers(const Feed& feed) {
    std::string found;
    for (const StoredChange& change : feed.changes) found += std::to_string(change.change.number) + " ";
    if (feed.gap) found += "gap " + std::to_string(feed.gap->first) + " to " + std::to_string(feed.gap->last);
    return found;
  }
};

TEST_F(ChangeFeedTest, ChangesComeWithAllThatTheyNeed) {
  open(kAll);
  engine_->write(raises("A", "o", 395, 1001));
  engine_->write(moves("A", "o", 395, 396, 1002));
  engine_->write({.reported = false, .sensor = "B", .at = 1003, .withdrawn = {"o/fault-F0396"}});
  ChangeFeed feed(path_);
  EXPECT_EQ(feed.ledger_id(), engine_->ledger.id());
  const Feed all = feed.next(0, 100);
  ASSERT_EQ(numbers(all), "1 2 3 4 ");
  EXPECT_EQ(all.changes[1].change, (Change{.number = 2,
                                           .sequence = 2,
                                           .kind = ChangeKind::kSuperseded,
                                           .at = 1002,
                                           .fault_dn = "o/fault-F0395",
                                           .fault = 1,
                                           .alarm = 1,
                                           .before = Severity::kMinor,
                                           .after = Severity::kMinor,
                                           .other = 0,
                                           .shown = 1,
                                           .reporters = 0}));
  ASSERT_TRUE(all.changes[1].record);
  EXPECT_STREQ(all.changes[1].record->record.fault_dn, "o/fault-F0396");
  EXPECT_EQ(all.changes[3].change.fault_dn, "o/fault-F0396");
  EXPECT_FALSE(all.changes[3].record);
  EXPECT_STREQ(all.changes[3].event.event.event.sensor_name, "B");
  for (const StoredChange& change : all.changes) EXPECT_FALSE(change.shown);  // that is told of settled ones
  EXPECT_EQ(all.through, 4);
  EXPECT_EQ(numbers(feed.next(2, 1)), "3 ");
  EXPECT_EQ(feed.next(2, 1).through, 3);
  EXPECT_EQ(numbers(feed.next(4, 100)), "");
  EXPECT_EQ(numbers(feed.next(0, 0)), "");
  EXPECT_EQ(numbers(feed.next(6, 100)), "gap 5 to 6");  // of a later state of the ledger
}

TEST_F(ChangeFeedTest, BeginsWithASnapshot) {
  open(kAll);
  ChangeFeed feed(path_);
  EXPECT_EQ(feed.snapshot().number, 0);
  engine_->write(raises("A", "o", 395));
  engine_->write(raises("A", "p", 395));
  engine_->write(clears("A", "o", 395));
  const Snapshot snapshot = feed.snapshot();
  EXPECT_EQ(snapshot.ledger_id, engine_->ledger.id());
  EXPECT_EQ(snapshot.number, 3);
  ASSERT_EQ(snapshot.active.size(), 1U);
  EXPECT_EQ(snapshot.active[0].fault.fault_dn, "p/fault-F0395");
}

// The same in parts, each of which is read when it is wanted.
TEST_F(ChangeFeedTest, BeginsInParts) {
  open(kAll);
  ChangeFeed feed(path_);
  EXPECT_EQ(feed.start().number, 0);
  EXPECT_EQ(feed.start().alarms, std::vector<ChangeNumber>{});
  engine_->write(raises("A", "o", 395, 1001));
  engine_->write(raises("A", "p", 395, 1002));
  engine_->write(raises("B", "p", 395, 1003));
  engine_->write(moves("A", "o", 395, 396, 1004));
  engine_->write(raises("A", "q", 395, 1005));
  engine_->write(clears("A", "q", 395, 1006));
  const FeedStart start = feed.start();
  EXPECT_EQ(start.number, 7);
  EXPECT_EQ(start.alarms, (std::vector<ChangeNumber>{1, 2}));
  const FeedAlarms found = feed.alarms(std::vector<ChangeNumber>{2, 6, 99, 1});
  EXPECT_TRUE(found.damage.empty());
  ASSERT_EQ(found.alarms.size(), 2U);
  EXPECT_EQ(found.alarms[0].number, 2);
  EXPECT_EQ(found.alarms[0].fault.fault_dn, "p/fault-F0395");
  EXPECT_EQ(found.alarms[0].fault.reporters, 2U);
  EXPECT_EQ(found.alarms[1].number, 1);
  EXPECT_EQ(found.alarms[1].created, 1001);
  EXPECT_EQ(found.alarms[1].fault.since, 1004);
  EXPECT_EQ(found.alarms[1].fault.severity, Severity::kMajor);
  EXPECT_STREQ(found.alarms[1].shown.record.fault_dn, "o/fault-F0396");
}

// Outputs were not told of its raise, but a snapshot says what is active.
TEST_F(ChangeFeedTest, ASnapshotHasSilencedAlarms) {
  open(kAll);
  OperatorAction maintain;
  maintain.kind = ActionKind::kMaintain;
  maintain.dn = "o";
  maintain.until = maintain.until_age = 2000;
  engine_->act(maintain, 1000);  // 1
  engine_->write();
  engine_->write(raises("A", "o", 395, 1001));  // 2
  ChangeFeed feed(path_);
  const Snapshot snapshot = feed.snapshot();
  ASSERT_EQ(snapshot.active.size(), 1U);
  EXPECT_TRUE(snapshot.active[0].is_silenced());
  EXPECT_EQ(feed.start().alarms, std::vector<ChangeNumber>{2});
  const FeedAlarms found = feed.alarms(std::vector<ChangeNumber>{2});
  ASSERT_EQ(found.alarms.size(), 1U);
  EXPECT_TRUE(found.alarms[0].is_silenced());
}

// The fault of an alarm that goes from level to level and back, and begins to chatter as the first alarm of all.
// Outputs take the alarm for active all the time; it is told with the fault and not once more.
TEST_F(ChangeFeedTest, AnAlarmThatChattersIsToldWithItsFault) {
  open(kAll);
  engine_->alarms.watch_chattering(ChatteringLimit{.times = 2, .within = 60});
  const auto write = [this](const test::InputOf& input) {
    engine_->add(input);
    engine_->batch.chattering = engine_->alarms.take_chattering();
    engine_->write();
  };
  write(raises("A", "o", 395, 1001));
  for (Moment at = 1002; at < 1008; at += 2) {
    write(moves("A", "o", 395, 396, at));
    write(moves("A", "o", 396, 395, at + 1));
  }
  write(raises("A", "p", 395, 1008));
  ChangeFeed feed(path_);
  const Snapshot snapshot = feed.snapshot();
  ASSERT_EQ(snapshot.chattering.size(), 1U);
  EXPECT_EQ(snapshot.chattering[0].fault.fault_dn, "o/fault-F0395");
  EXPECT_EQ(snapshot.chattering[0].fault.shown_alarm, 1);
  ASSERT_EQ(snapshot.active.size(), 1U);
  EXPECT_EQ(snapshot.active[0].fault.dn, "p");
  const FeedStart start = feed.start();
  ASSERT_EQ(start.alarms.size(), 2U);
  EXPECT_EQ(start.alarms[0], 1);
  const FeedAlarms found = feed.alarms(start.alarms);
  ASSERT_EQ(found.alarms.size(), 2U);
  EXPECT_TRUE(found.alarms[0].chattering);
  EXPECT_FALSE(found.alarms[1].chattering);
  // It is clear, and outputs do not hear of it.
  write(clears("A", "o", 395, 1009));
  EXPECT_EQ(feed.start().alarms, start.alarms);
  EXPECT_EQ(feed.alarms(start.alarms).alarms.size(), 2U);
}

// One of two reporters takes its report back: the alarm shows what the other one says.
TEST_F(ChangeFeedTest, AnAlarmShowsTheRecordThatIsStillInForce) {
  open(kAll);
  engine_->write(raises("A", "o", 395, 1001));
  engine_->write(raises("B", "o", 395, 1002));
  engine_->write(clears("B", "o", 395, 1003));
  const FeedAlarms found = ChangeFeed(path_).alarms(std::vector<ChangeNumber>{1});
  ASSERT_EQ(found.alarms.size(), 1U);
  EXPECT_STREQ(found.alarms[0].shown.event.event.event.sensor_name, "A");
}

TEST_F(ChangeFeedTest, TellsTheOldestChange) {
  open({.events = 2, .days = 0, .bytes = 0});
  ChangeFeed feed(path_);
  EXPECT_EQ(feed.oldest_number(), 0);
  engine_->write(raises("A", "o", 395));
  EXPECT_EQ(feed.oldest_number(), 1);
  for (int i = 0; i < 50; ++i) {
    engine_->write(clears("A", "o", 395));
    engine_->write(raises("A", "o", 395));
  }
  const ChangeNumber oldest = feed.oldest_number();
  EXPECT_GT(oldest, 1);
  EXPECT_TRUE(feed.next(oldest - 2, 10).gap);
  ASSERT_FALSE(feed.next(oldest - 1, 10).gap);
  EXPECT_EQ(feed.next(oldest - 1, 10).changes.at(0).change.number, oldest);
}

// Whoever begins with a snapshot and follows the changes has what is active.
TEST_F(ChangeFeedTest, SnapshotsAndChangesGoTogether) {
  open({.events = 0, .days = 0, .bytes = 512 * 1024});
  ChangeFeed feed(path_);
  Snapshot snapshot = feed.snapshot();
  std::map<ChangeNumber, Sequence> active;  // faults, with the record that each shows
  const auto begin = [&] {
    snapshot = feed.snapshot();
    active.clear();
    for (const ActiveRow& row : snapshot.active) active[row.fault.number] = row.fault.shown;
  };
  std::size_t gaps = 0;
  std::uint32_t state = 1;
  for (int i = 0; i < 400; ++i) {
    for (int k = 0; k < 20; ++k) {
      state = state * 1664525 + 1013904223;
      const std::string dn = "o" + std::to_string(state >> 27U);
      const std::uint32_t code = 395 + (state >> 20U) % 2;
      const char* sensor = (state >> 18U) % 2 == 0 ? "A" : "B";
      switch ((state >> 22U) % 3) {
        case 0:
          engine_->add(raises(sensor, dn.c_str(), code));
          break;
        case 1:
          engine_->add(moves(sensor, dn.c_str(), code, 791 - code));
          break;
        default:
          engine_->add(clears(sensor, dn.c_str(), code));
      }
    }
    engine_->write();
    if (i % 150 >= 100) continue;  // a while it does not ask, so that changes are gone
    for (;;) {
      const Feed next = feed.next(snapshot.number, 7);
      if (next.gap) {
        ++gaps;
        begin();
        continue;
      }
      if (next.changes.empty()) break;
      for (const StoredChange& change : next.changes) {
        snapshot.number = change.change.number;
        const ChangeKind kind = change.change.kind;
        if (kind == ChangeKind::kCleared || kind == ChangeKind::kSuperseded || kind == ChangeKind::kWithdrawn) {
          active.erase(change.change.fault);
        } else {
          active[change.change.fault] = change.change.shown;
        }
      }
    }
    std::map<ChangeNumber, Sequence> expected;
    for (const ActiveFault* fault : engine_->alarms.in_order()) expected[fault->fault] = fault->shown;
    ASSERT_EQ(active, expected) << i;
  }
  EXPECT_GE(gaps, 1U);
}

TEST_F(ChangeFeedTest, CursorsAreRead) {
  open(kAll);
  ChangeFeed feed(path_);
  EXPECT_EQ(feed.cursor("snmp"), std::nullopt);
  engine_->ledger.set_cursor("snmp", 7, 0);
  EXPECT_EQ(feed.cursor("snmp"), 7);
  EXPECT_TRUE(feed.has_changed());
  EXPECT_FALSE(feed.has_changed());
}

// However many changes there are, those that come next are found by their numbers.
TEST_F(ChangeFeedTest, ReadsByKey) {
  open(kAll);
  const Database db(path_, Access::kRead);
  for (const auto direction : {StoredRows::Direction::kForwards, StoredRows::Direction::kBackwards}) {
    Statement plan(db, "EXPLAIN QUERY PLAN " + StoredRows::changes_sql(direction));
    std::size_t steps = 0;
    while (plan.step()) {
      EXPECT_TRUE(plan.text(3).starts_with("SEARCH")) << plan.text(3);
      EXPECT_TRUE(plan.text(3).find("USING INTEGER PRIMARY KEY") != std::string_view::npos) << plan.text(3);
      ++steps;
    }
    EXPECT_EQ(steps, 10U);  // one for each table
  }
}

// They are a gap, since a publisher may miss nothing without knowing it.
// Also when what is there leads to no file any more.
TEST_F(ChangeFeedTest, ALedgerThatIsGoneOrReplacedIsNoticed) {
  open(kAll);
  engine_.reset();
  const std::string link = dir_.file("link.db");
  std::filesystem::create_symlink(path_, link);
  const LedgerConnection connection(link);
  EXPECT_FALSE(connection.is_replaced());
  std::filesystem::rename(path_, dir_.file("elsewhere.db"));
  EXPECT_TRUE(connection.is_replaced());
  dir_.write("ledger.db", "another file");
  EXPECT_TRUE(connection.is_replaced());
  std::filesystem::rename(dir_.file("elsewhere.db"), path_);
  EXPECT_FALSE(connection.is_replaced());
}

TEST_F(ChangeFeedTest, RowsThatNoEngineWrites) {
  open(kAll);
  engine_->write(raises("A", "o", 395));
  engine_->write(raises("A", "o", 395));
  engine_->write(raises("A", "o", 395));
  const auto damage = [&](const std::string& harm) {
    Database(path_, Access::kReadWrite).exec(harm);
    ChangeFeed feed(path_);
    EXPECT_EQ(feed.next(0, 10).changes.size(), 1U);
    const Feed at = feed.next(1, 10);
    EXPECT_TRUE(at.gap && at.gap->first == 2 && at.gap->last == 2) << harm;
    EXPECT_EQ(feed.next(2, 10).changes.size(), 1U);
    return at.damage;
  };
  EXPECT_EQ(damage("UPDATE change SET after = 6 WHERE number = 2"), Rows{"change 2: after is out of range: 6"});
  EXPECT_EQ(damage("UPDATE change SET reporters = -1, after = 3 WHERE number = 2"),
            Rows{"change 2: reporters is out of range: -1"});
  EXPECT_EQ(damage("UPDATE change SET reporters = 1; UPDATE event SET zone = -1001 WHERE seq = 2"),
            Rows{"event 2: zone is out of range: -1001"});
  EXPECT_EQ(damage("UPDATE event SET zone = NULL, created = '" + std::string(64, '1') + "' WHERE seq = 2"),
            Rows{"event 2: created is longer than its field: '" + std::string(40, '1') + "...'"});
  EXPECT_EQ(damage("DELETE FROM change WHERE number = 2"), Rows{});
}

}  // namespace change_feed_test
}  // namespace polaiga::engine
