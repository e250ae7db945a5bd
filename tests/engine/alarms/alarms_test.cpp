// Alarms from their raise to their end.
#include "support/alarm_scripts.h"

namespace polaiga::engine {
namespace alarms_test {

using test::active_texts;
using test::AlarmsTest;
using test::clear;
using test::move;
using test::raise;
using test::Texts;

TEST_F(AlarmsTest, RaisedAndCleared) {
  expect(R"(
A: o raise 395 -> raised
  1 raised o/fault-F0395 #1 alarm 1 cleared>minor shown 1 by 1
  = o/fault-F0395 #1 alarm 1 minor shown 1 count 1 of A
A: o clear 395 -> cleared
  2 cleared o/fault-F0395 #1 alarm 1 minor>cleared shown 1 by 0
# A fault that comes back is another one, of another alarm.
A: o raise 395 -> raised
  3 raised o/fault-F0395 #3 alarm 3 cleared>minor shown 3 by 1
  = o/fault-F0395 #3 alarm 3 minor shown 3 count 1 of A
)");
  expect_counts({.raised = 2, .cleared = 1});
}

// Nothing but the codes and the state decide what a record does.
TEST_F(AlarmsTest, AClearWithoutAClearCode) {
  expect(R"(
A: o raise 395 -> raised
  1 raised o/fault-F0395 #1 alarm 1 cleared>minor shown 1 by 1
  = o/fault-F0395 #1 alarm 1 minor shown 1 count 1 of A
A: o record 395 0 0 -> cleared
  2 cleared o/fault-F0395 #1 alarm 1 minor>cleared shown 1 by 0
)");
}

TEST_F(AlarmsTest, ARaiseThatNamesItsOwnCodeAsCleared) {
  expect(R"(
A: o record 395 395 4 -> raised
  1 raised o/fault-F0395 #1 alarm 1 cleared>minor shown 1 by 1
  = o/fault-F0395 #1 alarm 1 minor shown 1 count 1 of A
A: o record 395 395 4 -> refreshed
  2 refreshed o/fault-F0395 #1 alarm 1 minor>minor shown 2 by 1
  = o/fault-F0395 #1 alarm 1 minor shown 2 count 2 of A
)");
}

TEST_F(AlarmsTest, StateZeroRaisesWhenItSupersedesAnother) {
  expect(R"(
A: o raise 396 -> raised
  1 raised o/fault-F0396 #1 alarm 1 cleared>major shown 1 by 1
  = o/fault-F0396 #1 alarm 1 major shown 1 count 1 of A
A: o record 395 396 0 -> raised
  2 superseded o/fault-F0396 #1 alarm 1 major>major shown 1 by 0
  3 raised o/fault-F0395 #3 alarm 1 major>minor shown 2 by 1
  = o/fault-F0395 #3 alarm 1 minor shown 2 count 1 of A
)");
}

TEST_F(AlarmsTest, ACodeThatTheDictionaryDoesNotKnow) {
  expect(R"(
A: o raise 9999 -> raised
  1 raised o/fault-F9999 #1 alarm 1 cleared>indeterminate shown 1 by 1
  = o/fault-F9999 #1 alarm 1 indeterminate shown 1 count 1 of A
A: o clear 9999 -> cleared
  2 cleared o/fault-F9999 #1 alarm 1 indeterminate>cleared shown 1 by 0
)");
}

TEST_F(AlarmsTest, AClearOfWhatIsNotActive) {
  expect(R"(
A: o clear 395 -> already_clear
A: o raise 395 -> raised
  1 raised o/fault-F0395 #1 alarm 1 cleared>minor shown 2 by 1
  = o/fault-F0395 #1 alarm 1 minor shown 2 count 1 of A
A: o clear 396 -> already_clear
  = o/fault-F0395 #1 alarm 1 minor shown 2 count 1 of A
A: p clear 395 -> already_clear
  = o/fault-F0395 #1 alarm 1 minor shown 2 count 1 of A
B: o clear 395 -> already_clear
  = o/fault-F0395 #1 alarm 1 minor shown 2 count 1 of A
)");
  expect_counts({.raised = 1, .already_clear = 4});
}

TEST_F(AlarmsTest, WithdrawnWithAllItsReporters) {
  for (const char* sensor : {"A", "B", "C"}) {
    apply(raise(517, "sys"), reporter(sensor), *sensor == 'A' ? "raised" : "refreshed");
  }
  apply(raise(395), reporter("A"), "raised");
  EXPECT_EQ(withdraw("sys/fault-F0518"), Texts{});
  EXPECT_EQ(withdraw("sys/fault-F0517"), Texts{"5 withdrawn sys/fault-F0517 #1 alarm 1 major>cleared shown 3 by 0"});
  EXPECT_EQ(withdraw("sys/fault-F0517"), Texts{});
  EXPECT_EQ(active_texts(alarms_), Texts{"o/fault-F0395 #4 alarm 4 minor shown 4 count 1 of A"});
  EXPECT_EQ(alarms_.reports(), 1U);
  apply(clear(517, "sys"), reporter("A"), "already_clear");
  expect_counts({.raised = 2, .refreshed = 2, .withdrawn = 1, .already_clear = 1});
}

TEST_F(AlarmsTest, InTheOrderInWhichTheyWereRaised) {
  for (const char* dn : {"d", "a", "c", "b"}) apply(raise(395, dn), reporter("A"), "raised");
  apply(raise(395, "a"), reporter("A"), "refreshed");
  apply(clear(395, "d"), reporter("A"), "cleared");
  apply(raise(395, "d"), reporter("A"), "raised");
  EXPECT_EQ(active_texts(alarms_), (Texts{"a/fault-F0395 #2 alarm 2 minor shown 5 count 2 of A",
                                          "c/fault-F0395 #3 alarm 3 minor shown 3 count 1 of A",
                                          "b/fault-F0395 #4 alarm 4 minor shown 4 count 1 of A",
                                          "d/fault-F0395 #7 alarm 7 minor shown 7 count 1 of A"}));
}

TEST_F(AlarmsTest, Find) {
  apply(raise(395), reporter("A"), "raised");
  ASSERT_NE(alarms_.find("o/fault-F0395"), nullptr);
  EXPECT_EQ(alarms_.find("o/fault-F0395")->fault_dn, "o/fault-F0395");
  EXPECT_EQ(alarms_.find("o/fault-F0396"), nullptr);
  EXPECT_EQ(alarms_.find("o"), nullptr);
}

// 75 characters leave room for "/fau" only, so that all faults of the object are one.
TEST_F(AlarmsTest, FaultsOfADnThatIsTooLong) {
  const std::string script = R"(
A: xx raise 395 -> raised
  1 raised xx/fau #1 alarm 1 cleared>minor shown 1 by 1
  = xx/fau #1 alarm 1 minor shown 1 count 1 of A
A: xx move 395 396 -> raised
  2 superseded xx/fau #1 alarm 1 minor>minor shown 1 by 0
  3 raised xx/fau #3 alarm 1 minor>major shown 2 by 1
  = xx/fau #3 alarm 1 major shown 2 count 1 of A
A: xx clear 396 -> cleared
  4 cleared xx/fau #3 alarm 1 major>cleared shown 2 by 0
)";
  expect(std::regex_replace(script, std::regex("xx"), std::string(75, 'x')));
}

}  // namespace alarms_test
}  // namespace polaiga::engine
