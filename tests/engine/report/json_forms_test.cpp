#include "report/json_forms.h"

#include <gtest/gtest.h>

#include "intake/event_parser.h"
#include "support/record.h"

namespace polaiga::engine {
namespace json_forms_test {

const std::string kLedger = "0123456789abcdef0123456789abcdef";

SensorEvent event_of(const std::string& more = "") {
  return parse_sensor_event(R"({"entity":"fan","sensor":"FAN3_TACH1","instance":3,"offset":115,"state":4)" + more +
                            "}");
}

const std::string kEvent =
    R"({"entity":"fan","sensor":"FAN3_TACH1","instance":3,"group":0,"entity_id":29,"entity_subtype":0,)"
    R"("reading_type":1,"offset":115,"state":4})";

// Every field has a value of its own.
fe_fault_record full_record() {
  fe_fault_record record = {};
  record.event = {.entity_id = 30,
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
  record.cause_id = 344;
  record.clear_cause_id = 218;
  test::fill(record.cause, "power-problem");
  test::fill(record.clear_cause, "equipment-degraded");
  record.code = 396;
  record.clear_code = 395;
  test::fill(record.name, "fltEquipmentFanPerfThresholdCritical");
  return record;
}

StoredEvent stored_event() {
  return {.sequence = 7,
          .received = 1706745601,
          .at = 1706745600,
          .event = event_of(R"(,"time":1706745600,"id":"x\"1")"),
          .build = {.build_id = "00ff", .version = "1.2.3"}};
}

TEST(JsonForms, AlarmId) {
  EXPECT_EQ(alarm_id(kLedger, 17), "0123456789abcdef0123456789abcdef-17");
  EXPECT_EQ(alarm_id("", 17), "17");
}

TEST(JsonForms, Event) {
  EXPECT_EQ(event_form(event_of()).text(), kEvent);
  EXPECT_EQ(event_form(stored_event()).text(),
            R"({"seq":7,"received":"2024-02-01T00:00:01Z","at":"2024-02-01T00:00:00Z",)" +
                kEvent.substr(1, kEvent.size() - 2) + R"(,"time":"2024-02-01T00:00:00Z","id":"x\"1"})");
}

const std::string kRecord =
    R"({"event":{"sensor":"FAN3_TACH1","instance":5,"group":-3,"entity_id":30,"entity_subtype":255,)"
    R"("reading_type":4294967295,"offset":115,"state":4},"fault_key":486540543,)"
    R"("dn":"sys/a","fault_dn":"sys/a/fault-F0396","rn":"a","code_text":"F0396",)"
    R"("oid":"1.3.6.1.4.1.32473.5.100.1.15.12.1","oid_len":13,)"
    R"("descr":"FAN3_TACH1: \"slow\" \\ : Check it ","disposition":6,"cause_id":344,"clear_cause_id":218,)"
    R"("cause":"power-problem","clear_cause":"equipment-degraded","code":396,"clear_code":395,)"
    R"("name":"fltEquipmentFanPerfThresholdCritical","created":"2024-01-31T23:59:59","created_time":1706745599,)"
    R"("severity":"major","event_type":"equipmentAlarm","probable_cause":"powerProblems",)"
    R"("probable_cause_number":533})";

TEST(JsonForms, Record) { EXPECT_EQ(record_form(full_record()).text(), kRecord); }

// Some records carry the cause's text alone; a host table may bring a cause that
// nobody knows.
TEST(JsonForms, CausesWithoutANumber) {
  fe_fault_record record = full_record();
  record.cause_id = 0;
  EXPECT_NE(record_form(record).text().find(R"("probable_cause":"powerProblems")"), std::string::npos);
  test::fill(record.cause, "weather");
  EXPECT_NE(record_form(record).text().find(R"("event_type":null,"probable_cause":null,"probable_cause_number":null})"),
            std::string::npos);
}

TEST(JsonForms, TextsOfAnyKind) {
  fe_fault_record record = full_record();
  const std::pair<const char*, const char*> kRows[] = {
      {"\x1b[2J\n\t\x7f", R"("descr":"\u001b[2J\n\t)"},
      {"caf\xC3\xA9", "\"descr\":\"caf\xC3\xA9\""},
      {"cut caf\xC3", "\"descr\":\"cut caf\xEF\xBF\xBD\""},  // cut amid a character
      {"", R"("descr":"")"},
  };
  for (const auto& [text, want] : kRows) {
    test::fill(record.descr, text);
    EXPECT_NE(record_form(record).text().find(want), std::string::npos) << want;
  }
}

const Change kRaise{.number = 4,
                    .sequence = 7,
                    .kind = ChangeKind::kRaised,
                    .at = 1706745600,
                    .fault_dn = "sys/a/fault-F0396",
                    .fault = 4,
                    .alarm = 1,
                    .before = Severity::kMinor,
                    .after = Severity::kMajor,
                    .other = 0,
                    .shown = 7,
                    .reporters = 1};

const std::string kRaiseMembers =
    R"("number":4,"change":"raised","at":"2024-02-01T00:00:00Z","seq":7,"quiet":false,"folded":false,"alarm":"1","fault":4,)"
    R"("fault_dn":"sys/a/fault-F0396","before":"minor","after":"major","shown_seq":7,"reporters":1)";

TEST(JsonForms, Change) {
  EXPECT_EQ(change_form(kRaise, "").text(), "{" + kRaiseMembers + "}");
  Change other = kRaise;
  other.other = 3;
  EXPECT_EQ(change_form(other, "").text(), "{" + kRaiseMembers + R"(,"related":"3"})");
  other.kind = ChangeKind::kMerged;
  const std::string merged = change_form(other, kLedger).text();
  EXPECT_NE(merged.find(R"("alarm":"0123456789abcdef0123456789abcdef-1")"), std::string::npos);
  EXPECT_NE(merged.find(R"("merged_into":"0123456789abcdef0123456789abcdef-3"})"), std::string::npos);
  EXPECT_EQ(merged.find("related"), std::string::npos);
}

TEST(JsonForms, ChangeOfAChatteringFault) {
  Change change = kRaise;
  change.kind = ChangeKind::kChattering;
  change.raises = 7;
  EXPECT_NE(change_form(change, "").text().find(R"("shown_seq":7,"reporters":1,"raises":7})"), std::string::npos);
  change.is_folded = true;
  EXPECT_NE(change_form(change, "").text().find(R"("quiet":false,"folded":true)"), std::string::npos);
  const Change settled{.number = 9,
                       .sequence = 8,
                       .kind = ChangeKind::kSettled,
                       .at = kRaise.at,
                       .fault_dn = "sys/a/fault-F0396",
                       .alarm = 6,
                       .before = Severity::kMajor,
                       .other = 4,
                       .raises = 12};
  EXPECT_EQ(change_form(settled, "").text(),
            R"({"number":9,"change":"settled","at":"2024-02-01T00:00:00Z","seq":8,"quiet":false,"folded":false,)"
            R"("alarm":"6","fault_dn":"sys/a/fault-F0396","before":"major","after":"cleared","reporters":0,)"
            R"("raises":12,"in_place_of":"4"})");
}

TEST(JsonForms, Input) {
  RecordedInput input;
  input.sequence = 7;
  input.event = event_of();
  input.reported = true;
  input.record = full_record();
  input.outcome = Outcome::kRaised;
  input.changes = {kRaise};
  EXPECT_EQ(input_form(input).text(), R"({"seq":7,"event":)" + kEvent + R"(,"record":)" + kRecord +
                                          R"(,"change":"raised","changes":[{)" + kRaiseMembers + "}]}");
  input.reported = false;
  input.changes.clear();
  EXPECT_EQ(input_form(input).text(), R"({"seq":7,"event":)" + kEvent + R"(,"changes":[]})");
}

TEST(JsonForms, StoredRecord) {
  const StoredRecord stored{stored_event(), full_record(), Outcome::kRefreshed};
  EXPECT_EQ(stored_record_form(stored).text(), R"({"event":)" + event_form(stored_event()).text() + R"(,"record":)" +
                                                   kRecord +
                                                   R"(,"change":"refreshed","library":{"version":"1.2.3",)"
                                                   R"("build_id":"00ff"}})");
}

TEST(JsonForms, Report) {
  const Report report{.reporter = {find_entity("fan"), "FAN3_TACH1", 3},
                      .since = 7,
                      .since_at = 1706745600,
                      .last = 9,
                      .last_at = 1706745660,
                      .count = 2};
  EXPECT_EQ(report_form(report).text(),
            R"({"entity":"fan","sensor":"FAN3_TACH1","instance":3,"since":"2024-02-01T00:00:00Z","since_seq":7,)"
            R"("last":"2024-02-01T00:01:00Z","last_seq":9,"count":2})");
}

// An alarm in two steps, the second of which is active.
StoredAlarm two_steps() {
  StoredFault first{.number = 1,
                    .alarm = 1,
                    .fault_dn = "sys/a/fault-F0395",
                    .dn = "sys/a",
                    .code = 395,
                    .name = "fltSlow",
                    .severity = Severity::kMinor,
                    .raised = 5,
                    .since = 1706745540,
                    .shown = 6,
                    .updated = 1706745570,
                    .count = 2,
                    .reporters = 0,
                    .ended = 7,
                    .ended_at = 1706745600,
                    .ending = ChangeKind::kSuperseded};
  StoredFault second = first;
  second.number = 4;
  second.fault_dn = "sys/a/fault-F0396";
  second.code = 396;
  second.name = "fltSlower";
  second.severity = Severity::kMajor;
  second.raised = second.shown = 7;
  second.since = second.updated = 1706745600;
  second.count = second.reporters = 1;
  second.ended.reset();
  return {.number = 1,
          .dn = "sys/a",
          .created = 1706745540,
          .changed = 1706745600,
          .severity = Severity::kMajor,
          .worst = Severity::kMajor,
          .ended = std::nullopt,
          .steps = {first, second}};
}

const std::string kFirstStep =
    R"({"alarm":"1","fault":1,"fault_dn":"sys/a/fault-F0395","dn":"sys/a","code":395,"name":"fltSlow",)"
    R"("severity":"minor","since":"2024-01-31T23:59:00Z","raised_seq":5,"updated":"2024-01-31T23:59:30Z",)"
    R"("shown_seq":6,"count":2,"reporters":0,"ended":"2024-02-01T00:00:00Z","ended_seq":7,"ending":"superseded")";
const std::string kSecondStep =
    R"({"alarm":"1","fault":4,"fault_dn":"sys/a/fault-F0396","dn":"sys/a","code":396,"name":"fltSlower",)"
    R"("severity":"major","since":"2024-02-01T00:00:00Z","raised_seq":7,"updated":"2024-02-01T00:00:00Z",)"
    R"("shown_seq":7,"count":1,"reporters":1})";

TEST(JsonForms, Fault) {
  EXPECT_EQ(fault_form(two_steps().steps[0], "", {}).text(), kFirstStep + "}");
  EXPECT_EQ(fault_form(two_steps().steps[1], "", {}).text(), kSecondStep);
}

TEST(JsonForms, Alarm) {
  const std::string steps =
      R"("steps":[)" + kFirstStep + R"(,"superseded_by":"sys/a/fault-F0396"},)" + kSecondStep + R"(],"actions":[]})";
  EXPECT_EQ(alarm_form(two_steps(), "", {}).text(),
            R"({"alarm":"1","dn":"sys/a","created":"2024-01-31T23:59:00Z","changed":"2024-02-01T00:00:00Z",)"
            R"("severity":"major","worst":"major","operator_state":"none","out_of_service":false,)" +
                steps);
  StoredAlarm over = two_steps();
  over.ended = 9;
  over.ended_at = 1706745660;
  over.ending = ChangeKind::kMerged;
  over.merged_into = 2;
  over.related = 3;
  over.steps.clear();
  const std::string text = alarm_form(over, kLedger, {}).text();
  EXPECT_EQ(
      text.substr(text.find(R"("worst")")),
      R"("worst":"major","operator_state":"none","out_of_service":false,"ended":"2024-02-01T00:01:00Z","ended_number":9,"ending":"merged",)"
      R"("merged_into":"0123456789abcdef0123456789abcdef-2","related":"0123456789abcdef0123456789abcdef-3",)"
      R"("steps":[],"actions":[]})");
}

TEST(JsonForms, ActiveFault) {
  ActiveFault fault{.fault_dn = "sys/a/fault-F0396",
                    .code = 396,
                    .severity = Severity::kMajor,
                    .fault = 4,
                    .alarm = 1,
                    .alarm_since = 1706745540,
                    .since = 1706745600,
                    .updated = 1706745660,
                    .shown = 9,
                    .count = 3,
                    .reports = {{{find_entity("fan"), "FAN3_TACH1", 3}, 7, 1706745600, 9, 1706745660, 2}}};
  EXPECT_EQ(active_fault_form(fault, full_record(), {}).text(),
            R"({"alarm":"1","created":"2024-01-31T23:59:00Z","fault":4,"fault_dn":"sys/a/fault-F0396","dn":"sys/a",)"
            R"("code":396,"name":"fltEquipmentFanPerfThresholdCritical","severity":"major",)"
            R"("since":"2024-02-01T00:00:00Z","updated":"2024-02-01T00:01:00Z","shown_seq":9,"count":3,"reporters":1,)"
            R"("record":)" +
                kRecord +
                R"(,"reports":[{"entity":"fan","sensor":"FAN3_TACH1","instance":3,"since":"2024-02-01T00:00:00Z",)"
                R"("since_seq":7,"last":"2024-02-01T00:01:00Z","last_seq":9,"count":2}]})");
}

}  // namespace json_forms_test
}  // namespace polaiga::engine
