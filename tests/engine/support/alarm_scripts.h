// Scripts of what sensors report, for tests of the alarms.
#pragma once

#include <gtest/gtest.h>

#include <istream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "alarms/alarms.h"
#include "model/fault.h"
#include "support/alarm_texts.h"
#include "support/record.h"

namespace polaiga::engine::test {

// 395 is minor, 396 major, 397 critical.
inline RecordOf raise(std::uint32_t code, const char* dn = "o") { return {.dn = dn, .code = code}; }
inline RecordOf clear(std::uint32_t code, const char* dn = "o") {
  return {.dn = dn, .code = code, .clear_code = code, .state = 0};
}
inline RecordOf move(std::uint32_t from, std::uint32_t to, const char* dn = "o") {
  return {.dn = dn, .code = to, .clear_code = from, .state = 5};
}

// "A: o raise 395", "A: o move 395 396" or "A: o record 395 0 4", which is code,
// clear code and state.
inline RecordOf record_of(std::istream& words, const std::string& dn) {
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
  ChangeWatch watch_;
};

}  // namespace polaiga::engine::test
