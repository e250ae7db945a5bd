#include "report/text_replay_report.h"

#include <gtest/gtest.h>

#include "support/record.h"

namespace polaiga::engine {
namespace text_replay_report_test {

using test::make_record;

constexpr Moment kTime = 1706745599;

RecordedInput input_of(const fe_fault_record& record, Outcome outcome = Outcome::kRaised) {
  RecordedInput input;
  input.event.time = kTime;
  input.reported = true;
  input.record = record;
  input.outcome = outcome;
  input.changes = {{.number = 4,
                    .kind = ChangeKind::kRaised,
                    .fault_dn = record.fault_dn,
                    .alarm = 4,
                    .after = severity_of(record)}};
  if (outcome == Outcome::kAlreadyClear) input.changes.clear();
  return input;
}

std::string line_of(const fe_fault_record& record, bool coloured = false) {
  return TextReplayReport(coloured).input(input_of(record));
}

TEST(TextReplayReport, WhatARecordDid) {
  const std::string start = "2024-01-31T23:59:59Z  ";
  EXPECT_EQ(line_of(make_record({.dn = "sys/a", .code = 395})),
            start + "minor     F0395  sys/a  FAN3_TACH1: slow : Check it  (raised)\n");
  EXPECT_EQ(line_of(make_record({.dn = "sys/a", .code = 99999, .descr = ""})),
            start + "indeterminate  F99999  sys/a    (raised)\n");
  EXPECT_EQ(
      TextReplayReport(false).input(input_of(
          make_record({.dn = "sys/a", .code = 434, .state = 0, .descr = "S: over: Cleared"}), Outcome::kAlreadyClear)),
      start + "cleared   F0434  sys/a  S: over: Cleared  (already clear)\n");
}

TEST(TextReplayReport, TheRecordsStampWithoutATimeOfTheEvent) {
  fe_fault_record record = make_record({.dn = "sys/a"});
  test::fill(record.created, "2024-05-06T07:08:09");
  RecordedInput input = input_of(record);
  input.event.time.reset();
  EXPECT_EQ(TextReplayReport(false).input(input),
            "2024-05-06T07:08:09   minor     F0395  sys/a  FAN3_TACH1: slow : Check it  (raised)\n");
}

// The alarm profile may have another one than the record.
TEST(TextReplayReport, SeverityOfTheFault) {
  RecordedInput input = input_of(make_record({.dn = "sys/a", .code = 395}));
  const auto is_shown_as = [&](const std::string& word) {
    const std::string line = TextReplayReport(false).input(input);
    return line.substr(22, word.size()) == word;
  };
  input.changes[0].after = Severity::kCritical;
  EXPECT_TRUE(is_shown_as("critical  F0395"));
  input.changes[0].kind = ChangeKind::kRefreshed;
  EXPECT_TRUE(is_shown_as("critical  F0395"));
  input.changes.clear();
  input.outcome = Outcome::kNotTracked;
  EXPECT_TRUE(is_shown_as("minor     F0395"));
}

// An event of which the filter makes no record may still have faults withdrawn.
TEST(TextReplayReport, Withdrawals) {
  RecordedInput input;
  input.at = kTime;
  const Change first{.kind = ChangeKind::kWithdrawn, .fault_dn = "sys/a/fault-F0517"};
  Change second = first;
  second.fault_dn = "sys/b/fault-F0518";
  input.changes = {first, second};
  EXPECT_EQ(TextReplayReport(false).input(input),
            "2024-01-31T23:59:59Z  cleared   F0517  sys/a  (withdrawn)\n"
            "2024-01-31T23:59:59Z  cleared   F0518  sys/b  (withdrawn)\n");
}

TEST(TextReplayReport, SeveritiesAreColoured) {
  const std::pair<std::uint32_t, const char*> kRows[] = {{1, "\x1b[34mindeterminate\x1b[0m"},
                                                         {434, "\x1b[36mwarning \x1b[0m"},
                                                         {395, "\x1b[33mminor   \x1b[0m"},
                                                         {396, "\x1b[31mmajor   \x1b[0m"},
                                                         {397, "\x1b[1;31mcritical\x1b[0m"}};
  for (const auto& [code, word] : kRows) {
    const std::string line = line_of(make_record({.code = code}), true);
    EXPECT_EQ(line.substr(22, std::string(word).size()), word);
  }
  const std::string cleared = line_of(make_record({.code = 397, .state = 0}), true);
  EXPECT_EQ(cleared.substr(22, 17), "\x1b[32mcleared \x1b[0m");
}

TEST(TextReplayReport, NothingCanDriveTheTerminal) {
  const std::string line = line_of(make_record({.dn = "sys/\x1b]0;x\x07", .descr = "A\x1b[2J\nB"}));
  EXPECT_EQ(line, "2024-01-31T23:59:59Z  minor     F0395  sys/?]0;x?  A?[2J?B  (raised)\n");
}

TEST(TextReplayReport, Summary) {
  Alarms alarms;
  KeptRecords records;
  Sequence sequence = 0;
  const auto apply = [&](const test::RecordOf& of, Moment at, const std::string& sensor) {
    RecordedInput input;
    input.sequence = ++sequence;
    input.reported = true;
    input.record = make_record(of);
    input.outcome = alarms.apply(input.record, {nullptr, sensor, 1}, sequence, at, input.changes);
    records.keep(input, alarms);
  };
  apply({.dn = "sys/longer", .code = 396, .descr = "slow "}, kTime, "A");
  apply({.dn = "sys/longer", .code = 396, .descr = "slower "}, kTime + 60, "B");
  apply({.dn = "sys/a", .code = 434, .descr = "missing"}, kTime + 1, "A");
  apply({.dn = "sys/b", .code = 434, .state = 0}, kTime + 2, "A");
  EXPECT_EQ(TextReplayReport(false).summary(alarms, records, {.events = 9, .of_no_interest = 5, .bad_lines = 1}),
            "\n"
            "2 active faults:\n"
            "  2024-01-31T23:59:59Z  major     F0396  sys/longer  slower  (2 report it)\n"
            "  2024-02-01T00:00:00Z  warning   F0434  sys/a       missing\n"
            "\n"
            "9 events: 2 raised, 1 refreshed, 0 partly cleared, 0 cleared, 0 superseded, 0 withdrawn, 0 merged\n"
            "1 already clear, 0 not tracked, 5 of no interest, 1 bad line\n");
}

TEST(TextReplayReport, SummaryOfNothing) {
  EXPECT_EQ(TextReplayReport(true).summary(Alarms(), KeptRecords(), {}),
            "\n"
            "No faults are active.\n"
            "\n"
            "0 events: 0 raised, 0 refreshed, 0 partly cleared, 0 cleared, 0 superseded, 0 withdrawn, 0 merged\n"
            "0 already clear, 0 not tracked, 0 of no interest, 0 bad lines\n");
}

}  // namespace text_replay_report_test
}  // namespace polaiga::engine
