#include "ledger/ledger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <functional>
#include <optional>
#include <random>
#include <utility>

#include "ledger/mark.h"
#include "ledger/reader.h"
#include "ledger/verification.h"
#include "support/ledger_entries.h"
#include "support/temp_dir.h"

namespace polaiga::engine {
namespace ledger_test {

using Rows = std::vector<std::string>;
using test::clears;
using test::kAll;
using test::LedgerWithAlarms;
using test::moves;
using test::raises;

#ifdef POLAIGA_SHORT_WALK
constexpr int kFlippedBits = 60;
#else
constexpr int kFlippedBits = 300;
#endif

// "raised 1 2": what the changes of the last input say.
constexpr const char* kChanges =
    "SELECT number, seq, kind, fault, alarm, before, after, other, shown, reporters, previous, of_alarm "
    "FROM change ORDER BY number";
constexpr const char* kAlarms =
    "SELECT number, created, severity, worst, fault, merged, merged_into, related FROM alarm";
constexpr const char* kFaults =
    "SELECT number, alarm, later_alarm, severity, raised_seq, shown_seq, updated_seq, updated_at, count, change, "
    "ended FROM fault";
constexpr const char* kReports =
    "SELECT fault, entity, sensor, instance, since_seq, since_at, last_seq, last_at, count FROM report";

class LedgerTest : public testing::Test {
 protected:
  void SetUp() override { open(kAll); }

  void open(const Retention& retention) {
    engine_.reset();
    engine_.emplace(path_, retention);
  }

  Rows rows(const std::string& sql) const { return test::rows(path_, sql); }

  // Ends the engine, does something to the files, and begins again; what the new one says.
  Rows begin_again(const std::function<void()>& harm) {
    engine_.reset();
    harm();
    open(kAll);
    return engine_->ledger.news();
  }

