// Questions to a ledger in which a row is damaged: it is left out and named, and the
// rest is answered.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "alarms/measures.h"
#include "ledger/change_feed.h"
#include "ledger/reader.h"
#include "support/ledger_entries.h"
#include "support/temp_dir.h"

namespace polaiga::engine {
namespace damaged_rows_test {

using Texts = std::vector<std::string>;

// Three faults, each raised by a sensor of its own.
class DamagedRowsTest : public testing::Test {
 protected:
  void SetUp() override {
    {
      test::LedgerWithAlarms engine(path_, test::kAll);
      engine.write(test::raises("FIRST", "first", 395, 1001));
      engine.write(test::raises("SECOND", "second", 395, 1002));
      engine.write(test::raises("THIRD", "third", 395, 1003));
    }
    damage("fanSECOND");
  }

  // Changes the last letter of the first place where the file has this text.
  void damage(const std::string& text) {
    std::string content = dir_.read("ledger.db");
    const auto at = content.find(text);
    ASSERT_NE(at, std::string::npos);
    content[at + text.size() - 1] = '?';
    dir_.write("ledger.db", content);
    for (const char* part : {"-wal", "-shm"}) std::filesystem::remove(path_ + part);
  }

  static Texts dns(const std::vector<ActiveRow>& rows) {
    Texts found;
    for (const ActiveRow& row : rows) found.push_back(row.fault.dn);
    return found;
  }

  static Texts dns(const std::vector<StoredChange>& changes) {
    Texts found;
    for (const StoredChange& change : changes) found.push_back(change.change.fault_dn);
    return found;
  }

