// How many faults are tracked.
#include "support/alarm_scripts.h"

namespace polaiga::engine {
namespace alarm_limits_test {

using test::active_texts;
using test::AlarmsTest;
using test::clear;
using test::make_record;
using test::move;
using test::raise;
using test::Texts;

class AlarmsAtTheLimit : public AlarmsTest {
 protected:
  AlarmsAtTheLimit() : AlarmsTest(3) {}
};

// An active fault counts once for each of its reporters.
TEST_F(AlarmsAtTheLimit, NothingIsTrackedBeyond) {
  expect(R"(
A: o raise 395 -> raised
  1 raised o/fault-F0395 #1 alarm 1 cleared>minor shown 1 by 1
  = o/fault-F0395 #1 alarm 1 minor shown 1 count 1 of A
B: o raise 395 -> refreshed
  2 refreshed o/fault-F0395 #1 alarm 1 minor>minor shown 2 by 2
  = o/fault-F0395 #1 alarm 1 minor shown 2 count 2 of A,B
C: o raise 395 -> refreshed
  3 refreshed o/fault-F0395 #1 alarm 1 minor>minor shown 3 by 3
  = o/fault-F0395 #1 alarm 1 minor shown 3 count 3 of A,B,C
# Neither one more reporter nor one more fault.
D: o raise 395 -> not_tracked
  = o/fault-F0395 #1 alarm 1 minor shown 3 count 3 of A,B,C
A: p raise 395 -> not_tracked
  = o/fault-F0395 #1 alarm 1 minor shown 3 count 3 of A,B,C
# What was not tracked cannot be cleared.
D: o clear 395 -> already_clear
  = o/fault-F0395 #1 alarm 1 minor shown 3 count 3 of A,B,C
# Who reports it already may do so again.
A: o raise 395 -> refreshed
  4 refreshed o/fault-F0395 #1 alarm 1 minor>minor shown 7 by 3
  = o/fault-F0395 #1 alarm 1 minor shown 7 count 4 of A,B,C
B: o clear 395 -> partly_cleared
  5 partly_cleared o/fault-F0395 #1 alarm 1 minor>minor shown 7 by 2
  = o/fault-F0395 #1 alarm 1 minor shown 7 count 4 of A,C
# Now there is room.
D: o raise 395 -> refreshed
  6 refreshed o/fault-F0395 #1 alarm 1 minor>minor shown 9 by 3
  = o/fault-F0395 #1 alarm 1 minor shown 9 count 5 of A,C,D
)");
  expect_counts({.raised = 1, .refreshed = 4, .partly_cleared = 1, .already_clear = 1, .not_tracked = 2});
}

TEST_F(AlarmsAtTheLimit, SupersedingMakesRoom) {
  expect(R"(
A: o raise 395 -> raised
  1 raised o/fault-F0395 #1 alarm 1 cleared>minor shown 1 by 1
  = o/fault-F0395 #1 alarm 1 minor shown 1 count 1 of A
B: o raise 395 -> refreshed
  2 refreshed o/fault-F0395 #1 alarm 1 minor>minor shown 2 by 2
  = o/fault-F0395 #1 alarm 1 minor shown 2 count 2 of A,B
C: o raise 397 -> raised
  3 raised o/fault-F0397 #3 alarm 3 cleared>critical shown 3 by 1
  = o/fault-F0395 #1 alarm 1 minor shown 2 count 2 of A,B
  = o/fault-F0397 #3 alarm 3 critical shown 3 count 1 of C
# For a fault that is new.
A: o move 395 396 -> raised
  4 partly_cleared o/fault-F0395 #1 alarm 1 minor>minor shown 2 by 1
  5 raised o/fault-F0396 #5 alarm 5 cleared>major shown 4 by 1 other 1
  = o/fault-F0395 #1 alarm 1 minor shown 2 count 2 of B
  = o/fault-F0397 #3 alarm 3 critical shown 3 count 1 of C
  = o/fault-F0396 #5 alarm 5 major shown 4 count 1 of A
# For one more reporter of a fault.
B: o move 395 396 -> refreshed
  6 superseded o/fault-F0395 #1 alarm 1 minor>minor shown 2 by 0
  7 merged o/fault-F0396 #5 alarm 5 major>cleared shown 4 by 1 other 1
  8 refreshed o/fault-F0396 #5 alarm 1 minor>major shown 5 by 2
  = o/fault-F0397 #3 alarm 3 critical shown 3 count 1 of C
  = o/fault-F0396 #5 alarm 1 major shown 5 count 2 of A,B
# Who supersedes nothing finds none.
D: o move 396 398 -> not_tracked
  = o/fault-F0397 #3 alarm 3 critical shown 3 count 1 of C
  = o/fault-F0396 #5 alarm 1 major shown 5 count 2 of A,B
)");
}

TEST_F(AlarmsAtTheLimit, AWithdrawnFaultMakesRoomForAllItsReporters) {
  for (const char* sensor : {"A", "B", "C"}) {
    apply(raise(517, "sys"), reporter(sensor), *sensor == 'A' ? "raised" : "refreshed");
  }
  apply(raise(395), reporter("D"), "not_tracked");
  withdraw("sys/fault-F0517");
  for (const char* dn : {"p", "q", "r"}) apply(raise(395, dn), reporter("D"), "raised");
  apply(raise(395), reporter("D"), "not_tracked");
}

TEST_F(AlarmsTest, TwentyThousandReports) {
  const auto name = [](int i) { return "S" + std::to_string(i); };
  // A hundred objects, two hundred reporters each.
  std::vector<Change> changes;
  for (int i = 0; i < 20'000; ++i) {
    const std::string dn = "o" + std::to_string(i % 100);
    ++sequence_;
    alarms_.apply(make_record(raise(395, dn.c_str())), reporter(name(i / 100)), sequence_, at(), changes);
  }
  EXPECT_EQ(changes.size(), 20'000U);
  watch_.begin_with(alarms_);
  EXPECT_EQ(alarms_.size(), 100U);
  EXPECT_EQ(alarms_.reports(), 20'000U);
  apply(raise(395, "o0"), reporter("one more"), "not_tracked");
  apply(raise(395, "one more"), reporter("S0"), "not_tracked");
  apply(raise(395, "o0"), reporter("S0"), "refreshed");
  apply(clear(395, "o0"), reporter("S0"), "partly_cleared");
  apply(raise(395, "one more"), reporter("S0"), "raised");
  apply(raise(395, "o0"), reporter("one more"), "not_tracked");
}

ActiveFault left_active(const char* dn, std::uint32_t code, ChangeNumber fault, ChangeNumber alarm,
                        const std::vector<Report>& reports) {
  return {.fault_dn = fault_dn(dn, code),
          .code = code,
          .severity = severity_of(make_record({.dn = dn, .code = code})),
          .fault = fault,
          .alarm = alarm,
          .alarm_since = 10 * alarm,
          .since = 10 * fault,
          .updated = reports.back().last_at,
          .shown = reports.back().last,
          .count = 7,
          .reports = reports};
}

class RestoredAlarms : public AlarmsTest {
 protected:
  // An earlier run made 20 changes of 30 inputs.
  explicit RestoredAlarms(std::size_t most_reports = Alarms::kMostReports) {
    alarms_ = Alarms(most_reports, 20);
    alarms_.restore(left_active("p", 396, 5, 3, {{reporter("A"), 8, 80, 8, 80, 1}}));
    alarms_.restore(
        left_active("o", 395, 6, 6, {{reporter("A"), 9, 90, 11, 110, 3}, {reporter("B"), 10, 100, 12, 120, 2}}));
    watch_.begin_with(alarms_);
    sequence_ = 30;
  }
};

// A fault that an earlier run left is one like the others.
TEST_F(RestoredAlarms, GoOn) {
  EXPECT_EQ(active_texts(alarms_), (Texts{"p/fault-F0396 #5 alarm 3 major shown 8 count 7 of A",
                                          "o/fault-F0395 #6 alarm 6 minor shown 12 count 7 of A,B"}));
  expect_counts({.raised = 2});
  EXPECT_EQ(alarms_.reports(), 3U);
  EXPECT_EQ(alarms_.last_change(), 20);
  expect(R"(
B: o clear 395 -> partly_cleared
  21 partly_cleared o/fault-F0395 #6 alarm 6 minor>minor shown 11 by 1
  = p/fault-F0396 #5 alarm 3 major shown 8 count 7 of A
  = o/fault-F0395 #6 alarm 6 minor shown 11 count 7 of A
A: o raise 395 -> refreshed
  22 refreshed o/fault-F0395 #6 alarm 6 minor>minor shown 32 by 1
  = p/fault-F0396 #5 alarm 3 major shown 8 count 7 of A
  = o/fault-F0395 #6 alarm 6 minor shown 32 count 8 of A
A: p move 396 397 -> raised
  23 superseded p/fault-F0396 #5 alarm 3 major>major shown 8 by 0
  24 raised p/fault-F0397 #24 alarm 3 major>critical shown 33 by 1
  = o/fault-F0395 #6 alarm 6 minor shown 32 count 8 of A
  = p/fault-F0397 #24 alarm 3 critical shown 33 count 1 of A
)");
  EXPECT_EQ(alarms_.find("p/fault-F0397")->alarm_since, 30);
  const ActiveFault& fault = *alarms_.find("o/fault-F0395");
  EXPECT_EQ(fault.since, 60);
  EXPECT_EQ(fault.reports[0].since, 9);
  EXPECT_EQ(fault.reports[0].since_at, 90);
  EXPECT_EQ(fault.reports[0].count, 4U);
  EXPECT_EQ(withdraw("o/fault-F0395"), Texts{"25 withdrawn o/fault-F0395 #6 alarm 6 minor>cleared shown 32 by 0"});
  expect_counts({.raised = 3, .refreshed = 1, .partly_cleared = 1, .superseded = 1, .withdrawn = 1});
}

// The limit was higher when they were raised.
class RestoredAboveTheLimit : public RestoredAlarms {
 protected:
  RestoredAboveTheLimit() : RestoredAlarms(1) {}
};

// A fault that is tracked stays so through all its levels: nothing but the last
// clear ends its alarm.
TEST_F(RestoredAboveTheLimit, WhoIsTrackedStaysTracked) {
  expect(R"(
C: q raise 395 -> not_tracked
  = p/fault-F0396 #5 alarm 3 major shown 8 count 7 of A
  = o/fault-F0395 #6 alarm 6 minor shown 12 count 7 of A,B
A: p move 396 397 -> raised
  21 superseded p/fault-F0396 #5 alarm 3 major>major shown 8 by 0
  22 raised p/fault-F0397 #22 alarm 3 major>critical shown 32 by 1
  = o/fault-F0395 #6 alarm 6 minor shown 12 count 7 of A,B
  = p/fault-F0397 #22 alarm 3 critical shown 32 count 1 of A
A: o move 395 396 -> raised
  23 partly_cleared o/fault-F0395 #6 alarm 6 minor>minor shown 12 by 1
  24 raised o/fault-F0396 #24 alarm 24 cleared>major shown 33 by 1 other 6
  = o/fault-F0395 #6 alarm 6 minor shown 12 count 7 of B
  = p/fault-F0397 #22 alarm 3 critical shown 32 count 1 of A
  = o/fault-F0396 #24 alarm 24 major shown 33 count 1 of A
B: o move 395 396 -> refreshed
  25 superseded o/fault-F0395 #6 alarm 6 minor>minor shown 12 by 0
  26 merged o/fault-F0396 #24 alarm 24 major>cleared shown 33 by 1 other 6
  27 refreshed o/fault-F0396 #24 alarm 6 minor>major shown 34 by 2
  = p/fault-F0397 #22 alarm 3 critical shown 32 count 1 of A
  = o/fault-F0396 #24 alarm 6 major shown 34 count 2 of A,B
A: p clear 397 -> cleared
  28 cleared p/fault-F0397 #22 alarm 3 critical>cleared shown 32 by 0
  = o/fault-F0396 #24 alarm 6 major shown 34 count 2 of A,B
C: q raise 395 -> not_tracked
  = o/fault-F0396 #24 alarm 6 major shown 34 count 2 of A,B
)");
}

}  // namespace alarm_limits_test
}  // namespace polaiga::engine