  test::TempDir dir_;
  const std::string path_ = dir_.file("ledger.db");
  std::optional<LedgerWithAlarms> engine_;
};

// In the rows: kinds 0 raised, 1 refreshed, 2 partly cleared, 3 cleared, 4 superseded, 5 withdrawn, 6 merged;
// severities 0 cleared, 1 indeterminate, 2 warning, 3 minor, 4 major, 5 critical. Fault 395 is minor, 396 major.

TEST_F(LedgerTest, ARaiseBeginsAnAlarm) {
  engine_->write(raises("A", "o", 395, 1001));
  EXPECT_EQ(rows(kChanges), (Rows{"1 1 0 1 1 0 3 0 1 1 0 1"}));
  EXPECT_EQ(rows(kAlarms), (Rows{"1 1001 3 3 1 - 0 0"}));
  EXPECT_EQ(rows(kFaults), (Rows{"1 1 - 3 1 1 0 0 0 1 -"}));
  EXPECT_EQ(rows(kReports), (Rows{"1 fan A 1 1 1001 1 1001 1"}));
  EXPECT_EQ(rows("SELECT seq, outcome, fault, form, subject FROM event"), (Rows{"1 0 1 1 1"}));
}

TEST_F(LedgerTest, ARefreshTouchesTheReportAlone) {
  engine_->write(raises("A", "o", 395, 1001));
  engine_->write(raises("A", "o", 395, 1002));
  engine_->write(raises("B", "o", 395, 1003));
  EXPECT_EQ(rows(kChanges), (Rows{"1 1 0 1 1 0 3 0 1 1 0 1", "2 2 1 1 1 3 3 0 2 1 1 2", "3 3 1 1 1 3 3 0 3 2 2 3"}));
  EXPECT_EQ(rows(kFaults), (Rows{"1 1 - 3 1 1 0 0 0 1 -"}));
  EXPECT_EQ(rows(kReports), (Rows{"1 fan A 1 1 1001 2 1002 2", "1 fan B 1 3 1003 3 1003 1"}));
  // It is what comes most often, so it writes to no other row.
  for (const char* table : {"alarm", "fault", "step"}) {
    for (const char* what : {"INSERT", "UPDATE"}) {
      Database(path_, Access::kReadWrite)
          .exec(std::string("CREATE TRIGGER refuse_") + what + "_" + table + " BEFORE " + what + " ON " + table +
                " BEGIN SELECT RAISE(ABORT, 'it is touched'); END");
    }
  }
  EXPECT_NO_THROW(engine_->write(raises("A", "o", 395, 1004)));
  EXPECT_THROW(engine_->write(raises("A", "p", 395, 1005)), SqlError);
}

TEST_F(LedgerTest, APartialClearTakesOneReportBack) {
  engine_->write(raises("A", "o", 395, 1001));
  engine_->write(raises("B", "o", 395, 1002));
  engine_->write(raises("A", "o", 395, 1003));
  engine_->write(clears("A", "o", 395, 1004));
  EXPECT_EQ(rows(kChanges).back(), "4 4 2 1 1 3 3 0 2 1 3 4");
  EXPECT_EQ(rows(kFaults), (Rows{"1 1 - 3 1 1 3 1003 2 4 -"}));
  EXPECT_EQ(rows(kReports), (Rows{"1 fan B 1 2 1002 2 1002 1"}));
}

TEST_F(LedgerTest, TheLastClearEndsFaultAndAlarm) {
  engine_->write(raises("A", "o", 395, 1001));
  engine_->write(raises("A", "o", 395, 1002));
  engine_->write(clears("A", "o", 395, 1003));
  engine_->write(clears("A", "o", 395, 1004));
  EXPECT_EQ(rows(kChanges).back(), "3 3 3 1 1 3 0 0 2 0 2 3");
  EXPECT_EQ(rows(kAlarms), (Rows{"1 1001 3 3 1 - 0 0"}));
  EXPECT_EQ(rows(kFaults), (Rows{"1 1 - 3 1 2 2 1002 2 3 3"}));
  EXPECT_EQ(rows(kReports), Rows{});
  EXPECT_EQ(rows("SELECT seq, outcome, fault FROM event"), (Rows{"1 0 1", "2 1 1", "3 3 -", "4 4 -"}));
}

TEST_F(LedgerTest, AnAlarmGoesOnWithAnotherLevel) {
  engine_->write(raises("A", "o", 396, 1001));
  engine_->write(moves("A", "o", 396, 395, 1002));
  EXPECT_EQ(rows(kChanges), (Rows{"1 1 0 1 1 0 4 0 1 1 0 1", "2 2 4 1 1 4 4 0 1 0 1 2", "3 2 0 3 1 4 3 0 2 1 2 3"}));
  EXPECT_EQ(rows(kAlarms), (Rows{"1 1001 3 4 3 - 0 0"}));
  EXPECT_EQ(rows(kFaults), (Rows{"1 1 - 4 1 1 1 1001 1 2 2", "3 1 - 3 2 2 0 0 0 3 -"}));
  EXPECT_EQ(rows("SELECT alarm, fault FROM step"), (Rows{"1 3"}));
  EXPECT_EQ(rows("SELECT fault, since_seq FROM report"), (Rows{"3 2"}));
}

// Others still report the former level, so that the new one has an alarm of its own.
TEST_F(LedgerTest, AnAlarmNamesTheOneItCameFrom) {
  engine_->write(raises("A", "o", 395, 1001));
  engine_->write(raises("B", "o", 395, 1002));
  engine_->write(moves("A", "o", 395, 396, 1003));
  EXPECT_EQ(rows("SELECT number, related, fault, merged FROM alarm"), (Rows{"1 0 1 -", "4 1 4 -"}));
  EXPECT_EQ(rows("SELECT fault, sensor FROM report"), (Rows{"1 B", "4 A"}));
}

TEST_F(LedgerTest, AWithdrawalEndsTheFaultWithAllItsReports) {
  engine_->write(raises("A", "o", 395, 1001));
  engine_->write(raises("B", "o", 395, 1002));
  engine_->write({.reported = false, .at = 1003, .withdrawn = {"o/fault-F0395"}});
  EXPECT_EQ(rows(kChanges).back(), "3 3 5 1 1 3 0 0 2 0 2 3");
  EXPECT_EQ(rows(kAlarms), (Rows{"1 1001 3 3 1 - 0 0"}));
  EXPECT_EQ(rows("SELECT count, updated_at, shown_seq, ended FROM fault"), (Rows{"2 1002 2 3"}));
  EXPECT_EQ(rows(kReports), Rows{});
  EXPECT_EQ(rows("SELECT form, outcome, created_time FROM event WHERE seq = 3"), (Rows{"- - -"}));
}

// Two alarms become one; the older goes on.
TEST_F(LedgerTest, TheYoungerAlarmIsMerged) {
  engine_->write(raises("A", "o", 395, 1001));      // 1: alarm 1
  engine_->write(raises("B", "o", 396, 1002));      // 2: alarm 2
  engine_->write(moves("A", "o", 395, 396, 1003));  // 3: superseded, 4: merged, 5: refreshed
  EXPECT_EQ(rows(kChanges), (Rows{"1 1 0 1 1 0 3 0 1 1 0 1", "2 2 0 2 2 0 4 0 2 1 0 1", "3 3 4 1 1 3 3 0 1 0 1 2",
                                  "4 3 6 2 2 4 0 1 2 1 2 2", "5 3 1 2 1 3 4 0 3 2 3 3"}));
  EXPECT_EQ(rows(kAlarms), (Rows{"1 1001 4 4 2 - 0 0", "2 1002 4 4 2 4 1 0"}));
  EXPECT_EQ(rows("SELECT number, alarm, later_alarm FROM fault"), (Rows{"1 1 -", "2 2 1"}));
  EXPECT_EQ(rows("SELECT alarm, fault FROM step"), (Rows{"1 2"}));
}

TEST_F(LedgerTest, TheAlarmOfTheFormerFaultIsMergedWhenItIsTheYounger) {
  engine_->write(raises("B", "o", 396, 1001));      // 1: alarm 1
  engine_->write(raises("A", "o", 395, 1002));      // 2: alarm 2
  engine_->write(moves("A", "o", 395, 396, 1003));  // 3: superseded, 4: merged, 5: refreshed
  EXPECT_EQ(rows(kAlarms), (Rows{"1 1001 4 4 1 - 0 0", "2 1002 3 3 2 4 1 0"}));
  EXPECT_EQ(rows("SELECT number, alarm, later_alarm FROM fault"), (Rows{"1 1 -", "2 2 -"}));
  EXPECT_EQ(rows("SELECT alarm, fault FROM step"), Rows{});
}

// What operators do is noted in the alarm's row, with the change that did it.
TEST_F(LedgerTest, TheRowOfAnAlarmSaysWhatOperatorsMadeOfIt) {
  const auto standing = [this] {
    return rows(
               "SELECT operated, acknowledged, closed, shelved, shelved_until, shelved_until_age, was_unshelved, "
               "was_told "
               "FROM alarm ORDER BY number DESC")
        .at(0);
  };
  OperatorAction action;
  const auto after = [&](ActionKind kind) {
    action.kind = kind;
    engine_->act(action, 1002);
    engine_->write();
    return standing();
  };
  engine_->write(raises("A", "o", 395, 1001));
  EXPECT_EQ(standing(), "0 0 0 0 0 0 0 1");
  action.alarms = {1};
  action.until = 1100;
  action.until_age = 1101;
  EXPECT_EQ(after(ActionKind::kAcknowledge), "2 2 0 0 0 0 0 1");
  EXPECT_EQ(after(ActionKind::kClose), "3 2 3 0 0 0 0 1");
  EXPECT_EQ(after(ActionKind::kShelve), "4 2 3 4 1100 1101 0 1");
  EXPECT_EQ(after(ActionKind::kComment), "5 2 3 4 1100 1101 0 1");
  EXPECT_EQ(after(ActionKind::kUnshelve), "6 2 3 0 0 0 1 1");
  EXPECT_EQ(after(ActionKind::kUnacknowledge), "7 0 0 0 0 0 1 1");
  action.alarms.clear();
  action.dn = "p";
  after(ActionKind::kMaintain);
  engine_->write(raises("A", "p", 395, 1003));  // outputs are not told
  EXPECT_EQ(standing(), "0 0 0 0 0 0 0 0");
  EXPECT_EQ(rows("SELECT dn, since_at, until, until_age FROM maintenance"), Rows{"p 1002 1100 1101"});
  EXPECT_EQ(after(ActionKind::kEndMaintenance), "10 0 0 0 0 0 0 1");  // now they are
  EXPECT_EQ(rows("SELECT dn FROM maintenance"), Rows{});
  EXPECT_EQ(rows("SELECT change, alarm, seq, kind, at FROM alarm_action WHERE change >= 7"),
            (Rows{"7 1 7 8 1002", "10 9 10 14 1002"}));
}

TEST_F(LedgerTest, RestoresWhatWasWritten) {
  engine_->write(raises("A", "p", 395, 1001));
  engine_->write(raises("A", "o", 395, 1002));
  engine_->write(raises("B", "o", 395, 1003));
  engine_->write(raises("A", "o", 395, 1004));
  engine_->write(clears("B", "o", 395, 1005));
  engine_->write(moves("A", "p", 395, 396, 1006));
  engine_->write(raises("A", "q", 395, 1007));
  engine_->write(clears("A", "q", 395, 1008));
  const std::vector<std::string> before = test::texts_of(engine_->alarms.in_order());
  ASSERT_EQ(before.size(), 2U);
  const std::string id = engine_->ledger.id();
  engine_.reset();
  EXPECT_EQ(test::texts_of(Ledger(path_, kAll, 0).restore().faults), before);
  open(kAll);
  EXPECT_EQ(engine_->ledger.id(), id);
  EXPECT_EQ(engine_->ledger.last_sequence(), 8);
  EXPECT_EQ(engine_->ledger.last_change(), 9);
  EXPECT_EQ(engine_->ledger.last_arrived(), 1008);
}

TEST_F(LedgerTest, RestoresTheEventsThatShapedTheLibrary) {
  engine_->add({.reported = false, .sensor = "A", .at = 1001});
  engine_->batch.filter_state = {{"fan 1", {1}}, {"fan 2", {1}}};
  engine_->write();
  engine_->ledger.use({"nm", "other", "drive_bp"}, {"c0ffee", "1.0.0"});
  engine_->add({.reported = false, .sensor = "B", .at = 1002});
  engine_->add({.reported = false, .sensor = "C", .at = 1003});
  engine_->batch.filter_state = {{"fan 1", {2, 3}}};
  engine_->write();
  const Restored restored = engine_->ledger.restore();
  EXPECT_EQ(restored.filter_state, (std::map<Slot, std::vector<Sequence>>{{"fan 1", {2, 3}}, {"fan 2", {1}}}));
  ASSERT_EQ(restored.steps.size(), 3U);
  EXPECT_EQ(restored.steps[0].sequence, 1);
  EXPECT_STREQ(restored.steps[0].event.event.sensor_name, "A");
  EXPECT_EQ(restored.tables.at(restored.steps[0].tables).cmc, "cmc");
  EXPECT_EQ(restored.tables.at(restored.steps[1].tables).cmc, "other");
  EXPECT_EQ(restored.steps[2].tables, restored.steps[1].tables);
}

TEST_F(LedgerTest, ASettingIsStoredWhenItIsAnother) {
  engine_->write({.reported = false});
  engine_->ledger.use({"nm", "other", "drive_bp"}, {"c0ffee", "1.0.0"});
  engine_->write({.reported = false});
  engine_->ledger.use({"nm", "other", "drive_bp"}, {"c0ffee", "1.0.1"});
  engine_->write({.reported = false});
  open(kAll);  // with the first again
  engine_->write({.reported = false});
  open(kAll);
  engine_->write({.reported = false});
  EXPECT_EQ(rows("SELECT seq, setting FROM event"), (Rows{"1 1", "2 2", "3 3", "4 4", "5 4"}));
  EXPECT_EQ(rows("SELECT build, tables FROM setting"), (Rows{"1 1", "1 2", "2 2", "1 1"}));
}

TEST_F(LedgerTest, WhatIsSaidAgainIsStoredOnce) {
  for (int i = 0; i < 3; ++i) engine_->write(raises("A", "o", 395));
  engine_->write(raises("B", "o", 395));
  open(kAll);  // known after a start, too
  engine_->write(raises("A", "o", 395));
  EXPECT_EQ(rows("SELECT seq, subject, form FROM event"), (Rows{"1 1 1", "2 1 1", "3 1 1", "4 4 1", "5 1 1"}));
  EXPECT_EQ(rows("SELECT seq FROM form"), Rows{"1"});
  EXPECT_EQ(rows("SELECT seq FROM subject"), (Rows{"1", "4"}));
}

TEST_F(LedgerTest, KnowsEventsByTheirId) {
  engine_->pass(3);
  engine_->write({.reported = false, .id = "a"});
  EXPECT_EQ(engine_->ledger.find("a", InputKind::kEvent), 4);
  EXPECT_EQ(engine_->ledger.find("b", InputKind::kEvent), std::nullopt);
  open(kAll);
  EXPECT_EQ(engine_->ledger.find("a", InputKind::kEvent), 4);
}

// The second of its inputs is refused.
TEST_F(LedgerTest, ABatchIsWrittenAsAWholeOrNotAtAll) {
  engine_->write({.reported = false, .id = "a"});
  engine_->add({.record = {.dn = "o"}, .id = "b"});
  engine_->add({.record = {.dn = "p"}, .id = "a"});
  engine_->batch.filter_state = {{"fan 1", {2}}};
  const Batch batch = engine_->batch;
  const auto everything = [this] {
    Rows all;
    for (const char* table :
         {"event", "change", "fault", "alarm", "report", "subject", "form", "filter_state", "era"}) {
      for (const std::string& row : rows(std::string("SELECT '") + table + "', * FROM " + table)) all.push_back(row);
    }
    return all;
  };
  const Rows before = everything();
  EXPECT_THROW(engine_->ledger.write(batch), SqlError);
  EXPECT_EQ(everything(), before);
  EXPECT_EQ(engine_->ledger.last_sequence(), 1);
  EXPECT_EQ(engine_->ledger.last_change(), 0);
  EXPECT_THROW(engine_->ledger.write(batch), SqlError);
  engine_->batch.inputs[1].event.id = "c";
  engine_->write();
  EXPECT_EQ(engine_->ledger.last_sequence(), 3);
  EXPECT_EQ(rows("SELECT seq, subject, form FROM event"), (Rows{"1 1 -", "2 1 2", "3 1 3"}));
  EXPECT_EQ(rows("SELECT seq FROM filter_state"), Rows{"2"});
  EXPECT_EQ(rows("SELECT fault FROM report"), (Rows{"1", "2"}));
}

// A disk that is full, as far as this process can tell.
TEST_F(LedgerTest, AFullDiskLosesNothing) {
  engine_->write(raises("A", "o", 395));
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit before{};
  ::getrlimit(RLIMIT_FSIZE, &before);
  const rlimit none{4096, before.rlim_max};
  for (int i = 0; i < 100; ++i) engine_->add(raises("A", ("p" + std::to_string(i)).c_str(), 395));
  const Batch batch = engine_->batch;
  ::setrlimit(RLIMIT_FSIZE, &none);
  EXPECT_THROW(engine_->ledger.write(batch), SqlError);
  EXPECT_THROW(engine_->ledger.write(batch), SqlError);
  ::setrlimit(RLIMIT_FSIZE, &before);
  EXPECT_EQ(engine_->ledger.last_sequence(), 1);
  engine_->write();
  EXPECT_EQ(engine_->ledger.last_sequence(), 101);
  EXPECT_EQ(rows("SELECT count(*), count(DISTINCT subject), min(seq), max(seq) FROM event"), Rows{"101 1 1 101"});
  open(kAll);
  EXPECT_EQ(engine_->alarms.size(), 101U);
}

// Damage that a write meets is noted beside the file, and the next start replaces it.
TEST_F(LedgerTest, DamageThatAWriteMeetsIsTold) {
  engine_->write(raises("A", "o", 395));
  engine_->write(raises("B", "o", 395));
  Database(path_, Access::kReadWrite).exec("DELETE FROM report");
  EXPECT_EQ(test::complaint_of([&] { engine_->write(clears("A", "o", 395)); }),
            path_ +
                ": the ledger is damaged: the ledger has no such report of fault 1. The next start begins a new one "
                "and carries over what proves right");
  EXPECT_TRUE(read_mark(path_)->is_damaged);
}

// Alarms and faults come from the engine's memory. A ledger that knows other ones is not written to.
TEST_F(LedgerTest, ChangesOfWhatTheLedgerDoesNotHaveAreRefused) {
  engine_->write(raises("A", "o", 395));
  const Change change{.number = 2,
                      .sequence = 2,
                      .kind = ChangeKind::kRaised,
                      .at = 1000,
                      .fault_dn = "o/fault-F0396",
                      .fault = 99,
                      .alarm = 99,
                      .before = Severity::kMinor,
                      .after = Severity::kMajor};
  const auto complaint = [&](ChangeKind kind, ChangeNumber alarm = 99) {
    engine_->add({.reported = false});
    Change& of = engine_->batch.inputs[0].changes.emplace_back(change);
    of.kind = kind;
    of.alarm = alarm;
    const Batch batch = std::exchange(engine_->batch, {});
    const std::string text = test::complaint_of([&] { engine_->ledger.write(batch); });
    const auto begin = text.find("the ledger has no ");
    return begin == std::string::npos ? text : text.substr(begin, text.find('.', begin) - begin);
  };
  const std::string no_alarm = "the ledger has no active alarm 99";
  const std::string no_fault = "the ledger has no active fault 99";
  EXPECT_EQ(complaint(ChangeKind::kRaised), no_alarm);  // another level of it
  EXPECT_EQ(complaint(ChangeKind::kRefreshed), no_alarm);
  EXPECT_EQ(complaint(ChangeKind::kRefreshed, 1), no_fault);
  EXPECT_EQ(complaint(ChangeKind::kPartlyCleared), "the ledger has no such report of fault 99");
  EXPECT_EQ(complaint(ChangeKind::kCleared), no_fault);
  EXPECT_EQ(complaint(ChangeKind::kSuperseded), no_fault);
  EXPECT_EQ(complaint(ChangeKind::kWithdrawn), no_fault);
  EXPECT_EQ(complaint(ChangeKind::kMerged), no_alarm);
  EXPECT_EQ(complaint(ChangeKind::kAcknowledged), no_alarm);
  EXPECT_EQ(complaint(ChangeKind::kChattering), no_fault);
  EXPECT_EQ(complaint(ChangeKind::kSettled), no_alarm);
  EXPECT_EQ(rows("SELECT count(*) FROM change"), Rows{"1"});
  // A report alone is not enough, either.
  Database(path_, Access::kReadWrite).exec("DELETE FROM fault; UPDATE report SET fault = 99");
  engine_->add(raises("A", "o", 395));
  engine_->batch.inputs[0].reported = false;
  engine_->batch.inputs[0].changes = {change};
  engine_->batch.inputs[0].changes[0].kind = ChangeKind::kPartlyCleared;
  EXPECT_THAT(test::complaint_of([&] { engine_->ledger.write(engine_->batch); }), testing::HasSubstr(no_fault));
}

// Between batches the engine holds no row, so that the log can be emptied.
TEST_F(LedgerTest, TheLogCanBeEmptiedAfterEachBatch) {
  OperatorAction comment;
  comment.alarms = {1};
  const std::function<void()> batches[] = {
      [&] { engine_->write(raises("A", "o", 395)); },
      [&] { engine_->write(raises("B", "o", 395)); },
      [&] {
        engine_->act(comment, 1000);
        engine_->write();
      },
      [&] { engine_->write(clears("B", "o", 395)); },
      [&] { engine_->write(raises("B", "o", 396)); },
      [&] { engine_->write(moves("A", "o", 395, 396)); },
      [&] { engine_->write({.reported = false, .withdrawn = {"o/fault-F0396"}}); },
  };
  Database other(path_, Access::kReadWrite);
  other.set_patience(0);
  for (const auto& write : batches) {
    write();
    Statement empty(other, "PRAGMA wal_checkpoint(TRUNCATE)");
    ASSERT_TRUE(empty.step());
    EXPECT_EQ(empty.integer(0), 0) << "after the batch at " << &write - batches;
  }
}

// What was about to be written when it failed is not remembered.
TEST_F(LedgerTest, ABatchThatFailedLeavesNoTrace) {
  engine_->add({.record = {.dn = "o"}, .id = "a"});
  engine_->add({.record = {.dn = "o"}, .sensor = "B", .id = "a"});  // the same id
  const Batch first = engine_->batch;
  EXPECT_THROW(engine_->ledger.write(first), SqlError);
  engine_->batch.inputs[1].event.id = "b";
  engine_->write();
  engine_->add({.record = {.dn = "o"}, .id = "c"});
  engine_->add({.record = {.dn = "o"}, .sensor = "B", .id = "b"});
  const Batch second = engine_->batch;
  EXPECT_THROW(engine_->ledger.write(second), SqlError);
  engine_->batch.inputs[1].event.id = "d";
  engine_->write();
  EXPECT_EQ(rows("SELECT number, previous, of_alarm FROM change"), (Rows{"1 0 1", "2 1 2", "3 2 3", "4 3 4"}));
  EXPECT_EQ(rows("SELECT seq, setting, subject, form FROM event"), (Rows{"1 1 1 1", "2 1 2 1", "3 1 1 1", "4 1 2 1"}));
  EXPECT_EQ(rows("SELECT id, build, tables FROM setting"), Rows{"1 1 1"});
  EXPECT_EQ(verify_ledger(path_).found, 0U);
}

TEST_F(LedgerTest, InputsAndChangesFollowTheLast) {
  engine_->write(raises("A", "o", 395));
  engine_->add(raises("A", "p", 395));
  Batch batch = engine_->batch;
  batch.inputs[0].sequence = 3;
  EXPECT_THROW(engine_->ledger.write(batch), SqlError);
  batch = engine_->batch;
  batch.inputs[0].changes[0].number = 3;
  EXPECT_THROW(engine_->ledger.write(batch), SqlError);
  engine_->write();
  EXPECT_EQ(engine_->ledger.last_change(), 2);
}

TEST_F(LedgerTest, ANewLedgerBeginsAtZero) {
  EXPECT_EQ(engine_->ledger.last_sequence(), 0);
  EXPECT_EQ(engine_->ledger.last_change(), 0);
  EXPECT_EQ(engine_->ledger.last_arrived(), 0);
  EXPECT_EQ(engine_->ledger.last_age(), 0);
}

// So that a ledger that is gone before its first input is noticed, too.
TEST_F(LedgerTest, IsMarkedBeforeTheFirstInput) {
  const std::optional<Mark> mark = read_mark(path_);
  ASSERT_TRUE(mark);
  EXPECT_EQ(mark->ledger_id, engine_->ledger.id());
  EXPECT_EQ(mark->process, ::getpid());
  EXPECT_EQ(mark->last_sequence, 0);
  EXPECT_FALSE(mark->is_damaged);
}

TEST_F(LedgerTest, CursorsOfPublishers) {
  EXPECT_TRUE(engine_->ledger.cursors().empty());
  engine_->ledger.set_cursor("b", 5, 1000);
  engine_->ledger.set_cursor("a", 0, 1001);
  engine_->ledger.set_cursor("b", 7, 1002);
  EXPECT_EQ(rows("SELECT name, change, updated FROM publisher_cursor"), (Rows{"a 0 1001", "b 7 1002"}));
  const auto cursors = engine_->ledger.cursors();
  ASSERT_EQ(cursors.size(), 2U);
  EXPECT_EQ(cursors[1].publisher, "b");
  EXPECT_EQ(cursors[1].through, 7);
  EXPECT_EQ(cursors[1].updated, 1002);
  EXPECT_TRUE(engine_->ledger.forget_cursor("a"));
  EXPECT_FALSE(engine_->ledger.forget_cursor("a"));
  EXPECT_EQ(rows("SELECT name FROM publisher_cursor"), Rows{"b"});
}

// Whatever the rows say, the ledger is replaced, and the news say why.
TEST_F(LedgerTest, RowsThatNoEngineWrites) {
  const auto damage = [&](const std::string& harm) -> std::string {
    engine_.reset();
    for (const char* part : {"", "-wal", "-shm", "-mark"}) std::filesystem::remove(path_ + part);
    open(kAll);
    engine_->add(raises("A", "o", 395));
    engine_->batch.filter_state = {{"fan 1", {1}}};
    engine_->write();
    engine_.reset();
    Database(path_, Access::kReadWrite).exec("PRAGMA writable_schema = ON; " + harm);
    const Ledger ledger(path_, kAll, 0);
    if (ledger.news().empty()) return "none";
    const std::string& news = ledger.news().front();
    const std::string begin = path_ + ": the ledger is damaged: ";
    const auto end = news.find(". It was moved to " + ledger.set_aside() + ", and a new one was begun in its place.");
    if (!news.starts_with(begin) || end == std::string::npos) return news;
    return news.substr(begin.size(), end - begin.size());
  };
  const std::string long_text(300, 'x');
  const std::string shown = "'" + std::string(40, 'x') + "...'";
  EXPECT_EQ(damage("SELECT 1"), "none");
  EXPECT_EQ(damage("DELETE FROM ledger"), "the ledger's own row is gone");
  EXPECT_EQ(damage("UPDATE ledger SET id = 'short'"), "the ledger's id is not 32 hexadecimal digits: 'short'");
  EXPECT_THAT(damage("UPDATE ledger SET watermark_seq = -1"), testing::EndsWith(": watermark_seq is out of range: -1"));
  EXPECT_EQ(damage("UPDATE event SET received = -1"), "event 1: received is out of range: -1");
  EXPECT_EQ(damage("UPDATE event SET \"state\" = 4294967296"), "event 1: state is out of range: 4294967296");
  EXPECT_EQ(damage("UPDATE event SET seal = NULL"), "event 1: the last event has no seal");
  EXPECT_EQ(damage("UPDATE subject SET sensor = '" + long_text + "'"),
            "subject 1: sensor is longer than its field: " + shown);
  EXPECT_EQ(damage("UPDATE subject SET entity = 'toaster'"),
            "subject 1: entity names an entity that this program does not know: 'toaster'");
  EXPECT_EQ(damage("UPDATE form SET descr = '" + long_text + "'"), "form 1: descr is longer than its field: " + shown);
  EXPECT_EQ(damage("UPDATE form SET oid = '1.2.x'"), "form 1: oid is no object identifier: '1.2.x'");
  EXPECT_EQ(damage("UPDATE form SET oid = '1x2'"), "form 1: oid is no object identifier: '1x2'");
  EXPECT_EQ(damage("UPDATE form SET oid = '1.2.'"), "form 1: oid is no object identifier: '1.2.'");
  EXPECT_EQ(damage("UPDATE event SET seal = x'0011'"), "event 1: seal is a digest of another size");
  EXPECT_EQ(damage("UPDATE form SET descr = '" + std::string(FE_DESCR_SIZE, 'x') + "'"),
            "form 1: descr is longer than its field: " + shown);
  EXPECT_EQ(damage("UPDATE form SET descr = 'a' || char(0)"), "form 1: descr has a zero byte: 'a?'");
  std::string arcs = "4294967295";
  for (int arc = 1; arc < FE_OID_SIZE; ++arc) arcs += ".0";
  EXPECT_EQ(damage("UPDATE form SET oid = '" + arcs + ".0'"),
            "form 1: oid has too many arcs: '" + arcs.substr(0, 40) + "...'");
  EXPECT_EQ(damage("UPDATE form SET oid = '1.4294967296'"), "form 1: oid is no object identifier: '1.4294967296'");
  EXPECT_EQ(damage("UPDATE change SET kind = 17"), "change 1: kind is out of range: 17");
  EXPECT_EQ(damage("DROP TABLE step"), "no such table: step");
  EXPECT_EQ(damage("DELETE FROM event"), "events that shaped what the library remembers are gone");
  EXPECT_EQ(damage("DELETE FROM subject"), "events that shaped what the library remembers are gone");
  EXPECT_EQ(damage("DELETE FROM tables"), "the host tables 1 are gone");
  EXPECT_EQ(damage("DELETE FROM fault"), "fault 1 is reported, but is not there with its alarm");
  EXPECT_EQ(damage("DELETE FROM alarm"), "fault 1 is reported, but is not there with its alarm");
  EXPECT_EQ(damage("DELETE FROM form"), "fault 1 is reported, but is not there with its alarm");
  EXPECT_EQ(damage("UPDATE report SET last_seq = 77"), "the record of input 77 is gone, which an active fault needs");
  EXPECT_EQ(damage("UPDATE report SET instance = 3000000000"), "report 1: instance is out of range: 3000000000");
  EXPECT_EQ(damage("UPDATE report SET last_at = 253402300800"), "report 1: last_at is out of range: 253402300800");
  EXPECT_EQ(damage("UPDATE fault SET severity = 6"), "fault 1: severity is out of range: 6");
  EXPECT_EQ(damage("UPDATE alarm SET created = -5"), "alarm 1: created is out of range: -5");
}

// Ten inputs with ids, of which three faults are active, one of them with two reporters.
class DamagedLedgerTest : public LedgerTest {
 protected:
  void SetUp() override {
    LedgerTest::SetUp();
    engine_->write({.record = {.dn = "o", .code = 395}, .sensor = "A", .at = 1001, .id = "first"});
    engine_->write({.record = {.dn = "o", .code = 395}, .sensor = "B", .at = 1002, .id = "second"});
    engine_->add({.record = {.dn = "sys/p", .code = 395}, .sensor = "PP", .at = 1003, .id = "third"});
    engine_->batch.filter_state = {{"fan 1", {3}}};
    engine_->write();
    engine_->write(moves("PP", "sys/p", 395, 396, 1004));
    engine_->write(raises("Q", "q", 395, 1005));
    engine_->write(clears("Q", "q", 395, 1006));
    engine_->write({.record = {.dn = "r", .code = 395}, .sensor = "RRRR", .at = 1007, .id = "last"});
    before_ = test::texts_of(engine_->alarms.in_order());
    id_ = engine_->ledger.id();
    ASSERT_EQ(before_.size(), 3U);
  }