  test::TempDir dir_;
  const std::string path_ = dir_.file("ledger.db");
  const std::string kSubject = "subject 2: the row is damaged: its checksum does not match";
};

TEST_F(DamagedRowsTest, Active) {
  LedgerReader reader(path_);
  EXPECT_EQ(dns(reader.active({}, {})), (Texts{"first", "third"}));
  EXPECT_EQ(reader.left_out(), Texts{kSubject});
  EXPECT_EQ(dns(reader.active({}, 1002)), Texts{"first"});
  EXPECT_EQ(reader.left_out(), Texts{kSubject});
  EXPECT_EQ(dns(reader.active({}, 1001)), Texts{"first"});
  EXPECT_EQ(reader.left_out(), Texts{});
}

TEST_F(DamagedRowsTest, HistoryAndExplain) {
  damage("second/fault-F0395");
  LedgerReader reader(path_);
  Texts alarms;
  for (const StoredAlarm& alarm : reader.history("", 0)) alarms.push_back(alarm.dn);
  EXPECT_EQ(alarms, (Texts{"first", "third"}));
  EXPECT_EQ(reader.left_out(), Texts{"form 2: the row is damaged: its checksum does not match"});
  EXPECT_EQ(reader.explain("third/fault-F0395")->raise.event.sequence, 3);
  EXPECT_EQ(reader.left_out(), Texts{});
}

// An alarm is left out when its name cannot be read, or nothing of who reports it. What its events say does not matter.
TEST_F(DamagedRowsTest, FactsOfAlarms) {
  LedgerReader reader(path_);
  const auto dns = [&] {
    Texts found;
    reader.alarm_facts("", [&](const AlarmFact& fact) { found.push_back(fact.dn); });
    return found;
  };
  EXPECT_EQ(dns(), (Texts{"first", "second", "third"}));
  EXPECT_EQ(reader.left_out(), Texts{});
  damage("fanSECOND");  // the second place: who reports it
  reader = LedgerReader(path_);
  EXPECT_EQ(dns(), (Texts{"first", "third"}));
  EXPECT_EQ(reader.left_out(), (Texts{"report 2: the row is damaged: its checksum does not match",
                                      "fault 2 is active, though nobody reports it"}));
  damage("third/fault-F0395");
  reader = LedgerReader(path_);
  EXPECT_EQ(dns(), Texts{"first"});
  EXPECT_EQ(reader.left_out().back(), "form 3: the row is damaged: its checksum does not match");
}

TEST_F(DamagedRowsTest, AlarmsWithTheirTexts) {
  const auto dns_of = [](const ToldAlarms& told) {
    Texts found;
    for (const ToldAlarm& one : told.alarms) found.push_back(one.alarm.dn);
    return found;
  };
  LedgerReader reader(path_);
  EXPECT_EQ(dns_of(reader.tell_active({})), (Texts{"first", "third"}));
  EXPECT_EQ(reader.left_out(), Texts{kSubject});
  EXPECT_EQ(dns_of(reader.tell_history("", 0)), (Texts{"first", "third"}));
  EXPECT_EQ(reader.left_out(), Texts{kSubject});
}

TEST_F(DamagedRowsTest, ExplainOfADamagedFaultSaysWhy) {
  LedgerReader reader(path_);
  try {
    reader.explain("second/fault-F0395");
    ADD_FAILURE() << "it was explained";
  } catch (const LedgerError& error) {
    EXPECT_EQ(error.what(), path_ + ": " + kSubject);
  }
}

// The way from a change to the one before it must not lead in a circle.
TEST_F(DamagedRowsTest, AChangeThatSaysThatItComesBeforeItself) {
  test::LedgerWithAlarms(path_, test::kAll).write(test::raises("FIRST", "first", 395, 1004));
  Database(path_, Access::kReadWrite).exec("UPDATE change SET previous = number WHERE number = 4");
  LedgerReader reader(path_);
  reader.explain("first/fault-F0395");
  EXPECT_EQ(reader.left_out(), Texts{"change 4 comes before itself"});
}

TEST_F(DamagedRowsTest, Changes) {
  LedgerReader reader(path_);
  const ChangesRead latest = reader.latest({}, 10);
  EXPECT_EQ(dns(latest.changes), (Texts{"first/fault-F0395", "third/fault-F0395"}));
  EXPECT_EQ(reader.left_out(), Texts{kSubject});
  const ChangesRead after = reader.after({}, 1);
  EXPECT_EQ(dns(after.changes), Texts{"third/fault-F0395"});
  EXPECT_EQ(after.through, 3);
  EXPECT_EQ(reader.left_out(), Texts{kSubject});
}

// What comes last is told once, too.
TEST_F(DamagedRowsTest, AReaderThatFollowsGoesPastIt) {
  damage("fanTHIRD");
  LedgerReader reader(path_);
  const ChangesRead after = reader.after({}, 1);
  EXPECT_EQ(dns(after.changes), Texts{});
  EXPECT_EQ(after.through, 3);
  EXPECT_EQ(reader.left_out().size(), 2U);
  reader.after({}, after.through);
  EXPECT_EQ(reader.left_out(), Texts{});
}

// A publisher may not miss a change without knowing it.
TEST_F(DamagedRowsTest, TheFeedHasAGap) {
  ChangeFeed feed(path_);
  const Feed before = feed.next(0, 10);
  EXPECT_FALSE(before.gap);
  EXPECT_EQ(dns(before.changes), Texts{"first/fault-F0395"});
  const Feed at = feed.next(1, 10);
  ASSERT_TRUE(at.gap);
  EXPECT_EQ(at.gap->first, 2);
  EXPECT_EQ(at.gap->last, 2);
  EXPECT_TRUE(at.changes.empty());
  const Snapshot snapshot = feed.snapshot();
  EXPECT_EQ(snapshot.number, 3);
  EXPECT_EQ(dns(snapshot.active), (Texts{"first", "third"}));
  EXPECT_EQ(dns(feed.next(2, 10).changes), Texts{"third/fault-F0395"});
}

// Publishers are told which alarms they cannot read, so that they do not take them for ended.
TEST_F(DamagedRowsTest, OutputsAreToldWhichAlarmsCannotBeRead) {
  const FeedAlarms found = ChangeFeed(path_).alarms(std::vector<ChangeNumber>{1, 2, 3});
  ASSERT_EQ(found.alarms.size(), 2U);
  EXPECT_EQ(found.alarms[0].number, 1);
  EXPECT_EQ(found.alarms[1].number, 3);
  EXPECT_EQ(found.unread, std::vector<ChangeNumber>{2});
  EXPECT_EQ(found.damage, Texts{kSubject});
}

// Retention takes damaged rows with the others.
TEST_F(DamagedRowsTest, RetentionGoesOn) {
  for (const char* harm :
       {"UPDATE event SET received = -1 WHERE seq = 5", "UPDATE change SET kind = 99 WHERE number = 4",
        "UPDATE fault SET severity = 99 WHERE number = 4", "UPDATE standing SET count = -1"}) {
    const test::TempDir dir;
    const std::string path = dir.file("ledger.db");
    const Retention few{.events = 10, .days = 0, .bytes = 0};
    {
      test::LedgerWithAlarms engine(path, few);
      engine.write(test::raises("A", "stays", 395, 1001));
      engine.pass(1);
      engine.write(test::raises("B", "goes", 395, 1002));   // change 2
      engine.write(test::clears("B", "goes", 395, 1003));   // change 3
      engine.write(test::raises("B", "again", 395, 1004));  // change 4
      engine.write(test::clears("B", "again", 395, 1005));  // change 5
      engine.pass(2);
    }
    Database(path, Access::kReadWrite).exec(harm);
    test::LedgerWithAlarms engine(path, few);
    EXPECT_TRUE(engine.ledger.set_aside().empty()) << harm;
    EXPECT_NO_THROW(engine.pass(40)) << harm;
    EXPECT_EQ(test::rows(path, "SELECT count(*) FROM change"), Texts{"0"}) << harm;
    EXPECT_EQ(test::rows(path, "SELECT count(*) FROM event WHERE seq IN (1, 5)"), Texts{"1"}) << harm;
    EXPECT_EQ(engine.alarms.size(), 1U);
  }
}

}  // namespace damaged_rows_test
}  // namespace polaiga::engine
