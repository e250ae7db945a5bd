#include "commands/explain_forms.h"

#include "base/printable.h"
#include "explore/catalog_forms.h"
#include "model/record_text.h"
#include "report/change_text.h"
#include "report/json_forms.h"
#include "report/shown.h"
#include "report/steps.h"

namespace polaiga::engine {
namespace {

bool is_of(const FoundFault& fault, const fe_fault_record& record) {
  return fault.code == record.code && fault.name == field_text(record.name) && fault.cause == field_text(record.cause);
}

// A block of lines: a heading, and names with what they stand for.
class Block {
 public:
  explicit Block(const std::string& heading) : text_("\n" + heading + "\n") {}

  Block& add(std::string_view name, const std::string& value) {
    constexpr std::size_t kWidth = 14;
    text_.append(kGap).append(padded(name, kWidth)).append(1, ' ').append(value);
    text_.erase(text_.find_last_not_of(' ') + 1);
    text_ += '\n';
    return *this;
  }

  const std::string& text() const { return text_; }

 private:
  std::string text_;
};

std::string by_input(Sequence sequence, Moment when) {
  return "event " + std::to_string(sequence) + " at " + format_moment(when);
}

std::string ending_of(const Explanation& found) {
  return ending_text(found.alarm, found.fault) + ", by " + by_input(*found.fault.ended, found.fault.ended_at);
}

std::string state_text(const Explanation& found) {
  const StoredFault& fault = found.fault;
  if (!fault.ended) {
    return "active since " + format_moment(fault.since) + ", reported by " + std::to_string(fault.reporters);
  }
  return "active from " + format_moment(fault.since) + ", " + ending_of(found);
}

// Empty when the fault is not chattering.
std::string chattering_text(const Explanation& found) {
  if (!found.chattering) return "";
  return "chattering since " + format_moment(found.chattering->since) + ", raised " +
         std::to_string(found.chattering->raises) + " times\n";
}

std::string alarm_state(const StoredAlarm& alarm, std::string_view ledger_id) {
  if (!alarm.ended) return "active";
  const bool merged = alarm.ending == ChangeKind::kMerged;
  return std::string(change_word(alarm.ending)) + (merged ? " into " + alarm_id(ledger_id, alarm.merged_into) : "") +
         " at " + format_moment(alarm.ended_at);
}

std::string steps_text(const StoredAlarm& alarm, Room room) {
  Rows rows;
  for (const StoredFault& step : alarm.steps) {
    rows.push_back({"", format_moment(step.since), step.ended ? format_moment(step.ended_at) : "active",
                    std::string(severity_word(step.severity)), code_text(step.code), printable(step.name),
                    ending_text(alarm, step)});
  }
  constexpr std::size_t kTo = 2;
  constexpr std::size_t kName = 5;
  constexpr std::size_t kEnding = 6;
  return "\nIts faults\n" +
         aligned(rows, {.room = room, .giving_way = {{kName, 16}, {kEnding, 12}, {kTo, 0}, {kName, 8}}});
}

std::string alarm_text(const StoredAlarm& alarm, std::string_view ledger_id, Room room) {
  Block block("The alarm");
  block.add("id", alarm_id(ledger_id, alarm.number))
      .add("object", printable(alarm.dn))
      .add("created", format_moment(alarm.created))
      .add("last changed", format_moment(alarm.changed))
      .add("severity", std::string(severity_word(alarm.severity)))
      .add("worst", std::string(severity_word(alarm.worst)))
      .add("state", alarm_state(alarm, ledger_id));
  if (alarm.standing.state() != OperatorState::kNone) {
    block.add("operators", std::string(operator_state_word(alarm.standing.state())));
  }
  if (alarm.is_out_of_service) block.add("object", "out of service");
  if (alarm.related != 0) block.add("related to", alarm_id(ledger_id, alarm.related));
  return block.text() + steps_text(alarm, room);
}

std::string actions_text(const std::vector<AlarmAction>& actions, Room room) {
  if (actions.empty()) return "";
  Rows rows;
  for (const AlarmAction& action : actions) {
    rows.push_back({"", std::to_string(action.number), format_moment(action.at), change_text(action),
                    person_text(action.action ? &*action.action : nullptr)});
  }
  constexpr std::size_t kPerson = 4;
  return "\nWhat operators did\n" + aligned(rows, {.room = room, .giving_way = {{kPerson, 12}}});
}

std::string changes_text(const Explanation& found, Room room) {
  Rows rows;
  for (const Change& change : found.changes) {
    rows.push_back({"", std::to_string(change.number), format_moment(change.at),
                    printable(parts_of(change.fault_dn).code),
                    change_text(change) + (change.is_folded ? ", chattering" : "")});
  }
  std::string heading = "\nIts changes";
  if (found.changes_left_out != 0) heading += ", without the first " + std::to_string(found.changes_left_out);
  constexpr std::size_t kChange = 4;
  return heading + "\n" + aligned(rows, {.room = room, .giving_way = {{kChange, 12}}});
}

std::string reports_text(const std::vector<StoredReport>& reports) {
  if (reports.empty()) return "";
  std::string text = "\nWho reports it\n";
  for (const auto& [report, stored] : reports) {
    text.append(kGap).append(report.reporter.entity->name).append(" ").append(printable(report.reporter.sensor));
    text.append(", instance ").append(std::to_string(report.reporter.instance));
    text.append(", since ").append(by_input(report.since, report.since_at));
    text.append(", ").append(plural(report.count, "record"));
    if (report.count > 1) text.append(", last by ").append(by_input(report.last, report.last_at));
    text.append("\n    ").append(shown_description(field_text(stored.record.descr))).append("\n");
  }
  return text;
}

std::string event_text(const StoredEvent& stored) {
  const fe_sensor_event& event = stored.event.event;
  Block block("Raised by event " + std::to_string(stored.sequence));
  if (stored.event.time) block.add("time", format_moment(*stored.event.time));
  block.add("received", format_moment(stored.received));
  if (stored.event.id) block.add("id", printable(*stored.event.id));
  block.add("entity", std::string(stored.event.entity->name))
      .add("sensor", printable(field_text(event.sensor_name)))
      .add("instance", std::to_string(event.entity_instance))
      .add("offset", std::to_string(event.event_offset))
      .add("state", std::to_string(event.event_state))
      .add("library", printable(stored.build.version) +
                          (stored.build.build_id.empty() ? "" : ", build id " + printable(stored.build.build_id)));
  return block.text();
}

std::string record_text(const StoredRecord& raise) {
  const fe_fault_record& record = raise.record;
  Block block("What the record said");
  block.add("code", printable(field_text(record.code_text)))
      .add("name", printable(field_text(record.name)))
      .add("severity", std::string(severity_word(severity_of(record))))
      .add("cause", printable(field_text(record.cause)));
  if (const auto standard = cause_standard(record)) {
    block.add("event type", std::string(event_type_word(standard->event_type)))
        .add("probable cause",
             standard->probable_cause + (" (" + std::to_string(standard->probable_cause_number) + ")"));
  }
  return block.add("description", shown_description(field_text(record.descr))).text();
}

// What the site says of the fault; empty when it says nothing.
std::string profile_text(const ProfileEntry* entry) {
  if (entry == nullptr) return "";
  Block block("What the site says");
  if (entry->severity) block.add("severity", std::string(severity_word(*entry->severity)));
  block.add("notify", entry->notify ? "yes" : "no");
  if (entry->respond_within) block.add("respond within", duration_text(*entry->respond_within));
  if (!entry->consequence.empty()) block.add("consequence", printable(entry->consequence));
  if (!entry->advice.empty()) block.add("advice", printable(entry->advice));
  return block.text();
}

std::string since_then_text(const Explanation& found) {
  const StoredFault& fault = found.fault;
  Block block("What came of it");
  for (const StoredFault* other : superseded(found.alarm, fault)) block.add("superseded", printable(other->fault_dn));
  const std::uint64_t times = fault.count - 1;
  block.add("refreshed", times == 0 ? "never" : plural(times, "time") + ", last at " + format_moment(fault.updated));
  if (found.shown.event.sequence != found.raise.event.sequence) {
    block.add("shows", shown_description(field_text(found.shown.record.descr)))
        .add("of", by_input(found.shown.event.sequence, found.shown.event.at));
  }
  return block.add("ended", fault.ended ? ending_of(found) : "not yet").text();
}

std::string rule_text(const std::optional<Rule>& rule, const SensorEvent& event) {
  Block raised("The rule, as OFFSETS: STATES");
  raised.add("filter", std::string(event.entity->name));
  if (!rule) return raised.add("raised by", "This build's filter does not raise the fault by this event.").text();
  raised.add("raised by", rule->raised_by);
  Block ends("What ends it, as OFFSETS: STATES of " + printable(field_text(event.event.sensor_name)));
  ends.add("cleared by", rule->cleared_by.empty() ? "No event clears it." : rule->cleared_by);
  for (const auto& [code, events] : rule->superseded_by) {
    ends.add("superseded by", code_text(code) + " " + fault_name(code) + ", raised by " + events);
  }
  return raised.text() + ends.text();
}

void add_rule(JsonObject& object, const std::optional<Rule>& rule, const Entity& entity) {
  if (!rule) {
    object.add_null("rule");
    return;
  }
  JsonArray others;
  for (const auto& [code, events] : rule->superseded_by) {
    JsonObject other;
    others.add(other.add("code", code).add("name", fault_name(code)).add("events", events));
  }
  JsonObject form;
  form.add("filter", entity.name)
      .add("raised_by", rule->raised_by)
      .add("cleared_by", rule->cleared_by)
      .add("superseded_by", others);
  object.add("rule", form);
}

}  // namespace

std::optional<Rule> rule_of(const StoredRecord& raise) {
  const SensorEvent& event = raise.event.event;
  const FoundFilter filter = find_faults(*event.entity, event.event);
  const EventKey key = tried_as(*event.entity, event.event);
  for (const FoundFault& fault : filter.faults) {
    if (!is_of(fault, raise.record)) continue;
    for (const Behaviour& behaviour : fault.behaviours) {
      if (!behaviour.raises.contains(key)) continue;
      Rule rule{.raised_by = brief_events(behaviour.raises, filter.memories),
                .cleared_by = brief_events(behaviour.clears, filter.memories),
                .superseded_by = {}};
      for (const auto& [code, events] : behaviour.superseded_by) {
        rule.superseded_by[code] = brief_events(events, filter.memories);
      }
      return rule;
    }
  }
  return std::nullopt;
}

std::string explain_as_text(const Explanation& found, const std::optional<Rule>& rule, std::string_view ledger_id,
                            Room room, const AlarmProfile& profile) {
  std::string text = printable(found.fault.fault_dn) + "\n" + state_text(found) + "\n" + chattering_text(found);
  text += alarm_text(found.alarm, ledger_id, room);
  text += profile_text(profile.find(found.fault.code, found.fault.dn));
  text += changes_text(found, room);
  text += actions_text(found.alarm.actions, room);
  text += reports_text(found.reports);
  text += event_text(found.raise.event);
  text += record_text(found.raise);
  text += since_then_text(found);
  return text + rule_text(rule, found.raise.event.event);
}

std::string explain_as_json(const Explanation& found, const std::optional<Rule>& rule, std::string_view ledger_id,
                            const AlarmProfile& profile) {
  StoredFault fault = found.fault;
  fault.alarm = found.alarm.number;  // the one it was raised for may have been merged into this one
  JsonObject object = fault_form(fault, ledger_id, profile);
  if (const StoredFault* const next = superseded_by(found.alarm, found.fault)) {
    object.add("superseded_by", next->fault_dn);
  }
  if (found.chattering) object.add("chattering", chattering_form(*found.chattering));
  JsonArray others;
  for (const StoredFault* other : superseded(found.alarm, found.fault)) others.add(other->fault_dn);
  JsonArray reports;
  for (const auto& [report, stored] : found.reports) {
    reports.add(report_form(report).add("record", record_form(stored.record)));
  }
  JsonArray changes;
  for (const Change& change : found.changes) changes.add(change_form(change, ledger_id));
  object.add("superseded", others)
      .add("history", alarm_form(found.alarm, ledger_id, profile))
      .add("changes", changes)
      .add("changes_left_out", found.changes_left_out)
      .add("reports", reports)
      .add("raise", stored_record_form(found.raise))
      .add("shown", stored_record_form(found.shown));
  add_rule(object, rule, *found.raise.event.event.entity);
  return object.line();
}

}  // namespace polaiga::engine
