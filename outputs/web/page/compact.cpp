#include "page/compact.h"

#include <array>

#include "model/dictionary.h"
#include "model/operator_action.h"
#include "model/record_text.h"
#include "page/choice.h"
#include "report/json_object.h"

namespace polaiga::web {
namespace {

using engine::ActiveRow;
using engine::JsonArray;
using engine::JsonObject;
using engine::Severity;

// Arrays in arrays are made as text: JsonArray holds values and objects.
void add_row(std::string& rows, const JsonArray& row) {
  if (!rows.empty()) rows += ",\n";
  rows += row.text();
}

JsonArray names(std::initializer_list<std::string_view> columns) {
  JsonArray array;
  for (const std::string_view column : columns) array.add(column);
  return array;
}

std::string with_rows(const JsonObject& head, const std::string& rows) {
  std::string body = head.text();
  body.pop_back();
  return body.append(",\"rows\":[\n").append(rows).append("]}\n");
}

JsonArray active_row(const ActiveRow& row) {
  JsonArray array;
  array.add(row.fault.alarm)
      .add(row.fault.fault_dn)
      .add(row.fault.dn)
      .add(row.fault.code)
      .add(row.fault.name)
      .add(engine::severity_word(row.fault.severity))
      .add(row.fault.since)
      .add(row.alarm_since)
      .add(row.fault.updated)
      .add(row.fault.reporters)
      .add(engine::operator_state_word(row.standing.state()))
      .add(person_of(row))
      .add(row.standing.shelved_until)
      .add(row.is_out_of_service ? 1 : 0)
      .add(row.chattering ? row.chattering->raises : 0)
      .add(engine::field_text(row.shown.record.descr))
      .add(engine::field_text(row.shown.event.event.event.sensor_name));
  return array;
}

}  // namespace

std::string compact_active(const engine::Overview& overview, bool is_readable) {
  std::array<std::size_t, 6> counts{};
  std::string rows;
  for (const ActiveRow& row : overview.active) {
    if (!row.is_silenced()) ++counts.at(static_cast<std::size_t>(row.fault.severity));
    add_row(rows, active_row(row));
  }
  JsonObject by_severity;
  for (std::size_t i = counts.size() - 1; i > 0; --i) {
    by_severity.add(engine::severity_word(static_cast<Severity>(i)), counts.at(i));
  }
  JsonObject head;
  head.add("ledger_id", overview.ledger_id)
      .add("change", overview.number)
      .add("is_readable", is_readable)
      .add("counts", by_severity)
      .add("missed", overview.missed)
      .add("maintenance", overview.maintenance.size())
      .add("columns",
           names({"number", "fault_dn", "dn", "code", "name", "severity", "since", "created", "updated", "reporters",
                  "operator_state", "person", "shelved_until", "out_of_service", "chattering", "descr", "sensor"}));
  return with_rows(head, rows);
}

std::string compact_history(const std::string& ledger_id, const std::vector<engine::StoredAlarm>& alarms,
                            std::size_t most) {
  std::string rows;
  for (const engine::StoredAlarm& alarm : alarms) {
    std::string steps;
    for (const engine::StoredFault& step : alarm.steps) {
      add_row(steps, JsonArray().add(step.since).add(static_cast<int>(step.severity)));
    }
    const bool has_steps = !alarm.steps.empty();
    JsonArray row;
    row.add(alarm.number)
        .add(alarm.dn)
        .add(has_steps ? alarm.steps.front().code : 0)
        .add(has_steps ? alarm.steps.back().code : 0)
        .add(has_steps ? alarm.steps.back().name : "")
        .add(engine::severity_word(alarm.severity))
        .add(engine::severity_word(alarm.worst))
        .add(engine::operator_state_word(alarm.standing.state()))
        .add(alarm.created)
        .add(alarm.ended ? alarm.ended_at : 0);
    std::string text = row.text();
    text.pop_back();
    if (!rows.empty()) rows += ",\n";
    rows.append(text).append(",[").append(steps).append("]]");
  }
  JsonObject head;
  head.add("ledger_id", ledger_id)
      .add("is_whole", alarms.size() < most)
      .add("columns", names({"number", "dn", "first_code", "code", "name", "severity", "worst", "operator_state",
                             "created", "ended", "steps"}));
  return with_rows(head, rows);
}

}  // namespace polaiga::web
