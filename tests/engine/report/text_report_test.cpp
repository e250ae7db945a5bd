#include "report/text_report.h"

#include <gtest/gtest.h>

#include "support/record.h"

namespace polaiga::engine {
namespace {

using test::make_record;

constexpr Moment kTime = 1706745599;

std::string line_of(const fe_fault_record& record, const Outcome& outcome, bool coloured = false) {
  return TextReport(coloured).record({record, kTime, outcome});
}

TEST(TextReport, WhatARecordDid) {
  const std::string start = "2024-01-31T23:59:59Z  ";
  const struct {
    test::RecordOf of;
    Outcome outcome;
    const char* line;
  } kRows[] = {
      {{.dn = "sys/a", .code = 395}, {Change::kRaised, false}, "minor     F0395  sys/a  FAN3_TACH1: slow : Check it\n"},
      {{.dn = "sys/a", .code = 396, .clear_code = 395},
       {Change::kRaised, true},
       "major     F0396  sys/a  FAN3_TACH1: slow : Check it  (supersedes F0395)\n"},
      {{.dn = "sys/a", .code = 396, .clear_code = 395},
       {Change::kRaised, false},
       "major     F0396  sys/a  FAN3_TACH1: slow : Check it\n"},
      {{.dn = "sys/a", .code = 397},
       {Change::kRefreshed, false},
       "critical  F0397  sys/a  FAN3_TACH1: slow : Check it  (still active)\n"},
      {{.dn = "sys/a", .code = 397, .clear_code = 396},
       {Change::kRefreshed, true},
       "critical  F0397  sys/a  FAN3_TACH1: slow : Check it  (still active, supersedes F0396)\n"},
      {{.dn = "sys/a", .code = 1040, .clear_code = 1040, .state = 0, .descr = "S: over: Cleared"},
       {Change::kCleared, false},
       "cleared   F1040  sys/a  S: over: Cleared  (clears F1040)\n"},
      {{.dn = "sys/a", .code = 434, .clear_code = 434, .state = 0, .descr = "S: over: Cleared"},
       {Change::kAlreadyClear, false},
       "cleared   F0434  sys/a  S: over: Cleared  (was not active)\n"},
      {{.dn = "sys/a", .code = 99999, .descr = ""}, {Change::kRaised, false}, "indeterminate  F99999  sys/a  \n"},
  };
  for (const auto& row : kRows) EXPECT_EQ(line_of(make_record(row.of), row.outcome), start + row.line);
}

TEST(TextReport, TheRecordsStampWithoutATimeOfTheEvent) {
  fe_fault_record record = make_record({.dn = "sys/a"});
  test::fill(record.created, "2024-05-06T07:08:09");
  EXPECT_EQ(TextReport(false).record({record, std::nullopt, {Change::kRaised, false}}),
            "2024-05-06T07:08:09   minor     F0395  sys/a  FAN3_TACH1: slow : Check it\n");
}

TEST(TextReport, SeveritiesAreColoured) {
  const std::pair<std::uint32_t, const char*> kRows[] = {{1, "\x1b[34mindeterminate\x1b[0m"},
                                                         {434, "\x1b[36mwarning \x1b[0m"},
                                                         {395, "\x1b[33mminor   \x1b[0m"},
                                                         {396, "\x1b[31mmajor   \x1b[0m"},
                                                         {397, "\x1b[1;31mcritical\x1b[0m"}};
  for (const auto& [code, word] : kRows) {
    const std::string line = line_of(make_record({.code = code}), {Change::kRaised, false}, true);
    EXPECT_EQ(line.substr(22, std::string(word).size()), word);
  }
  const std::string cleared = line_of(make_record({.code = 397, .state = 0}), {Change::kCleared, false}, true);
  EXPECT_EQ(cleared.substr(22, 17), "\x1b[32mcleared \x1b[0m");
}

TEST(TextReport, NothingCanDriveTheTerminal) {
  const std::string line =
      line_of(make_record({.dn = "sys/\x1b]0;x\x07", .descr = "A\x1b[2J\nB"}), {Change::kRaised, false});
  EXPECT_EQ(line, "2024-01-31T23:59:59Z  minor     F0395  sys/?]0;x?  A?[2J?B\n");
}

TEST(TextReport, Summary) {
  ActiveFaults faults;
  faults.apply(make_record({.dn = "sys/longer", .code = 396, .descr = "slow "}), kTime, 1);
  faults.apply(make_record({.dn = "sys/longer", .code = 396, .descr = "slower "}), kTime + 60, 2);
  faults.apply(make_record({.dn = "sys/a", .code = 434, .descr = "missing"}), kTime + 1, 3);
  faults.apply(make_record({.dn = "sys/b", .code = 434, .state = 0}), kTime + 2, 4);
  EXPECT_EQ(TextReport(false).summary(faults, {.events = 9, .of_no_interest = 5, .bad_lines = 1}),
            "\n"
            "2 active faults:\n"
            "  2024-01-31T23:59:59Z  major     F0396  sys/longer  slower\n"
            "  2024-02-01T00:00:00Z  warning   F0434  sys/a       missing\n"
            "\n"
            "9 events: 2 raised, 1 refreshed, 0 cleared, 1 already clear, 5 of no interest\n"
            "0 faults superseded, 1 bad line\n");
}

TEST(TextReport, SummaryOfNothing) {
  EXPECT_EQ(TextReport(true).summary(ActiveFaults(), {}),
            "\n"
            "No faults are active.\n"
            "\n"
            "0 events: 0 raised, 0 refreshed, 0 cleared, 0 already clear, 0 of no interest\n"
            "0 faults superseded, 0 bad lines\n");
}

}  // namespace
}  // namespace polaiga::engine