  void sql(const std::string& harm) const {
    Database(path_, Access::kReadWrite).exec("PRAGMA writable_schema = ON; " + harm);
  }

  // What is active and what the next number is, in a new ledger.
  void expect_carried_over(const std::vector<std::string>& faults, const std::string& told) {
    const Ledger& ledger = engine_->ledger;
    ASSERT_EQ(ledger.news().size(), 1U);
    EXPECT_THAT(ledger.news()[0], testing::HasSubstr(told));
    EXPECT_NE(ledger.id(), id_);
    EXPECT_EQ(ledger.last_sequence(), 7);
    EXPECT_EQ(ledger.last_change(), 8);
    EXPECT_EQ(test::texts_of(engine_->alarms.in_order()), faults);
    EXPECT_EQ(engine_->write(raises("S", "s", 395, 1008)), 8);
    EXPECT_EQ(rows("SELECT number FROM change"), Rows{"9"});
    EXPECT_EQ(begin_again([] {}), Rows{});
    EXPECT_EQ(engine_->ledger.last_sequence(), 8);
  }

  std::vector<std::string> before_;
  std::string id_;
};

TEST_F(DamagedLedgerTest, WhatProvesRightIsCarriedOver) {
  begin_again([&] { sql("DROP TABLE step"); });
  EXPECT_EQ(engine_->ledger.find("third", InputKind::kEvent), std::optional<Sequence>(3));
  EXPECT_EQ(engine_->ledger.find("last", InputKind::kEvent), std::optional<Sequence>(7));
  EXPECT_EQ(engine_->ledger.find("other", InputKind::kEvent), std::nullopt);
  EXPECT_EQ(rows("SELECT slot, seq FROM filter_state"), Rows{"fan 1 3"});
  expect_carried_over(
      before_,
      "Carried over: 3 active faults with their reporters, 1 parts of what the filters remember, 4 ids of "
      "inputs. The next input is number 8. What operators made of these faults and of objects is kept with them; what "
      "is "
      "over, missed alarms too, is only in the old file. Nothing of this was lost.");
}

// It has what is active as if it had been there from the beginning: one era from the earliest input on, the alarm that
// went to another level as a step of that alarm, and all before the next input behind the watermark.
TEST_F(DamagedLedgerTest, TheNewLedgerTellsWhatWasCarriedOver) {
  begin_again([&] { sql("DROP TABLE step"); });
  EXPECT_EQ(rows("SELECT seq, epoch, least_at, first_change FROM era"), Rows{"1 1 1001 9"});
  EXPECT_EQ(rows("SELECT alarm, fault FROM step"), Rows{"3 5"});
  EXPECT_EQ(rows("SELECT watermark_seq, watermark_change, watermark_at FROM ledger"), Rows{"7 8 1007"});
  EXPECT_EQ(rows("SELECT fault FROM standing ORDER BY fault"), (Rows{"1", "5", "8"}));
  EXPECT_EQ(rows("SELECT seq FROM event ORDER BY seq"), (Rows{"1", "2", "3", "4", "7"}));
  EXPECT_EQ(verify_ledger(path_).found, 0U);
  LedgerReader reader(path_);
  const auto found = reader.explain("sys/p/fault-F0396");
  ASSERT_TRUE(found);
  EXPECT_EQ(found->fault.alarm, 3);
  std::vector<std::string> told;
  for (const StoredAlarm& alarm : reader.history("", 0)) told.push_back(std::to_string(alarm.number));
  EXPECT_EQ(told, (Rows{"1", "3", "8"}));
  EXPECT_EQ(reader.left_out(), Rows{});
}

// The inputs are only in the first file; their ids go from one ledger to the next.
TEST_F(DamagedLedgerTest, IdsAreCarriedOverAgain) {
  begin_again([&] { sql("DROP TABLE step"); });
  begin_again([&] { sql("DROP TABLE step"); });
  EXPECT_EQ(engine_->ledger.find("first", InputKind::kEvent), std::optional<Sequence>(1));
  EXPECT_EQ(engine_->ledger.find("third", InputKind::kEvent), std::optional<Sequence>(3));
  EXPECT_EQ(engine_->ledger.find("last", InputKind::kEvent), std::optional<Sequence>(7));
  EXPECT_EQ(test::texts_of(engine_->alarms.in_order()), before_);
}

// Nothing else goes with a damaged row.
TEST_F(DamagedLedgerTest, ADamagedRecordTakesItsFaultAlone) {
  begin_again([&] { sql("UPDATE subject SET sensor = 'RRRR' || x'00' WHERE sensor = 'RRRR'"); });
  expect_carried_over({before_[0], before_[1]},
                      "Not carried over, because it cannot be read or does not prove right: fault 8");
}

TEST_F(DamagedLedgerTest, ADamagedReportTakesItsReporterAlone) {
  begin_again([&] {
    std::string content = dir_.read("ledger.db");
    const auto at = content.rfind("fanRRRR");  // the report, whose page comes after that of the subject
    ASSERT_NE(at, std::string::npos);
    content[at + 4] = 'X';
    dir_.write("ledger.db", content);
  });
  expect_carried_over({before_[0], before_[1]}, "1 reports of active faults");
}

// The mark is not the only one that knows the last numbers.
TEST_F(DamagedLedgerTest, WithoutAMarkNumbersGoOnAfterTheRows) {
  begin_again([&] {
    sql("DROP TABLE step");
    std::filesystem::remove(mark_path(path_));
  });
  expect_carried_over(before_, "The next input is number 8. ");
}

TEST_F(DamagedLedgerTest, WhatIsDamagedElsewhereIsFoundMeanwhile) {
  // All that is found until everything was checked.
  const auto check = [&] {
    Rows found;
    do {
      for (const std::string& text : engine_->ledger.check_some(10)) found.push_back(text);
    } while (!engine_->ledger.check_progress().is_done);
    return found;
  };
  EXPECT_EQ(check(), Rows{});
  engine_->pass(20);  // the last batches are checked at the start
  begin_again([&] { sql("UPDATE change SET reporters = 9 WHERE number = 6"); });
  EXPECT_EQ(check(), Rows{"input 5: the digest does not match; something of this batch, or the digest before it, was "
                          "changed"});
  EXPECT_EQ(engine_->ledger.check_progress().found, 1U);
}

TEST_F(DamagedLedgerTest, ADamagedRowOfItsOwnIsTold) {
  begin_again([&] { sql("UPDATE ledger SET id = 'short'"); });
  expect_carried_over(before_, "does not prove right: its own row with its id.");
}

TEST_F(DamagedLedgerTest, NothingIsLeftOfTheFile) {
  begin_again([&] { dir_.write("ledger.db", std::string(10'000, 'x')); });
  const std::filesystem::path aside = engine_->ledger.set_aside();
  EXPECT_EQ(dir_.read(aside.filename().string()), std::string(10'000, 'x'));
  expect_carried_over({}, "does not prove right: the whole file.");
}

TEST_F(DamagedLedgerTest, NumbersGoOnWhenTheFileIsGone) {
  begin_again([&] { std::filesystem::remove(path_); });
  expect_carried_over({}, ": the ledger is damaged: the file is empty. It was empty, and a new one was begun");
  EXPECT_EQ(engine_->ledger.set_aside(), "");
}

TEST_F(DamagedLedgerTest, NumbersGoOnWhenTheFileIsCutToNothing) {
  begin_again([&] { dir_.write("ledger.db", ""); });
  expect_carried_over({}, "the file is empty");
}

// The log alone has what was written last; an engine that is killed leaves it.
TEST_F(DamagedLedgerTest, ALedgerThatLostItsEndIsTold) {
  std::string before;
  std::string log;
  begin_again([&] { before = dir_.read("ledger.db"); });
  engine_->write({.record = {.dn = "t", .code = 395}, .sensor = "T", .at = 1009, .id = "lost"});
  const Rows news = begin_again([&] { dir_.write("ledger.db", before); });
  EXPECT_EQ(news, Rows{path_ +
                       ": the ledger ends before what was acknowledged: input 8 and change 9 were lost. These numbers "
                       "are not given again. Compare the active faults with the hardware."});
  EXPECT_EQ(engine_->ledger.id(), id_);
  EXPECT_EQ(test::texts_of(engine_->alarms.in_order()), before_);
  EXPECT_EQ(engine_->ledger.find("lost", InputKind::kEvent), std::nullopt);
  EXPECT_EQ(engine_->write(raises("U", "u", 395, 1010)), 9);
  EXPECT_EQ(rows("SELECT number FROM change WHERE number > 7"), (Rows{"8", "10"}));
  EXPECT_EQ(begin_again([] {}), Rows{});
  EXPECT_EQ(engine_->ledger.last_sequence(), 9);
  EXPECT_EQ(engine_->ledger.last_change(), 10);
}

// As an engine leaves them that is killed: all that it wrote is in the log. A bit of the
// log that is wrong takes the end of it away; that is told, and no number comes twice.
TEST_F(DamagedLedgerTest, ADamagedLogIsTold) {
  const std::string file = dir_.read("ledger.db");
  const std::string log = dir_.read("ledger.db-wal");
  const std::string mark = dir_.read("ledger.db-mark");
  ASSERT_GT(log.size(), 10'000U);
  std::mt19937 random(3);
  int told = 0;
  for (int i = 0; i < kFlippedBits; ++i) {
    const std::size_t at = random() % log.size();
    std::string damaged = log;
    damaged[at] = static_cast<char>(damaged[at] ^ 1 << random() % 8);
    const test::TempDir copy;
    copy.write("ledger.db", file);
    copy.write("ledger.db-wal", damaged);
    copy.write("ledger.db-mark", mark);
    const Ledger ledger(copy.file("ledger.db"), kAll, 0);
    EXPECT_EQ(ledger.last_sequence(), 7) << at;
    EXPECT_EQ(ledger.last_change(), 8) << at;
    Statement events(Database(copy.file("ledger.db"), Access::kRead), "SELECT count(*) FROM event");
    ASSERT_TRUE(events.step());
    if (events.integer(0) == 7) continue;
    ++told;
    EXPECT_EQ(ledger.news().size(), 1U) << at;
  }
  EXPECT_GT(told, kFlippedBits * 5 / 6);
}

// The same when the log is gone, or cut.
TEST_F(DamagedLedgerTest, ALogThatIsGoneIsTold) {
  const std::string file = dir_.read("ledger.db");
  const std::string log = dir_.read("ledger.db-wal");
  const std::string mark = dir_.read("ledger.db-mark");
  for (const std::size_t left : {std::size_t{0}, std::size_t{20}, log.size() / 2, log.size() - 1}) {
    const test::TempDir copy;
    copy.write("ledger.db", file);
    if (left > 0) copy.write("ledger.db-wal", log.substr(0, left));
    copy.write("ledger.db-mark", mark);
    const Ledger ledger(copy.file("ledger.db"), kAll, 0);
    EXPECT_EQ(ledger.last_sequence(), 7) << left;
    EXPECT_EQ(ledger.last_change(), 8) << left;
    EXPECT_EQ(ledger.news().size(), 1U) << left;
  }
}

TEST_F(DamagedLedgerTest, AnotherLedgerInItsPlaceGoesOnAfterTheMark) {
  const test::TempDir other;
  { LedgerWithAlarms(other.file("other.db")).write(raises("Z", "z", 395)); }
  const Rows news = begin_again([&] {
    std::filesystem::copy_file(other.file("other.db"), path_, std::filesystem::copy_options::overwrite_existing);
  });
  ASSERT_EQ(news.size(), 1U);
  EXPECT_THAT(news[0], testing::HasSubstr("inputs 2 to 7 and changes 2 to 8 were lost with the ledger " + id_));
  EXPECT_EQ(engine_->ledger.last_sequence(), 7);
}

TEST_F(DamagedLedgerTest, FilesThatGoAwayStopIt) {
  for (const char* part : {"", "-wal"}) {
    for (const bool deleted : {true, false}) {
      if (!engine_) open(kAll);
      engine_->write(raises("V", "v", 395, 1009));
      const Sequence last = engine_->ledger.last_sequence();
      if (deleted) {
        std::filesystem::remove(path_ + part);
      } else {
        std::filesystem::rename(path_ + part, path_ + ".elsewhere");
      }
      engine_->add(raises("W", "w", 395, 1010));
      std::string complaint;
      try {
        engine_->write();
      } catch (const LedgerError& error) {
        complaint = error.what();
      }
      EXPECT_THAT(complaint, testing::HasSubstr("was renamed, deleted or replaced while the engine was using it"));
      EXPECT_EQ(read_mark(path_)->last_sequence, last) << part << deleted;
      engine_.reset();
      for (const char* rest : {"-wal", "-shm", ".elsewhere"}) std::filesystem::remove(path_ + rest);
    }
  }
}

}  // namespace ledger_test
}  // namespace polaiga::engine
