// Faults that several sensors report.
#include "support/alarm_scripts.h"

namespace polaiga::engine {
namespace shared_faults_test {

using test::active_texts;
using test::AlarmsTest;
using test::clear;
using test::move;
using test::raise;
using test::Texts;

// The four risers' sensors share one fault of the board.
TEST_F(AlarmsTest, TwoOfFourRisersAreHotAndCoolDownOneByOne) {
  expect(R"(
RISER1_INLET_TMP: board raise 410 -> raised
  1 raised board/fault-F0410 #1 alarm 1 cleared>minor shown 1 by 1
  = board/fault-F0410 #1 alarm 1 minor shown 1 count 1 of RISER1_INLET_TMP
RISER2_INLET_TMP: board raise 410 -> refreshed
  2 refreshed board/fault-F0410 #1 alarm 1 minor>minor shown 2 by 2
  = board/fault-F0410 #1 alarm 1 minor shown 2 count 2 of RISER1_INLET_TMP,RISER2_INLET_TMP
RISER1_INLET_TMP: board clear 410 -> partly_cleared
  3 partly_cleared board/fault-F0410 #1 alarm 1 minor>minor shown 2 by 1
  = board/fault-F0410 #1 alarm 1 minor shown 2 count 2 of RISER2_INLET_TMP
# The other two never reported it.
RISER1_OUTLETTMP: board clear 410 -> already_clear
  = board/fault-F0410 #1 alarm 1 minor shown 2 count 2 of RISER2_INLET_TMP
# The first has taken its report back already.
RISER1_INLET_TMP: board clear 410 -> already_clear
  = board/fault-F0410 #1 alarm 1 minor shown 2 count 2 of RISER2_INLET_TMP
RISER2_INLET_TMP: board clear 410 -> cleared
  4 cleared board/fault-F0410 #1 alarm 1 minor>cleared shown 2 by 0
)");
  expect_counts({.raised = 1, .refreshed = 1, .partly_cleared = 1, .cleared = 1, .already_clear = 2});
}

// One of them is above two thresholds, and the others are above one.
TEST_F(AlarmsTest, OneRiserGetsWorseWhileAnotherStays) {
  expect(R"(
R1: board raise 410 -> raised
  1 raised board/fault-F0410 #1 alarm 1 cleared>minor shown 1 by 1
  = board/fault-F0410 #1 alarm 1 minor shown 1 count 1 of R1
R2: board raise 410 -> refreshed
  2 refreshed board/fault-F0410 #1 alarm 1 minor>minor shown 2 by 2
  = board/fault-F0410 #1 alarm 1 minor shown 2 count 2 of R1,R2
# The new alarm names the one that its reporter came from.
R2: board move 410 409 -> raised
  3 partly_cleared board/fault-F0410 #1 alarm 1 minor>minor shown 1 by 1
  4 raised board/fault-F0409 #4 alarm 4 cleared>major shown 3 by 1 other 1
  = board/fault-F0410 #1 alarm 1 minor shown 1 count 2 of R1
  = board/fault-F0409 #4 alarm 4 major shown 3 count 1 of R2
# The first gets worse, too: nobody is left to report the milder fault. Of
# the two alarms, the older one goes on.
R1: board move 410 409 -> refreshed
  5 superseded board/fault-F0410 #1 alarm 1 minor>minor shown 1 by 0
  6 merged board/fault-F0409 #4 alarm 4 major>cleared shown 3 by 1 other 1
  7 refreshed board/fault-F0409 #4 alarm 1 minor>major shown 4 by 2
  = board/fault-F0409 #4 alarm 1 major shown 4 count 2 of R2,R1
R2: board clear 409 -> partly_cleared
  8 partly_cleared board/fault-F0409 #4 alarm 1 major>major shown 4 by 1
  = board/fault-F0409 #4 alarm 1 major shown 4 count 2 of R1
R1: board clear 409 -> cleared
  9 cleared board/fault-F0409 #4 alarm 1 major>cleared shown 4 by 0
)");
  expect_counts({.raised = 2, .refreshed = 2, .partly_cleared = 2, .cleared = 1, .superseded = 1, .merged = 1});
}

// Fourteen voltages share each of the board's voltage faults.
TEST_F(AlarmsTest, FourteenVoltagesFailAndRecover) {
  constexpr const char* kVoltages[] = {
      "P12V_STBY_V_MOIN", "P12V_AUX_V_MOIN", "P5V_AUX_V_MOIN", "P12V_V_MOIN", "P5V_V_MOIN", "P3V3_V_MOIN", "P1V5_SSB",
      "P1V1_SSB",         "P3V3_AUX",        "P1V8_AUX",       "P1V5_AUX",    "P1V0_AUX",   "P1V1_AUX",    "P0V75_AUX"};
  for (const char* voltage : kVoltages) {
    apply(raise(921, "board"), reporter(voltage), voltage == kVoltages[0] ? "raised" : "refreshed");
  }
  ASSERT_EQ(alarms_.size(), 1U);
  EXPECT_EQ(alarms_.reports(), 14U);
  EXPECT_EQ(alarms_.find("board/fault-F0921")->count, 14U);
  for (std::size_t i = 0; i < 13; ++i) apply(clear(921, "board"), reporter(kVoltages[i]), "partly_cleared");
  EXPECT_EQ(active_texts(alarms_), Texts{"board/fault-F0921 #1 alarm 1 major shown 14 count 14 of P0V75_AUX"});
  apply(clear(921, "board"), reporter(kVoltages[13]), "cleared");
  EXPECT_EQ(alarms_.size(), 0U);
  EXPECT_EQ(alarms_.reports(), 0U);
  expect_counts({.raised = 1, .refreshed = 13, .partly_cleared = 13, .cleared = 1});
}

TEST_F(AlarmsTest, TwoSensorsOfOnePowerSupply) {
  expect(R"(
PSU1_PIN: psu-1 raise 392 -> raised
  1 raised psu-1/fault-F0392 #1 alarm 1 cleared>minor shown 1 by 1
  = psu-1/fault-F0392 #1 alarm 1 minor shown 1 count 1 of PSU1_PIN
PSU1_POUT: psu-1 raise 392 -> refreshed
  2 refreshed psu-1/fault-F0392 #1 alarm 1 minor>minor shown 2 by 2
  = psu-1/fault-F0392 #1 alarm 1 minor shown 2 count 2 of PSU1_PIN,PSU1_POUT
# The latest record of those who are left is shown, which is the first.
PSU1_POUT: psu-1 clear 392 -> partly_cleared
  3 partly_cleared psu-1/fault-F0392 #1 alarm 1 minor>minor shown 1 by 1
  = psu-1/fault-F0392 #1 alarm 1 minor shown 1 count 2 of PSU1_PIN
# The fault of the other supply has nothing to do with it.
PSU2_PIN: psu-2 raise 392 -> raised
  4 raised psu-2/fault-F0392 #4 alarm 4 cleared>minor shown 4 by 1
  = psu-1/fault-F0392 #1 alarm 1 minor shown 1 count 2 of PSU1_PIN
  = psu-2/fault-F0392 #4 alarm 4 minor shown 4 count 1 of PSU2_PIN
PSU1_PIN: psu-1 clear 392 -> cleared
  5 cleared psu-1/fault-F0392 #1 alarm 1 minor>cleared shown 1 by 0
  = psu-2/fault-F0392 #4 alarm 4 minor shown 4 count 1 of PSU2_PIN
)");
}

// Who raised first does not matter, only whose record is the latest of those left.
TEST_F(AlarmsTest, ShownIsTheLatestRecordOfThoseWhoAreLeft) {
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
A: o raise 395 -> refreshed
  4 refreshed o/fault-F0395 #1 alarm 1 minor>minor shown 4 by 3
  = o/fault-F0395 #1 alarm 1 minor shown 4 count 4 of A,B,C
C: o clear 395 -> partly_cleared
  5 partly_cleared o/fault-F0395 #1 alarm 1 minor>minor shown 4 by 2
  = o/fault-F0395 #1 alarm 1 minor shown 4 count 4 of A,B
A: o clear 395 -> partly_cleared
  6 partly_cleared o/fault-F0395 #1 alarm 1 minor>minor shown 2 by 1
  = o/fault-F0395 #1 alarm 1 minor shown 2 count 4 of B
)");
}

// A reporter is its entity, its sensor and its instance.
TEST_F(AlarmsTest, ReportersThatDifferInOneThing) {
  const Reporter all[] = {{find_entity("fan"), "A", 1},
                          {find_entity("ps"), "A", 1},
                          {find_entity("fan"), "B", 1},
                          {find_entity("fan"), "A", 2}};
  for (const Reporter& one : all) apply(raise(395), one, &one == &all[0] ? "raised" : "refreshed");
  EXPECT_EQ(alarms_.reports(), 4U);
  for (const Reporter& one : all) {
    apply(clear(395), one, &one == &all[3] ? "cleared" : "partly_cleared");
    if (&one != &all[3]) apply(clear(395), one, "already_clear");
  }
}

// What one reporter says, and when: its first record and its latest, and how many.
TEST_F(AlarmsTest, EachReportHasItsTimes) {
  apply(raise(395), reporter("A"), "raised");
  apply(raise(395), reporter("B"), "refreshed");
  apply(raise(395), reporter("A"), "refreshed");
  apply(raise(395), reporter("A"), "refreshed");
  const ActiveFault& fault = *alarms_.find("o/fault-F0395");
  EXPECT_EQ(fault.code, 395U);
  EXPECT_EQ(fault.since, 1001);
  EXPECT_EQ(fault.alarm_since, 1001);
  EXPECT_EQ(fault.updated, 1004);
  ASSERT_EQ(fault.reports.size(), 2U);
  const Report& a = fault.reports[0];
  EXPECT_EQ(a.reporter, reporter("A"));
  EXPECT_EQ(a.since, 1);
  EXPECT_EQ(a.since_at, 1001);
  EXPECT_EQ(a.last, 4);
  EXPECT_EQ(a.last_at, 1004);
  EXPECT_EQ(a.count, 3U);
  const Report& b = fault.reports[1];
  EXPECT_EQ(b.reporter, reporter("B"));
  EXPECT_EQ(b.since, 2);
  EXPECT_EQ(b.since_at, 1002);
  EXPECT_EQ(b.last, 2);
  EXPECT_EQ(b.last_at, 1002);
  EXPECT_EQ(b.count, 1U);

  // Who comes back begins anew, behind the others.
  apply(clear(395), reporter("A"), "partly_cleared");
  EXPECT_EQ(alarms_.find("o/fault-F0395")->updated, 1004) << "only a report of the fault moves it";
  apply(raise(395), reporter("A"), "refreshed");
  ASSERT_EQ(fault.reports.size(), 2U);
  EXPECT_EQ(fault.reports[1].reporter, reporter("A"));
  EXPECT_EQ(fault.reports[1].since, 6);
  EXPECT_EQ(fault.reports[1].since_at, 1006);
  EXPECT_EQ(fault.reports[1].count, 1U);
  EXPECT_EQ(fault.count, 5U);
  EXPECT_EQ(fault.since, 1001);
}

}  // namespace shared_faults_test
}  // namespace polaiga::engine
