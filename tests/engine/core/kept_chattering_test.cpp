// What is known of chattering faults outlives restarts, kills, retention and the replacement of a damaged ledger; and
// the change feed goes on where it was.
#include <gtest/gtest.h>

#include <memory>

#include "core/recorder.h"
#include "intake/event_parser.h"
#include "ledger/change_feed.h"
#include "ledger/verification.h"
#include "support/manual_clock.h"
#include "support/temp_dir.h"

namespace polaiga::engine {
namespace kept_chattering_test {

using test::kToday;

const std::string kFan = "sys/rack-unit-1/fan-module-1-1/fan-1/fault-F0395";

using Texts = std::vector<std::string>;

// "8 chattering alarm 7 minor>minor raises 4".
std::string text_of(const Change& change) {
  std::string text = std::to_string(change.number) + " " + std::string(change_word(change.kind)) + " alarm " +
                     std::to_string(change.alarm) + " " + std::string(severity_word(change.before)) + ">" +
                     std::string(severity_word(change.after));
  if (change.other != 0) text += " other " + std::to_string(change.other);
  if (change.raises != 0) text += " raises " + std::to_string(change.raises);
  return text;
}

// A fault is chattering when it is raised again more than twice in a minute.
class KeptChatteringTest : public ::testing::Test {
 protected:
  void start(const Retention& retention = {}) {
    stop();
    ledger_.emplace(path_, retention, clock_.wall());
    recorder_ = std::make_unique<Recorder>(Recorder::Options{.chattering = limit_}, clock_, *ledger_);
    recorder_->use_tables(read_host_tables(POLAIGA_TABLES_DIR), POLAIGA_TABLES_DIR);
  }
  // What was not written is lost, as when the process is killed.
  void stop() {
    recorder_.reset();
    ledger_.reset();
  }

  void event(int fan, int state) {
    recorder_->record(parse_sensor_event(R"({"entity":"fan","sensor":"FAN1_TACH1","offset":3,"instance":)" +
                                         std::to_string(fan) + R"(,"state":)" + std::to_string(state) + "}"));
  }
  void raise() { event(1, 1); }
  void clear() { event(1, 0); }
  void write() { recorder_->commit(); }

  // Changes 1 to 8: the last one says that the fault of alarm 7 is chattering.
  void chatter() {
    for (int i = 0; i < 3; ++i) {
      raise();
      clear();
    }
    raise();
    write();
  }

  // What outputs get after a change, to the end.
  Texts told(ChangeNumber after, std::size_t at_once = 100) const {
    ChangeFeed feed(path_);
    Texts texts;
    for (ChangeNumber before = -1; before != after;) {
      before = after;
      const Feed next = feed.next(after, at_once);
      EXPECT_FALSE(next.gap);
      EXPECT_TRUE(next.damage.empty());
      for (const StoredChange& one : next.changes) texts.push_back(text_of(one.change));
      after = next.through;
    }
    return texts;
  }

  // "alarm 7 minor raises 4", of each chattering fault in a snapshot.
  Texts chattering() const {
    Texts texts;
    for (const auto& [fault, raise] : ChangeFeed(path_).snapshot().chattering) {
      texts.push_back("alarm " + std::to_string(fault.shown_alarm) + " " +
                      std::string(severity_word(fault.shown_severity)) + " raises " + std::to_string(fault.raises) +
                      (raise ? "" : " without a record"));
    }
    return texts;
  }

  Texts findings() const {
    Texts found;
    for (const Finding& finding : verify_ledger(path_).findings) found.push_back(finding.what);
    return found;
  }

  std::int64_t count(const std::string& of) const {
    const Database db(path_, Access::kRead);
    Statement row(db, "SELECT count(*) FROM " + of);
    row.step();
    return row.integer(0);
  }

