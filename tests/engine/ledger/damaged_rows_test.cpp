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
  Database(path_, Access::kReadWrite).exec("UPDATE change SET previous = 0, of_alarm = 0 WHERE number = 4");
  EXPECT_EQ(reader.explain("first/fault-F0395")->changes_left_out, 0U);
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

// It goes on right after the damage, also to what comes next.
TEST_F(DamagedRowsTest, TheGapOfTheFeedIsNoLongerThanTheDamage) {
  damage("fanTHIRD");
  const auto gap = [this](ChangeNumber after) {
    const Feed feed = ChangeFeed(path_).next(after, 10);
    return feed.gap ? std::to_string(feed.gap->first) + " to " + std::to_string(feed.gap->last) : "none";
  };
  EXPECT_EQ(gap(1), "2 to 3");
  EXPECT_EQ(gap(2), "3 to 3");
  {
    test::LedgerWithAlarms engine(path_, test::kAll);
    engine.write(test::raises("A", "fourth", 395, 1004));
    engine.write(test::raises("A", "fifth", 395, 1005));
  }
  EXPECT_EQ(gap(1), "2 to 3");
  EXPECT_EQ(dns(ChangeFeed(path_).next(3, 10).changes), (Texts{"fourth/fault-F0395", "fifth/fault-F0395"}));
}

// Whatever row is gone, the alarm that needs it is left out with its name, and the others are told.
TEST_F(DamagedRowsTest, WhatIsGoneIsNamed) {
  const auto after = [](const std::string& harm, const auto& ask) {
    const test::TempDir dir;
    const std::string path = dir.file("ledger.db");
    {
      test::LedgerWithAlarms engine(path, test::kAll);
      engine.write(test::raises("A", "stays", 395, 1001));
      engine.write(test::raises("B", "moves", 395, 1002));       // 2
      engine.write(test::moves("B", "moves", 395, 396, 1003));   // 3, 4
      engine.write(test::raises("C", "ends", 395, 1004));        // 5
      engine.write(test::clears("C", "ends", 395, 1005));        // 6
      engine.write(test::raises("D", "merged", 395, 1006));      // 7
      engine.write(test::raises("E", "merged", 396, 1007));      // 8
      engine.write(test::moves("D", "merged", 395, 396, 1008));  // 9, 10, 11: alarm 8 goes on as part of alarm 7
    }
    Database(path, Access::kReadWrite).exec(harm);
    LedgerReader reader(path);
    Texts found = ask(reader);
    for (const std::string& text : reader.left_out()) found.push_back(text);
    return found;
  };
  const auto active = [](LedgerReader& reader) { return dns(reader.active({}, {})); };
  const auto history = [](LedgerReader& reader) {
    Texts found;
    for (const StoredAlarm& alarm : reader.history("", 0)) found.push_back(std::to_string(alarm.number));
    return found;
  };
  const auto facts = [](LedgerReader& reader) {
    Texts found;
    reader.alarm_facts("", [&](const AlarmFact& fact) { found.push_back(std::to_string(fact.number)); });
    return found;
  };
  const std::string gone = " is gone, though it is still referred to";
  EXPECT_EQ(after("SELECT 1", active), (Texts{"stays", "moves", "merged"}));
  EXPECT_EQ(after("DELETE FROM alarm WHERE number = 2", active), (Texts{"stays", "merged", "alarm 2" + gone}));
  EXPECT_EQ(after("DELETE FROM event WHERE seq = 3", active), (Texts{"stays", "merged", "fault 4" + gone}));
  EXPECT_EQ(after("DELETE FROM fault WHERE number = 1", active), (Texts{"moves", "merged", "fault 1" + gone}));
  EXPECT_EQ(after("UPDATE report SET last_seq = 99 WHERE fault = 4", active),
            (Texts{"stays", "merged", "event 99" + gone}));
  EXPECT_EQ(after("UPDATE event SET outcome = NULL WHERE seq = 3", active),
            (Texts{"stays", "merged", "the record of event 3 is gone"}));
  EXPECT_EQ(after("DELETE FROM subject WHERE seq = 2", active),
            (Texts{"stays", "merged", "what event 3 says is gone"}));

  EXPECT_EQ(after("SELECT 1", history), (Texts{"1", "2", "5", "7", "8"}));
  EXPECT_EQ(after("DELETE FROM fault WHERE number = 1", history), (Texts{"2", "5", "7", "8", "fault 1" + gone}));
  EXPECT_EQ(after("DELETE FROM change WHERE number = 6", history), (Texts{"1", "2", "7", "8", "change 6" + gone}));
  EXPECT_EQ(after("DELETE FROM event WHERE seq = 5", history), (Texts{"1", "2", "7", "8", "event 5" + gone}));
  EXPECT_EQ(after("DELETE FROM change WHERE number = 10", history), (Texts{"1", "2", "5", "7", "change 10" + gone}));

  EXPECT_EQ(after("SELECT 1", facts), (Texts{"1", "2", "5", "7", "8"}));
  EXPECT_EQ(after("DELETE FROM fault WHERE number = 1", facts), (Texts{"2", "5", "7", "8", "fault 1" + gone}));
  EXPECT_EQ(after("DELETE FROM fault WHERE number = 2; DELETE FROM step WHERE alarm = 2", facts),
            (Texts{"1", "5", "7", "8", "fault 2" + gone}));
  EXPECT_EQ(after("DELETE FROM event WHERE seq = 1", facts), (Texts{"2", "5", "7", "8", "event 1" + gone}));
  EXPECT_EQ(after("DELETE FROM form WHERE seq = 1", facts), (Texts{"2", "5", "7", "8", "form 1" + gone}));
  EXPECT_EQ(after("UPDATE event SET form = NULL WHERE seq = 1", facts),
            (Texts{"2", "5", "7", "8", "the record of event 1 is gone"}));
  EXPECT_EQ(after("DELETE FROM change WHERE number = 6", facts), (Texts{"1", "2", "7", "8", "change 6" + gone}));
  EXPECT_EQ(after("DELETE FROM event WHERE seq = 5", facts), (Texts{"1", "2", "7", "8", "event 5" + gone}));
  EXPECT_EQ(after("DELETE FROM change WHERE number = 10", facts), (Texts{"1", "2", "5", "7", "change 10" + gone}));
}

// The question about the one fault says what is missing of it.
TEST_F(DamagedRowsTest, ExplainSaysWhatIsGone) {
  const auto complaint = [this](const std::string& harm) {
    const std::string content = dir_.read("ledger.db");
    Database(path_, Access::kReadWrite).exec(harm);
    const std::string text = test::complaint_of([&] { LedgerReader(path_).explain("third/fault-F0395"); });
    for (const char* part : {"-wal", "-shm"}) std::filesystem::remove(path_ + part);
    dir_.write("ledger.db", content);
    return text;
  };
  EXPECT_EQ(complaint("SELECT 1"), "none");
  EXPECT_EQ(complaint("DELETE FROM tables"), path_ + ": the host tables of event 3 are gone");
  EXPECT_EQ(complaint("DELETE FROM alarm WHERE number = 3"), path_ + ": alarm 3 is gone, though its fault is there");
  EXPECT_EQ(complaint("UPDATE fault SET later_alarm = 1 WHERE number = 3"),
            path_ + ": fault 3 is no step of its alarm");
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
