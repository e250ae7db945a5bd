#include "ledger/ledger.h"

#include <gtest/gtest.h>

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

}  // namespace
}  // namespace polaiga::engine
