#include "report/json_report.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "support/record.h"

namespace polaiga::engine {
namespace {

using nlohmann::json;

// Every field has a value of its own.
fe_fault_record full_record() {
  fe_fault_record record = {};
  record.event = {.entity_id = 29,
                  .entity_subtype = 255,
                  .reserved1 = {},
                  .group_instance = -3,
                  .entity_instance = 5,
                  .event_state = 4,
                  .event_offset = 115,
                  .reserved2 = {},
                  .sensor_name = "FAN3_TACH1",
                  .reading_type = 4294967295U,
                  .reserved3 = {}};
  record.fault_key = 486540543;
  test::fill(record.dn, "sys/a");
  test::fill(record.fault_dn, "sys/a/fault-F0396");
  test::fill(record.rn, "a");
  test::fill(record.code_text, "F0396");
  const std::uint32_t arcs[] = {1, 3, 6, 1, 4, 1, 32473, 5, 100, 1, 15, 12, 1};
  std::copy(std::begin(arcs), std::end(arcs), record.oid);
  record.oid_len = 13;
  test::fill(record.descr, "FAN3_TACH1: \"slow\" \\ : Check it ");
  test::fill(record.created, "2024-01-31T23:59:59");
  record.created_time = 1706745599;
  record.disposition = 6;
  record.cause_id = 381;
  record.clear_cause_id = 218;
  test::fill(record.cause, "performance-problem");
  test::fill(record.clear_cause, "equipment-degraded");
  record.code = 396;
  record.clear_code = 395;
  test::fill(record.name, "fltEquipmentFanPerfThresholdCritical");
  return record;
}

TEST(JsonReport, EveryFieldInOneLine) {
  const std::string line = JsonReport().record({full_record(), Moment{1706745600}, {Change::kRefreshed, true}});
  EXPECT_EQ(line,
            R"({"event":{"entity_id":29,"entity_subtype":255,"group_instance":-3,"entity_instance":5,"event_state":4,)"
            R"("event_offset":115,"sensor_name":"FAN3_TACH1","reading_type":4294967295},"fault_key":486540543,)"
            R"("dn":"sys/a","fault_dn":"sys/a/fault-F0396","rn":"a","code_text":"F0396",)"
            R"("oid":"1.3.6.1.4.1.32473.5.100.1.15.12.1","oid_len":13,)"
            R"("descr":"FAN3_TACH1: \"slow\" \\ : Check it ","created":"2024-01-31T23:59:59",)"
            R"("created_time":1706745599,"disposition":6,"cause_id":381,"clear_cause_id":218,)"
            R"("cause":"performance-problem","clear_cause":"equipment-degraded","code":396,"clear_code":395,)"
            R"("name":"fltEquipmentFanPerfThresholdCritical","severity":"major","change":"refreshed",)"
            R"("superseded":true,"time":"2024-02-01T00:00:00Z"})"
            "\n");
}

TEST(JsonReport, TimeOnlyIfTheEventHasOne) {
  const json object = json::parse(JsonReport().record({full_record(), std::nullopt, {Change::kRaised, false}}));
  EXPECT_FALSE(object.contains("time"));
  EXPECT_EQ(object["superseded"], false);
}

TEST(JsonReport, Changes) {
  const std::pair<Change, const char*> kRows[] = {{Change::kRaised, "raised"},
                                                  {Change::kRefreshed, "refreshed"},
                                                  {Change::kCleared, "cleared"},
                                                  {Change::kAlreadyClear, "already_clear"}};
  for (const auto& [change, word] : kRows) {
    EXPECT_EQ(json::parse(JsonReport().record({full_record(), std::nullopt, {change, false}}))["change"], word);
  }
}

TEST(JsonReport, TextsOfAnyKind) {
  fe_fault_record record = full_record();
  const std::pair<const char*, const char*> kRows[] = {
      {"\x1b[2J\n\t\x7f", "\x1b[2J\n\t\x7f"},
      {"caf\xC3\xA9", "caf\xC3\xA9"},
      {"cut caf\xC3", "cut caf\xEF\xBF\xBD"},  // cut amid a character
      {"", ""},
  };
  for (const auto& [text, want] : kRows) {
    test::fill(record.descr, text);
    const std::string line = JsonReport().record({record, std::nullopt, {Change::kRaised, false}});
    EXPECT_EQ(json::parse(line)["descr"], want);
    EXPECT_EQ(line.find('\n'), line.size() - 1);
  }
}

TEST(JsonReport, Summary) {
  ActiveFaults faults;
  faults.apply(full_record(), 1706745599, 1);
  faults.apply(full_record(), 1706745600, 2);
  const std::string line = JsonReport().summary(faults, {.events = 9, .of_no_interest = 7, .bad_lines = 2});
  EXPECT_EQ(line.find('\n'), line.size() - 1);
  const json want = {{"active",
                      {{{"fault_dn", "sys/a/fault-F0396"},
                        {"code", 396},
                        {"name", "fltEquipmentFanPerfThresholdCritical"},
                        {"severity", "major"},
                        {"cause", "performance-problem"},
                        {"descr", "FAN3_TACH1: \"slow\" \\ : Check it "},
                        {"since", "2024-01-31T23:59:59Z"},
                        {"updated", "2024-02-01T00:00:00Z"},
                        {"reports", 2}}}},
                     {"counts",
                      {{"events", 9},
                       {"raised", 1},
                       {"refreshed", 1},
                       {"cleared", 0},
                       {"already_clear", 0},
                       {"superseded", 0},
                       {"of_no_interest", 7},
                       {"bad_lines", 2}}}};
  EXPECT_EQ(json::parse(line), want);
  EXPECT_EQ(JsonReport().summary(ActiveFaults(), {}).substr(0, 13), R"({"active":[],)");
}

}  // namespace
}  // namespace polaiga::engine