  test::TempDir dir_;
  std::string path_ = dir_.file("ledger.db");
  test::ManualClock clock_{kToday};
  std::optional<ChatteringLimit> limit_ = ChatteringLimit{.times = 2, .within = 60};
  std::optional<Ledger> ledger_;
  std::unique_ptr<Recorder> recorder_;
};

TEST_F(KeptChatteringTest, OutputsAreToldOnceWhileItLasts) {
  start();
  chatter();
  for (int i = 0; i < 20; ++i) {
    clear();
    raise();
  }
  clear();
  write();
  EXPECT_EQ(told(6), (Texts{"7 raised alarm 7 cleared>minor", "8 chattering alarm 7 minor>minor raises 4"}));
  EXPECT_EQ(told(6, 1), told(6));
  EXPECT_EQ(told(8), Texts{});
  EXPECT_EQ(count("change"), 49);  // the ledger has all of them
  clock_.pass(61);
  EXPECT_TRUE(recorder_->end_what_is_over());
  write();
  EXPECT_EQ(told(8, 3), Texts{"50 settled alarm 48 minor>cleared other 7 raises 24"});
  EXPECT_EQ(count("chattering"), 0);
  EXPECT_EQ(findings(), Texts{});
}

// The cursor passes what is folded, in steps of the size that was asked for.
TEST_F(KeptChatteringTest, TheCursorPassesFoldedChanges) {
  start();
  chatter();
  for (int i = 0; i < 5; ++i) {
    clear();
    raise();
  }
  write();
  ChangeFeed feed(path_);
  const Feed some = feed.next(8, 4);
  EXPECT_TRUE(some.changes.empty());
  EXPECT_FALSE(some.gap);
  EXPECT_EQ(some.through, 12);
  EXPECT_EQ(feed.next(16, 4).through, 18);
  EXPECT_EQ(feed.next(18, 4).through, 18);
}

TEST_F(KeptChatteringTest, ASnapshotTellsOfAFaultThatIsClearAtTheMoment) {
  start();
  chatter();
  write();
  EXPECT_EQ(chattering(), Texts{"alarm 7 minor raises 4"});
  EXPECT_TRUE(ChangeFeed(path_).snapshot().active.empty());  // it is told with the chattering ones
  const std::vector<ChangeNumber> shown{7};
  EXPECT_EQ(ChangeFeed(path_).start().alarms, shown);  // once, though it is active, too
  EXPECT_FALSE(ChangeFeed(path_).alarms(shown).alarms.at(0).fault.ended);
  clear();
  write();
  EXPECT_EQ(chattering(), Texts{"alarm 7 minor raises 4"});
  EXPECT_TRUE(ChangeFeed(path_).snapshot().active.empty());
  EXPECT_EQ(ChangeFeed(path_).start().alarms, shown);
  const FeedAlarms over = ChangeFeed(path_).alarms(shown);
  ASSERT_EQ(over.alarms.size(), 1U);
  EXPECT_TRUE(over.alarms[0].fault.ended);
  EXPECT_EQ(over.alarms[0].fault.severity, Severity::kMinor);
  EXPECT_STREQ(over.alarms[0].shown.record.fault_dn, kFan.c_str());
  EXPECT_EQ(over.alarms[0].chattering.value().raises, 4U);
  EXPECT_STREQ(ChangeFeed(path_).snapshot().chattering.at(0).raise->record.fault_dn, kFan.c_str());
  EXPECT_EQ(LedgerReader(path_).active({}, std::nullopt).size(), 0U);
  raise();
  write();
  const auto active = LedgerReader(path_).active({}, std::nullopt);
  ASSERT_EQ(active.size(), 1U);  // it is active all the same
  EXPECT_EQ(active[0].chattering.value().raises, 5U);
  EXPECT_EQ(LedgerReader(path_).explain(kFan)->chattering.value().raises, 5U);
}

TEST_F(KeptChatteringTest, WhatHasSettledTellsWhatItsAlarmShows) {
  start();
  chatter();
  clear();
  raise();
  clock_.pass(61);
  recorder_->end_what_is_over();
  write();
  const Feed feed = ChangeFeed(path_).next(8, 100);
  ASSERT_EQ(feed.changes.size(), 1U);
  EXPECT_EQ(text_of(feed.changes[0].change), "11 settled alarm 10 minor>minor other 7 raises 5");
  EXPECT_EQ(feed.changes[0].change.fault_dn, kFan);
  EXPECT_STREQ(feed.changes[0].shown.value().record.fault_dn, kFan.c_str());
  EXPECT_FALSE(feed.changes[0].record);
  const auto explained = LedgerReader(path_).explain(kFan);
  EXPECT_EQ(explained->changes.back().kind, ChangeKind::kSettled);
  EXPECT_EQ(explained->changes.back().fault_dn, kFan);
  EXPECT_FALSE(explained->chattering);
}

TEST_F(KeptChatteringTest, ItOutlivesARestart) {
  start();
  chatter();
  clear();
  write();
  start();
  raise();
  write();
  EXPECT_EQ(told(8), Texts{});
  EXPECT_EQ(chattering(), Texts{"alarm 7 minor raises 5"});
  clock_.pass(61);
  start();
  EXPECT_TRUE(recorder_->end_what_is_over());
  EXPECT_FALSE(recorder_->end_what_is_over());
  write();
  EXPECT_EQ(told(8), Texts{"11 settled alarm 10 minor>minor other 7 raises 5"});
  EXPECT_EQ(findings(), Texts{});
}

TEST_F(KeptChatteringTest, RaisesBeforeARestartCount) {
  start();
  for (int i = 0; i < 3; ++i) {
    raise();
    clear();
    clock_.pass(10);
  }
  write();
  start();
  raise();
  write();
  EXPECT_EQ(told(6), (Texts{"7 raised alarm 7 cleared>minor", "8 chattering alarm 7 minor>minor raises 4"}));
}

TEST_F(KeptChatteringTest, RaisesOfLongAgoDoNot) {
  start();
  for (int i = 0; i < 3; ++i) {
    raise();
    clear();
  }
  write();
  clock_.pass(60);
  start();
  raise();
  write();
  EXPECT_EQ(chattering(), Texts{});
}

TEST_F(KeptChatteringTest, AKillBeforeTheWriteLosesNothingThatWasAcknowledged) {
  start();
  chatter();
  clear();
  raise();
  start();  // these two were not written
  EXPECT_EQ(chattering(), Texts{"alarm 7 minor raises 4"});
  clear();
  write();
  clock_.pass(61);
  recorder_->end_what_is_over();
  start();  // killed before that was written
  EXPECT_TRUE(recorder_->end_what_is_over());
  write();
  EXPECT_EQ(told(8), Texts{"10 settled alarm 7 minor>cleared raises 4"});
}

TEST_F(KeptChatteringTest, ItEndsInItsTimeWhenTheClockJumps) {
  start();
  chatter();
  clock_.set(kToday + 1'000'000);
  EXPECT_FALSE(recorder_->end_what_is_over());
  EXPECT_EQ(recorder_->until_next_end(), 61);
  clock_.set(1000);
  EXPECT_FALSE(recorder_->end_what_is_over());
  clock_.pass(60);
  EXPECT_FALSE(recorder_->end_what_is_over());
  clock_.pass(1);
  EXPECT_TRUE(recorder_->end_what_is_over());
  EXPECT_EQ(recorder_->until_next_end(), std::nullopt);
}

TEST_F(KeptChatteringTest, SwitchedOffItSettlesAtOnce) {
  start();
  chatter();
  limit_.reset();
  start();
  EXPECT_EQ(recorder_->until_next_end(), 0);
  EXPECT_TRUE(recorder_->end_what_is_over());
  write();
  EXPECT_EQ(told(8), Texts{"9 settled alarm 7 minor>minor raises 4"});
}

// More events than are kept come and go; the faults of the folded alarms, and what said that it is chattering, go, too.
TEST_F(KeptChatteringTest, ItOutlivesRetention) {
  const Retention retention{.events = 50, .days = 0, .bytes = 0};
  start(retention);
  chatter();
  clear();
  const auto pass_many = [this] {
    for (int i = 0; i < 40; ++i) {
      for (int k = 0; k < 10; ++k) {
        event(2, 1);
        event(2, 0);
      }
      write();
    }
  };
  pass_many();
  EXPECT_EQ(count("change WHERE number <= 9"), 0);
  EXPECT_EQ(findings(), Texts{});
  start(retention);
  EXPECT_EQ(chattering().size(), 2U);
  EXPECT_EQ(chattering()[0], "alarm 7 minor raises 4 without a record");
  const ChangeNumber last = ledger_->last_change();
  clock_.pass(61);
  EXPECT_TRUE(recorder_->end_what_is_over());
  write();
  EXPECT_EQ(told(last)[0], std::to_string(last + 1) + " settled alarm 7 minor>cleared raises 4");
  EXPECT_EQ(count("chattering"), 0);
  EXPECT_EQ(findings(), Texts{});
  pass_many();
  EXPECT_EQ(count("action"), 0);
  EXPECT_EQ(findings(), Texts{});
}

TEST_F(KeptChatteringTest, ADamagedLedgerLeavesItToTheNewOne) {
  start();
  chatter();
  clear();
  write();
  stop();
  Database(path_, Access::kReadWrite).exec("DROP TABLE step");
  start();
  ASSERT_EQ(ledger_->news().size(), 1U);
  EXPECT_NE(ledger_->news()[0].find("Nothing of this was lost."), std::string::npos) << ledger_->news()[0];
  EXPECT_EQ(chattering(), Texts{"alarm 7 minor raises 4 without a record"});
  EXPECT_EQ(findings(), Texts{});
  raise();
  write();
  EXPECT_EQ(told(9), Texts{});
  clock_.pass(61);
  EXPECT_TRUE(recorder_->end_what_is_over());
  write();
  EXPECT_EQ(told(9), Texts{"11 settled alarm 10 minor>minor other 7 raises 5"});
  EXPECT_EQ(findings(), Texts{});
}

TEST_F(KeptChatteringTest, VerifyFindsWhatWasChanged) {
  start();
  chatter();
  stop();
  const std::string content = dir_.read("ledger.db");
  Database(path_, Access::kReadWrite).exec("DELETE FROM chattering");
  EXPECT_EQ(findings(), Texts{"the changes and the list of chattering faults do not agree whether this fault is "
                              "chattering: " +
                              kFan});
  dir_.write("ledger.db", content);
  Database(path_, Access::kReadWrite).exec("UPDATE chattering SET change = 7");
  EXPECT_EQ(findings(), Texts{"the changes and the list of chattering faults do not agree whether this fault is "
                              "chattering: " +
                              kFan});
  dir_.write("ledger.db", content);
  EXPECT_EQ(findings(), Texts{});
}

}  // namespace kept_chattering_test
}  // namespace polaiga::engine
