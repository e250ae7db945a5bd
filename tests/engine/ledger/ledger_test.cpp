#include "ledger/ledger.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <filesystem>
#include <optional>

#include "support/ledger_entries.h"
#include "support/temp_dir.h"

namespace polaiga::engine {
namespace {

using Rows = std::vector<std::string>;
using test::clears;
using test::LedgerWithAlarms;
using test::moves;
using test::raises;

constexpr Retention kAll{.events = 0, .days = 0, .bytes = 0};

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

TEST_F(LedgerTest, RestoresWhatWasWritten) {
  engine_->write(raises("A", "p", 395, 1001));
  engine_->write(raises("A", "o", 395, 1002));
  engine_->write(raises("B", "o", 395, 1003));
  engine_->write(raises("A", "o", 395, 1004));
  engine_->write(clears("B", "o", 395, 1005));
  engine_->write(moves("A", "p", 395, 396, 1006));
  engine_->write(raises("A", "q", 395, 1007));
  engine_->write(clears("A", "q", 395, 1008));
  const std::vector<const ActiveFault*> before = engine_->alarms.in_order();
  const std::string id = engine_->ledger.id();
  const Restored restored = Ledger(path_, kAll, 0).restore();
  ASSERT_EQ(restored.faults.size(), 2U);
  for (std::size_t i = 0; i < 2; ++i) {
    const ActiveFault& is = restored.faults[i];
    const ActiveFault& was = *before[i];
    EXPECT_EQ(is.fault_dn, was.fault_dn);
    EXPECT_EQ(is.code, was.code);
    EXPECT_EQ(is.severity, was.severity);
    EXPECT_EQ(is.fault, was.fault);
    EXPECT_EQ(is.alarm, was.alarm);
    EXPECT_EQ(is.alarm_since, was.alarm_since);
    EXPECT_EQ(is.since, was.since);
    EXPECT_EQ(is.updated, was.updated);
    EXPECT_EQ(is.shown, was.shown);
    EXPECT_EQ(is.count, was.count);
    ASSERT_EQ(is.reports.size(), was.reports.size());
    for (std::size_t k = 0; k < is.reports.size(); ++k) {
      EXPECT_EQ(is.reports[k].reporter, was.reports[k].reporter);
      EXPECT_EQ(is.reports[k].since, was.reports[k].since);
      EXPECT_EQ(is.reports[k].since_at, was.reports[k].since_at);
      EXPECT_EQ(is.reports[k].last, was.reports[k].last);
      EXPECT_EQ(is.reports[k].last_at, was.reports[k].last_at);
      EXPECT_EQ(is.reports[k].count, was.reports[k].count);
    }
  }
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
  EXPECT_EQ(engine_->ledger.find("a"), 4);
  EXPECT_EQ(engine_->ledger.find("b"), std::nullopt);
  open(kAll);
  EXPECT_EQ(engine_->ledger.find("a"), 4);
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

// Whatever the rows say, it is a complaint that names the row, or the ledger is set
// aside; nothing else.
TEST_F(LedgerTest, RowsThatNoEngineWrites) {
  const auto complaint = [&](const std::string& harm) -> std::string {
    engine_.reset();
    for (const char* companion : {"", "-wal", "-shm"}) std::filesystem::remove(path_ + companion);
    open(kAll);
    engine_->add(raises("A", "o", 395));
    engine_->batch.filter_state = {{"fan 1", {1}}};
    engine_->write();
    engine_.reset();
    Database(path_, Access::kReadWrite).exec("PRAGMA writable_schema = ON; " + harm);
    const Ledger ledger(path_, kAll, 0);
    if (!ledger.set_aside().empty()) return "set aside";
    try {
      ledger.restore();
    } catch (const LedgerError& error) {
      return error.what();
    }
    return "none";
  };
  const std::string long_text(300, 'x');
  EXPECT_EQ(complaint("SELECT 1"), "none");
  EXPECT_EQ(complaint("DELETE FROM ledger"), "set aside");
  EXPECT_EQ(complaint("UPDATE ledger SET id = 'short'"), "set aside");
  EXPECT_EQ(complaint("UPDATE ledger SET watermark_seq = -1"), "set aside");
  EXPECT_EQ(complaint("UPDATE event SET received = -1"), "set aside");
  EXPECT_EQ(complaint("UPDATE event SET \"state\" = 4294967296"), "set aside");
  EXPECT_EQ(complaint("UPDATE subject SET sensor = '" + long_text + "'"), "set aside");
  EXPECT_EQ(complaint("UPDATE subject SET entity = 'toaster'"), "set aside");
  EXPECT_EQ(complaint("UPDATE form SET descr = '" + long_text + "'"), "set aside");
  EXPECT_EQ(complaint("UPDATE form SET oid = '1.2.x'"), "set aside");
  EXPECT_EQ(complaint("UPDATE form SET oid = '1" + std::string(64, '.') + "'"), "set aside");
  EXPECT_EQ(complaint("UPDATE change SET kind = 7"), "set aside");
  EXPECT_EQ(complaint("DROP TABLE step"), "set aside");
  EXPECT_EQ(complaint("DELETE FROM event"), "events that shaped what the library remembers are gone");
  EXPECT_EQ(complaint("DELETE FROM subject"), "events that shaped what the library remembers are gone");
  EXPECT_EQ(complaint("DELETE FROM tables"), "the host tables 1 are gone");
  EXPECT_EQ(complaint("DELETE FROM fault"), "fault 1 is reported, but is not there with its alarm");
  EXPECT_EQ(complaint("DELETE FROM alarm"), "fault 1 is reported, but is not there with its alarm");
  EXPECT_EQ(complaint("DELETE FROM form"), "fault 1 is reported, but is not there with its alarm");
  EXPECT_EQ(complaint("UPDATE report SET last_seq = 77"),
            "the record of input 77 is gone, which an active fault needs");
  EXPECT_EQ(complaint("UPDATE report SET instance = 3000000000"), "report 1: instance is out of range: 3000000000");
  EXPECT_EQ(complaint("UPDATE report SET last_at = 253402300800"), "report 1: last_at is out of range: 253402300800");
  EXPECT_EQ(complaint("UPDATE fault SET severity = 6"), "fault 1: severity is out of range: 6");
  EXPECT_EQ(complaint("UPDATE alarm SET created = -5"), "alarm 1: created is out of range: -5");
}

}  // namespace
}  // namespace polaiga::engine
