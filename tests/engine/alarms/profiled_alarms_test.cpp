// Alarms whose severity the site sets.
#include "support/alarm_scripts.h"

namespace polaiga::engine {
namespace profiled_alarms_test {

using test::active_texts;
using test::AlarmsTest;
using test::clear;
using test::move;
using test::raise;
using test::Texts;

// 395 of everything but p is critical, 396 of everything a warning.
class ProfiledAlarmsTest : public AlarmsTest {
 protected:
  ProfiledAlarmsTest() {
    use("F0395\tp\t-\tno\t-\t-\t-\nF0395\t*\tcritical\tyes\t-\t-\t-\nF0396\t*\twarning\tyes\t-\t-\t-\n");
  }

  void use(const std::string& rows) {
    alarms_.use({"code\tdn\tseverity\tnotify\trespond_within\tconsequence\tadvice\n" + rows, "alarms.tsv"});
  }
};

TEST_F(ProfiledAlarmsTest, RaisedSupersededRefreshedAndCleared) {
  expect(R"(
A: o raise 395 -> raised
  1 raised o/fault-F0395 #1 alarm 1 cleared>critical shown 1 by 1
  = o/fault-F0395 #1 alarm 1 critical shown 1 count 1 of A
A: o move 395 396 -> raised
  2 superseded o/fault-F0395 #1 alarm 1 critical>critical shown 1 by 0
  3 raised o/fault-F0396 #3 alarm 1 critical>warning shown 2 by 1
  = o/fault-F0396 #3 alarm 1 warning shown 2 count 1 of A
B: o raise 396 -> refreshed
  4 refreshed o/fault-F0396 #3 alarm 1 warning>warning shown 3 by 2
  = o/fault-F0396 #3 alarm 1 warning shown 3 count 2 of A,B
A: o clear 396 -> partly_cleared
  5 partly_cleared o/fault-F0396 #3 alarm 1 warning>warning shown 3 by 1
  = o/fault-F0396 #3 alarm 1 warning shown 3 count 2 of B
B: o clear 396 -> cleared
  6 cleared o/fault-F0396 #3 alarm 1 warning>cleared shown 3 by 0
A: p raise 395 -> raised
  7 raised p/fault-F0395 #7 alarm 7 cleared>minor shown 6 by 1
  = p/fault-F0395 #7 alarm 7 minor shown 6 count 1 of A
)");
}

TEST_F(ProfiledAlarmsTest, AnotherProfileTakesEffectWithTheNextRecord) {
  expect(R"(
A: o raise 395 -> raised
  1 raised o/fault-F0395 #1 alarm 1 cleared>critical shown 1 by 1
  = o/fault-F0395 #1 alarm 1 critical shown 1 count 1 of A
B: o raise 395 -> refreshed
  2 refreshed o/fault-F0395 #1 alarm 1 critical>critical shown 2 by 2
  = o/fault-F0395 #1 alarm 1 critical shown 2 count 2 of A,B
)");
  use("F0395\to\twarning\tyes\t-\t-\t-\n");
  EXPECT_EQ(active_texts(alarms_), Texts{"o/fault-F0395 #1 alarm 1 critical shown 2 count 2 of A,B"});
  expect(R"(
B: o clear 395 -> partly_cleared
  3 partly_cleared o/fault-F0395 #1 alarm 1 critical>critical shown 1 by 1
  = o/fault-F0395 #1 alarm 1 critical shown 1 count 2 of A
A: o raise 395 -> refreshed
  4 refreshed o/fault-F0395 #1 alarm 1 critical>warning shown 4 by 1
  = o/fault-F0395 #1 alarm 1 warning shown 4 count 3 of A
)");
  use("");
  expect(R"(
A: o raise 395 -> refreshed
  5 refreshed o/fault-F0395 #1 alarm 1 warning>minor shown 5 by 1
  = o/fault-F0395 #1 alarm 1 minor shown 5 count 4 of A
)");
  alarms_.use({});
  EXPECT_EQ(withdraw("o/fault-F0395"), Texts{"6 withdrawn o/fault-F0395 #1 alarm 1 minor>cleared shown 5 by 0"});
}

// Two alarms become one by the same record that is the first under another profile.
TEST_F(ProfiledAlarmsTest, AnotherProfileAndAMerge) {
  const std::string both = R"(
A: o raise 395 -> raised
  1 raised o/fault-F0395 #1 alarm 1 cleared>critical shown 1 by 1
  = o/fault-F0395 #1 alarm 1 critical shown 1 count 1 of A
B: o raise 396 -> raised
  2 raised o/fault-F0396 #2 alarm 2 cleared>warning shown 2 by 1
  = o/fault-F0395 #1 alarm 1 critical shown 1 count 1 of A
  = o/fault-F0396 #2 alarm 2 warning shown 2 count 1 of B
)";
  expect(both);
  use("F0396\to\tindeterminate\tyes\t-\t-\t-\n");
  expect(R"(
A: o move 395 396 -> refreshed
  3 superseded o/fault-F0395 #1 alarm 1 critical>critical shown 1 by 0
  4 merged o/fault-F0396 #2 alarm 2 warning>cleared shown 2 by 1 other 1
  5 refreshed o/fault-F0396 #2 alarm 1 critical>indeterminate shown 3 by 2
  = o/fault-F0396 #2 alarm 1 indeterminate shown 3 count 2 of B,A
)");
}

TEST_F(ProfiledAlarmsTest, AnotherProfileAndAMergeIntoTheFaultsOwnAlarm) {
  expect(R"(
B: o raise 396 -> raised
  1 raised o/fault-F0396 #1 alarm 1 cleared>warning shown 1 by 1
  = o/fault-F0396 #1 alarm 1 warning shown 1 count 1 of B
A: o raise 395 -> raised
  2 raised o/fault-F0395 #2 alarm 2 cleared>critical shown 2 by 1
  = o/fault-F0396 #1 alarm 1 warning shown 1 count 1 of B
  = o/fault-F0395 #2 alarm 2 critical shown 2 count 1 of A
)");
  use("F0396\to\tmajor\tyes\t-\t-\t-\n");
  expect(R"(
A: o move 395 396 -> refreshed
  3 superseded o/fault-F0395 #2 alarm 2 critical>critical shown 2 by 0
  4 merged o/fault-F0396 #1 alarm 2 critical>cleared shown 1 by 1 other 1
  5 refreshed o/fault-F0396 #1 alarm 1 warning>major shown 3 by 2
  = o/fault-F0396 #1 alarm 1 major shown 3 count 2 of B,A
)");
}

}  // namespace profiled_alarms_test
}  // namespace polaiga::engine
