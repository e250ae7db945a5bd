#include "wire/parts.h"

namespace polaiga::fleet {
namespace {

engine::OperatorState operator_state_of(const Members& alarm) {
  const auto state = engine::find_operator_state(alarm.text("operator_state"));
  if (!state) alarm.refuse("operator_state", "none, acknowledged, closed, shelved or unshelved");
  return *state;
}

ListedAlarm parse_listed(const Members& alarm, std::string_view ledger_id) {
  ListedAlarm listed{.number = alarm.alarm("alarm", ledger_id),
                     .fault = alarm.number("fault", 1),
                     .words = {.fault_dn = alarm.filled_text("fault_dn"),
                               .dn = alarm.text("dn"),
                               .code = alarm.number_of_32_bits("code"),
                               .name = alarm.text("name"),
                               .sensor = alarm.text("sensor"),
                               .description = alarm.text("description"),
                               .cause = alarm.text("cause"),
                               .oid = alarm.text("oid")},
                     .severity = alarm.severity("severity"),
                     .created = alarm.moment("created"),
                     .since = alarm.moment("since"),
                     .updated = alarm.moment("updated"),
                     .count = alarm.count("count"),
                     .reporters = alarm.number_of_32_bits("reporters"),
                     .operator_state = operator_state_of(alarm),
                     .is_out_of_service = alarm.flag("out_of_service")};
  if (alarm.has("raises")) listed.raises = alarm.count("raises");
  if (listed.severity == engine::Severity::kCleared) alarm.refuse("severity", "that of an active alarm");
  return listed;
}

}  // namespace

ListMessage parse_list(const Members& message) {
  ListMessage list{.ledger_id = message.ledger_id("ledger_id"),
                   .replay = message.filled_text("replay", kMostIdBytes),
                   .number = message.number("number", 0),
                   .after = message.number("after", 0)};
  list.through = message.number("through", list.after);
  list.is_last = message.flag("last");
  ChangeNumber last = list.after;
  for (const simdjson::dom::element& one : message.list("alarms")) {
    simdjson::dom::object object;
    if (one.get(object) != simdjson::SUCCESS) message.refuse("alarms", "a list of objects");
    ListedAlarm listed = parse_listed(Members(object, "alarms"), list.ledger_id);
    if (listed.number <= last || listed.number > list.through) {
      message.refuse("alarms", "in the order of their numbers, which are greater than 'after' and at most 'through'");
    }
    last = listed.number;
    list.alarms.push_back(std::move(listed));
  }
  // Before the first change there is no alarm.
  if (!list.alarms.empty() && list.number == 0) message.refuse("number", "1 or more when there are alarms");
  if (!list.is_last && list.through == list.after) message.refuse("through", "greater than 'after'");
  return list;
}

}  // namespace polaiga::fleet
