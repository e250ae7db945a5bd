#include "report/json_replay_report.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "intake/event_parser.h"
#include "report/json_forms.h"
#include "support/record.h"

namespace polaiga::engine {
namespace json_replay_report_test {

using nlohmann::json;

TEST(JsonReplayReport, InputIsALine) {
  RecordedInput input;
  input.sequence = 3;
  input.event = parse_sensor_event(R"({"entity":"fan","sensor":"F\n","offset":3,"state":1})");
  input.reported = true;
  input.record = test::make_record({.descr = "two\nlines"});
  const std::string line = JsonReplayReport().input(input);
  EXPECT_EQ(line.find('\n'), line.size() - 1);
  EXPECT_EQ(line, input_form(input).text() + "\n");
}

TEST(JsonReplayReport, Summary) {
  Alarms alarms;
  KeptRecords records;
  const Reporter one{find_entity("fan"), "A", 1};
  const Reporter two{find_entity("fan"), "B", 1};
  Sequence sequence = 0;
  const auto apply = [&](const test::RecordOf& of, const Reporter& reporter) {
    RecordedInput input;
    input.sequence = ++sequence;
    input.reported = true;
    input.record = test::make_record(of);
    input.outcome = alarms.apply(input.record, reporter, sequence, 1706745598 + sequence, input.changes);
    records.keep(input, alarms);
  };
  apply({.dn = "sys/a", .code = 396}, one);
  apply({.dn = "sys/a", .code = 396, .descr = "shown"}, two);
  apply({.dn = "sys/a", .code = 396, .clear_code = 396, .state = 0}, one);
  apply({.dn = "sys/b", .code = 396, .clear_code = 396, .state = 0}, one);
  std::vector<Change> changes;
  apply({.dn = "sys/c", .code = 396}, one);
  alarms.withdraw("sys/c/fault-F0396", 6, 1706745604, changes);

  const std::string line =
      JsonReplayReport().summary(alarms, records, {.events = 9, .of_no_interest = 3, .bad_lines = 2});
  EXPECT_EQ(line.find('\n'), line.size() - 1);
  const json summary = json::parse(line);
  const json counts = {{"events", 9},        {"raised", 2},      {"refreshed", 1},      {"partly_cleared", 1},
                       {"cleared", 0},       {"superseded", 0},  {"withdrawn", 1},      {"merged", 0},
                       {"already_clear", 1}, {"not_tracked", 0}, {"of_no_interest", 3}, {"bad_lines", 2}};
  EXPECT_EQ(summary["counts"], counts);
  ASSERT_EQ(summary["active"].size(), 1U);
  const json& fault = summary["active"][0];
  EXPECT_EQ(fault["fault_dn"], "sys/a/fault-F0396");
  EXPECT_EQ(fault["severity"], "major");
  EXPECT_EQ(fault["since"], "2024-01-31T23:59:59Z");
  EXPECT_EQ(fault["updated"], "2024-02-01T00:00:00Z");
  EXPECT_EQ(fault["reporters"], 1);
  EXPECT_EQ(fault["record"]["descr"], "shown");
  EXPECT_EQ(fault["reports"][0]["sensor"], "B");
  EXPECT_EQ(JsonReplayReport().summary(Alarms(), KeptRecords(), {}).substr(0, 13), R"({"active":[],)");
}

}  // namespace json_replay_report_test
}  // namespace polaiga::engine
