// Two levels of one object, each with its alarm, become one alarm.
#include "support/alarm_scripts.h"

namespace polaiga::engine {
namespace merged_alarms_test {

using test::AlarmsTest;
using test::move;
using test::raise;

TEST_F(AlarmsTest, MergedIntoTheOlderAlarmWhichWasThatOfTheSupersededFault) {
  expect(R"(
A: o raise 395 -> raised
  1 raised o/fault-F0395 #1 alarm 1 cleared>minor shown 1 by 1
  = o/fault-F0395 #1 alarm 1 minor shown 1 count 1 of A
B: o raise 396 -> raised
  2 raised o/fault-F0396 #2 alarm 2 cleared>major shown 2 by 1
  = o/fault-F0395 #1 alarm 1 minor shown 1 count 1 of A
  = o/fault-F0396 #2 alarm 2 major shown 2 count 1 of B
A: o move 395 396 -> refreshed
  3 superseded o/fault-F0395 #1 alarm 1 minor>minor shown 1 by 0
  4 merged o/fault-F0396 #2 alarm 2 major>cleared shown 2 by 1 other 1
  5 refreshed o/fault-F0396 #2 alarm 1 minor>major shown 3 by 2
  = o/fault-F0396 #2 alarm 1 major shown 3 count 2 of B,A
)");
  EXPECT_EQ(alarms_.find("o/fault-F0396")->alarm_since, 1001);
  EXPECT_EQ(alarms_.find("o/fault-F0396")->since, 1002);
  expect_counts({.raised = 2, .refreshed = 1, .superseded = 1, .merged = 1});
}

TEST_F(AlarmsTest, MergedIntoTheOlderAlarmWhichWasThatOfTheOtherFault) {
  expect(R"(
B: o raise 396 -> raised
  1 raised o/fault-F0396 #1 alarm 1 cleared>major shown 1 by 1
  = o/fault-F0396 #1 alarm 1 major shown 1 count 1 of B
A: o raise 395 -> raised
  2 raised o/fault-F0395 #2 alarm 2 cleared>minor shown 2 by 1
  = o/fault-F0396 #1 alarm 1 major shown 1 count 1 of B
  = o/fault-F0395 #2 alarm 2 minor shown 2 count 1 of A
A: o move 395 396 -> refreshed
  3 superseded o/fault-F0395 #2 alarm 2 minor>minor shown 2 by 0
  4 merged o/fault-F0396 #1 alarm 2 minor>cleared shown 1 by 1 other 1
  5 refreshed o/fault-F0396 #1 alarm 1 major>major shown 3 by 2
  = o/fault-F0396 #1 alarm 1 major shown 3 count 2 of B,A
)");
  EXPECT_EQ(alarms_.find("o/fault-F0396")->alarm_since, 1001);
  expect_counts({.raised = 2, .refreshed = 1, .superseded = 1, .merged = 1});
}

// A reporter may report two levels at once, and then take back the one it leaves.
TEST_F(AlarmsTest, MergedWhenOneReporterReportedBoth) {
  expect(R"(
A: o raise 395 -> raised
  1 raised o/fault-F0395 #1 alarm 1 cleared>minor shown 1 by 1
  = o/fault-F0395 #1 alarm 1 minor shown 1 count 1 of A
A: o raise 396 -> raised
  2 raised o/fault-F0396 #2 alarm 2 cleared>major shown 2 by 1
  = o/fault-F0395 #1 alarm 1 minor shown 1 count 1 of A
  = o/fault-F0396 #2 alarm 2 major shown 2 count 1 of A
A: o move 396 395 -> refreshed
  3 superseded o/fault-F0396 #2 alarm 2 major>major shown 2 by 0
  4 merged o/fault-F0395 #1 alarm 2 major>cleared shown 1 by 1 other 1
  5 refreshed o/fault-F0395 #1 alarm 1 minor>minor shown 3 by 1
  = o/fault-F0395 #1 alarm 1 minor shown 3 count 2 of A
)");
}

// Age counts by the alarm's first raise, not by that of its present fault.
TEST_F(AlarmsTest, TheOlderAlarmMayHaveTheYoungerFault) {
  expect(R"(
A: o raise 395 -> raised
  1 raised o/fault-F0395 #1 alarm 1 cleared>minor shown 1 by 1
  = o/fault-F0395 #1 alarm 1 minor shown 1 count 1 of A
B: o raise 397 -> raised
  2 raised o/fault-F0397 #2 alarm 2 cleared>critical shown 2 by 1
  = o/fault-F0395 #1 alarm 1 minor shown 1 count 1 of A
  = o/fault-F0397 #2 alarm 2 critical shown 2 count 1 of B
A: o move 395 396 -> raised
  3 superseded o/fault-F0395 #1 alarm 1 minor>minor shown 1 by 0
  4 raised o/fault-F0396 #4 alarm 1 minor>major shown 3 by 1
  = o/fault-F0397 #2 alarm 2 critical shown 2 count 1 of B
  = o/fault-F0396 #4 alarm 1 major shown 3 count 1 of A
A: o move 396 397 -> refreshed
  5 superseded o/fault-F0396 #4 alarm 1 major>major shown 3 by 0
  6 merged o/fault-F0397 #2 alarm 2 critical>cleared shown 2 by 1 other 1
  7 refreshed o/fault-F0397 #2 alarm 1 major>critical shown 4 by 2
  = o/fault-F0397 #2 alarm 1 critical shown 4 count 2 of B,A
)");
}

// Both alarms stay, so that neither is merged.
TEST_F(AlarmsTest, GoesOverToAFaultThatIsActiveWhileOthersStay) {
  expect(R"(
A: o raise 395 -> raised
  1 raised o/fault-F0395 #1 alarm 1 cleared>minor shown 1 by 1
  = o/fault-F0395 #1 alarm 1 minor shown 1 count 1 of A
B: o raise 395 -> refreshed
  2 refreshed o/fault-F0395 #1 alarm 1 minor>minor shown 2 by 2
  = o/fault-F0395 #1 alarm 1 minor shown 2 count 2 of A,B
C: o raise 396 -> raised
  3 raised o/fault-F0396 #3 alarm 3 cleared>major shown 3 by 1
  = o/fault-F0395 #1 alarm 1 minor shown 2 count 2 of A,B
  = o/fault-F0396 #3 alarm 3 major shown 3 count 1 of C
B: o move 395 396 -> refreshed
  4 partly_cleared o/fault-F0395 #1 alarm 1 minor>minor shown 1 by 1
  5 refreshed o/fault-F0396 #3 alarm 3 major>major shown 4 by 2
  = o/fault-F0395 #1 alarm 1 minor shown 1 count 2 of A
  = o/fault-F0396 #3 alarm 3 major shown 4 count 2 of C,B
)");
  expect_counts({.raised = 2, .refreshed = 2, .partly_cleared = 1});
}

}  // namespace merged_alarms_test
}  // namespace polaiga::engine
