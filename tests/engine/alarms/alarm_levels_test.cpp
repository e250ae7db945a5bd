// Alarms that go from level to level.
#include "support/alarm_scripts.h"

namespace polaiga::engine {
namespace alarm_levels_test {

using test::AlarmsTest;
using test::clear;
using test::move;
using test::raise;

// The alarm goes on under its number with another severity, up and down.
TEST_F(AlarmsTest, ASingleReporterThroughAllLevels) {
  expect(R"(
A: o raise 395 -> raised
  1 raised o/fault-F0395 #1 alarm 1 cleared>minor shown 1 by 1
  = o/fault-F0395 #1 alarm 1 minor shown 1 count 1 of A
A: o move 395 396 -> raised
  2 superseded o/fault-F0395 #1 alarm 1 minor>minor shown 1 by 0
  3 raised o/fault-F0396 #3 alarm 1 minor>major shown 2 by 1
  = o/fault-F0396 #3 alarm 1 major shown 2 count 1 of A
A: o move 396 397 -> raised
  4 superseded o/fault-F0396 #3 alarm 1 major>major shown 2 by 0
  5 raised o/fault-F0397 #5 alarm 1 major>critical shown 3 by 1
  = o/fault-F0397 #5 alarm 1 critical shown 3 count 1 of A
# It reports the same level again; what it names as superseded is gone already.
A: o move 396 397 -> refreshed
  6 refreshed o/fault-F0397 #5 alarm 1 critical>critical shown 4 by 1
  = o/fault-F0397 #5 alarm 1 critical shown 4 count 2 of A
A: o move 397 396 -> raised
  7 superseded o/fault-F0397 #5 alarm 1 critical>critical shown 4 by 0
  8 raised o/fault-F0396 #8 alarm 1 critical>major shown 5 by 1
  = o/fault-F0396 #8 alarm 1 major shown 5 count 1 of A
A: o clear 396 -> cleared
  9 cleared o/fault-F0396 #8 alarm 1 major>cleared shown 5 by 0
)");
  expect_counts({.raised = 4, .refreshed = 1, .cleared = 1, .superseded = 3});
}

TEST_F(AlarmsTest, AnAlarmThatGoesOnKeepsItsBegin) {
  apply(raise(395), reporter("A"), "raised");
  apply(move(395, 396), reporter("A"), "raised");
  const ActiveFault& fault = *alarms_.find("o/fault-F0396");
  EXPECT_EQ(fault.code, 396U);
  EXPECT_EQ(fault.alarm_since, 1001);
  EXPECT_EQ(fault.since, 1002);
}

TEST_F(AlarmsTest, SupersedesOnlyWhatItsOwnReporterReports) {
  expect(R"(
A: o raise 395 -> raised
  1 raised o/fault-F0395 #1 alarm 1 cleared>minor shown 1 by 1
  = o/fault-F0395 #1 alarm 1 minor shown 1 count 1 of A
B: o move 395 396 -> raised
  2 raised o/fault-F0396 #2 alarm 2 cleared>major shown 2 by 1
  = o/fault-F0395 #1 alarm 1 minor shown 1 count 1 of A
  = o/fault-F0396 #2 alarm 2 major shown 2 count 1 of B
)");
}

TEST_F(AlarmsTest, SupersedesOnlyOfTheSameObject) {
  expect(R"(
A: p raise 395 -> raised
  1 raised p/fault-F0395 #1 alarm 1 cleared>minor shown 1 by 1
  = p/fault-F0395 #1 alarm 1 minor shown 1 count 1 of A
A: o move 395 396 -> raised
  2 raised o/fault-F0396 #2 alarm 2 cleared>major shown 2 by 1
  = p/fault-F0395 #1 alarm 1 minor shown 1 count 1 of A
  = o/fault-F0396 #2 alarm 2 major shown 2 count 1 of A
)");
}

}  // namespace alarm_levels_test
}  // namespace polaiga::engine
