#include "alarms/alarms.h"

#include <gtest/gtest.h>

#include <istream>
#include <regex>
#include <sstream>

#include "model/fault.h"
#include "support/alarm_texts.h"
#include "support/record.h"

namespace polaiga::engine {
namespace {

using test::active_texts;
using test::make_record;
using test::RecordOf;
using test::Texts;
using test::texts_of;

// 395 is minor, 396 major, 397 critical.
RecordOf raise(std::uint32_t code, const char* dn = "o") { return {.dn = dn, .code = code}; }
RecordOf clear(std::uint32_t code, const char* dn = "o") {
  return {.dn = dn, .code = code, .clear_code = code, .state = 0};
}
RecordOf move(std::uint32_t from, std::uint32_t to, const char* dn = "o") {
  return {.dn = dn, .code = to, .clear_code = from, .state = 5};
}

// "A: o raise 395", "A: o move 395 396" or "A: o record 395 0 4", which is code,
// clear code and state.
RecordOf record_of(std::istream& words, const std::string& dn) {
  std::string verb;
  std::uint32_t code = 0;
  std::uint32_t to = 0;
  words >> verb >> code;
  if (verb == "raise") return raise(code, dn.c_str());
  if (verb == "clear") return clear(code, dn.c_str());
  words >> to;
  if (verb == "move") return move(code, to, dn.c_str());
  RecordOf record{.dn = dn.c_str(), .code = code, .clear_code = to};
  words >> record.state;
  return record;
}

// Scripts say what sensors report of objects, and all that this does:
//   A: o raise 395 -> raised                  a sensor's record of object o, and its outcome
//     1 raised o/fault-F0395 #1 ...           the changes, as in support/alarm_texts.h
//     = o/fault-F0395 #1 ...                  the faults that are active afterwards
//   # ...                                     a comment
// Inputs are numbered from 1.
class AlarmsTest : public ::testing::Test {
 protected:
  explicit AlarmsTest(std::size_t most_reports = Alarms::kMostReports) : alarms_(most_reports) {}

  static Reporter reporter(const std::string& sensor) { return {find_entity("fan"), sensor, 1}; }

  // Plays the inputs of a script, and compares what it comes to with the script.
  void expect(const std::string& script) {
    std::string want;
    std::string got;
    std::istringstream lines(script);
    for (std::string line; std::getline(lines, line);) {
      if (line.empty() || line.starts_with('#')) continue;
      want += line + "\n";
      if (!line.starts_with(' ')) got += played(line);
    }
    EXPECT_EQ(got, want);
  }

  std::string played(const std::string& line) {
    std::istringstream words(line);
    std::string sensor;
    std::string dn;
    words >> sensor >> dn;
    sensor.pop_back();
    const RecordOf record = record_of(words, dn);
    Outcome outcome{};
    const std::vector<Change> changes = apply(record, reporter(sensor), outcome);
    std::string text = line.substr(0, line.find(" -> ")) + " -> " + std::string(outcome_word(outcome)) + "\n";
    for (const std::string& change : texts_of(changes)) text += "  " + change + "\n";
    for (const std::string& fault : active_texts(alarms_)) text += "  = " + fault + "\n";
    return text;
  }

  std::vector<Change> apply(const RecordOf& record, const Reporter& reporter, Outcome& outcome) {
    std::vector<Change> changes;
    ++sequence_;
    outcome = alarms_.apply(make_record(record), reporter, sequence_, at(), changes);
    watch_.follow(changes, sequence_, at(), alarms_);
    return changes;
  }

  void apply(const RecordOf& record, const Reporter& reporter, const char* want) {
    Outcome outcome{};
    apply(record, reporter, outcome);
    EXPECT_EQ(outcome_word(outcome), want) << "input " << sequence_;
  }

  Texts withdraw(const char* fault_dn) {
    std::vector<Change> changes;
    ++sequence_;
    alarms_.withdraw(fault_dn, sequence_, at(), changes);
    watch_.follow(changes, sequence_, at(), alarms_);
    return texts_of(changes);
  }

  void expect_counts(const AlarmCounts& want) const {
    const AlarmCounts& got = alarms_.counts();
    EXPECT_EQ(got.raised, want.raised);
    EXPECT_EQ(got.refreshed, want.refreshed);
    EXPECT_EQ(got.partly_cleared, want.partly_cleared);
    EXPECT_EQ(got.cleared, want.cleared);
    EXPECT_EQ(got.superseded, want.superseded);
    EXPECT_EQ(got.withdrawn, want.withdrawn);
    EXPECT_EQ(got.merged, want.merged);
    EXPECT_EQ(got.already_clear, want.already_clear);
    EXPECT_EQ(got.not_tracked, want.not_tracked);
  }

  Moment at() const { return 1000 + sequence_; }

  Alarms alarms_;
  Sequence sequence_ = 0;
  test::ChangeWatch watch_;
};

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

}  // namespace
}  // namespace polaiga::engine
