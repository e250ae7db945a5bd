#include "report/json_forms.h"

#include <type_traits>

#include "model/dictionary.h"
#include "model/fields.h"
#include "model/record_text.h"
#include "report/steps.h"

namespace polaiga::engine {
namespace {

template <class NamedField, class Struct>
void add_field(JsonObject& object, const NamedField& field, const Struct& from) {
  const auto& value = from.*field.kMember;
  using Type = std::remove_cvref_t<decltype(value)>;
  if constexpr (std::is_same_v<Type, decltype(fe_fault_record::oid)>) {
    object.add(field.name, dotted_oid(from));
  } else if constexpr (std::is_array_v<Type>) {
    object.add(field.name, field_text(value));
  } else {
    object.add(field.name, value);
  }
}

template <class Fields, class Struct>
void add_fields(JsonObject& object, const Fields& fields, const Struct& from) {
  for_each_field(fields, [&](const auto& field) { add_field(object, field, from); });
}

// The copy of the event in a record, into which some filters write.
JsonObject event_copy(const fe_sensor_event& event) {
  JsonObject object;
  add_fields(object, kEventSubject, event);
  add_fields(object, kEventValues, event);
  return object;
}

void add_standard(JsonObject& object, const std::optional<CauseStandard>& standard) {
  if (!standard) {
    object.add_null("event_type").add_null("probable_cause").add_null("probable_cause_number");
    return;
  }
  object.add("event_type", event_type_word(standard->event_type))
      .add("probable_cause", standard->probable_cause)
      .add("probable_cause_number", standard->probable_cause_number);
}

std::string_view name_of_other(ChangeKind kind) {
  if (kind == ChangeKind::kMerged) return "merged_into";
  return kind == ChangeKind::kSettled ? "in_place_of" : "related";
}

JsonArray changes_form(const std::vector<Change>& changes, std::string_view ledger_id) {
  JsonArray array;
  for (const Change& change : changes) array.add(change_form(change, ledger_id));
  return array;
}

}  // namespace

std::string alarm_id(std::string_view ledger_id, ChangeNumber alarm) {
  std::string id(ledger_id);
  if (!id.empty()) id += '-';
  return id + std::to_string(alarm);
}

JsonObject event_form(const SensorEvent& event) {
  JsonObject object;
  object.add("entity", event.entity->name);
  object.add_members_of(event_copy(event.event));
  if (event.time) object.add("time", format_moment(*event.time));
  if (event.id) object.add("id", *event.id);
  return object;
}

JsonObject event_form(const StoredEvent& event) {
  JsonObject object;
  object.add("seq", event.sequence)
      .add("received", format_moment(event.received))
      .add("at", format_moment(event.at))
      .add_members_of(event_form(event.event));
  return object;
}

JsonObject record_form(const fe_fault_record& record) {
  JsonObject object;
  object.add("event", event_copy(record.event));
  add_fields(object, kRecordContent, record);
  add_fields(object, kRecordStamp, record);
  object.add("severity", severity_word(severity_of(record)));
  add_standard(object, cause_standard(record));
  return object;
}

JsonObject change_form(const Change& change, std::string_view ledger_id) {
  JsonObject object;
  object.add("number", change.number)
      .add("change", change_word(change.kind))
      .add("at", format_moment(change.at))
      .add("seq", change.sequence)
      .add("quiet", change.is_quiet)
      .add("folded", change.is_folded);
  if (change.alarm == 0) return object.add("dn", change.fault_dn);
  object.add("alarm", alarm_id(ledger_id, change.alarm));
  if (change.fault != 0) object.add("fault", change.fault);
  object.add("fault_dn", change.fault_dn)
      .add("before", severity_word(change.before))
      .add("after", severity_word(change.after));
  if (change.shown != 0) object.add("shown_seq", change.shown);
  object.add("reporters", change.reporters);
  if (change.raises != 0) object.add("raises", change.raises);
  if (change.other != 0) object.add(name_of_other(change.kind), alarm_id(ledger_id, change.other));
  return object;
}

JsonObject action_form(const StoredAction& action) {
  JsonObject object;
  object.add("action", action_word(action.kind)).add("seq", action.sequence);
  if (!action.person.empty()) object.add("person", action.person);
  if (action.on_behalf_of) object.add("on_behalf_of", *action.on_behalf_of);
  if (action.comment) object.add("comment", *action.comment);
  if (!action.dn.empty()) object.add("dn", action.dn);
  if (action.until) object.add("until", format_moment(*action.until));
  return object;
}

JsonObject alarm_action_form(const AlarmAction& action) {
  JsonObject object;
  object.add("number", action.number).add("change", change_word(action.kind)).add("at", format_moment(action.at));
  if (action.action) object.add_members_of(action_form(*action.action));
  return object;
}

JsonObject maintenance_form(const StoredMaintenance& maintenance) {
  JsonObject object;
  object.add("dn", maintenance.maintenance.dn)
      .add("since", format_moment(maintenance.maintenance.since_at))
      .add("since_seq", maintenance.maintenance.since)
      .add("until", format_moment(maintenance.maintenance.until));
  if (maintenance.action) {
    const StoredAction& action = *maintenance.action;
    if (!action.person.empty()) object.add("person", action.person);
    if (action.on_behalf_of) object.add("on_behalf_of", *action.on_behalf_of);
    if (action.comment) object.add("comment", *action.comment);
  }
  return object;
}

JsonObject input_form(const RecordedInput& input) {
  JsonObject object;
  object.add("seq", input.sequence).add("event", event_form(input.event));
  if (input.reported) {
    object.add("record", record_form(input.record)).add("change", outcome_word(input.outcome));
  }
  object.add("changes", changes_form(input.changes, ""));
  return object;
}

JsonObject stored_record_form(const StoredRecord& stored) {
  JsonObject library;
  library.add("version", stored.event.build.version).add("build_id", stored.event.build.build_id);
  JsonObject object;
  object.add("event", event_form(stored.event))
      .add("record", record_form(stored.record))
      .add("change", outcome_word(stored.outcome))
      .add("library", library);
  return object;
}

JsonObject report_form(const Report& report) {
  JsonObject object;
  object.add("entity", report.reporter.entity->name)
      .add("sensor", report.reporter.sensor)
      .add("instance", report.reporter.instance)
      .add("since", format_moment(report.since_at))
      .add("since_seq", report.since)
      .add("last", format_moment(report.last_at))
      .add("last_seq", report.last)
      .add("count", report.count);
  return object;
}

JsonObject profile_form(const ProfileEntry* entry) {
  JsonObject object;
  if (entry == nullptr) return object;
  object.add("notify", entry->notify);
  if (entry->respond_within) object.add("respond_within", *entry->respond_within);
  if (!entry->consequence.empty()) object.add("consequence", entry->consequence);
  if (!entry->advice.empty()) object.add("advice", entry->advice);
  return object;
}

JsonObject fault_form(const StoredFault& fault, std::string_view ledger_id, const AlarmProfile& profile) {
  JsonObject object;
  object.add("alarm", alarm_id(ledger_id, fault.alarm))
      .add("fault", fault.number)
      .add("fault_dn", fault.fault_dn)
      .add("dn", fault.dn)
      .add("code", fault.code)
      .add("name", fault.name)
      .add("severity", severity_word(fault.severity))
      .add("since", format_moment(fault.since))
      .add("raised_seq", fault.raised)
      .add("updated", format_moment(fault.updated))
      .add("shown_seq", fault.shown)
      .add("count", fault.count)
      .add("reporters", fault.reporters);
  if (fault.ended) {
    object.add("ended", format_moment(fault.ended_at))
        .add("ended_seq", *fault.ended)
        .add("ending", change_word(fault.ending));
  }
  object.add_members_of(profile_form(profile.find(fault.code, fault.dn)));
  return object;
}

JsonObject active_fault_form(const ActiveFault& fault, const fe_fault_record& shown, const AlarmProfile& profile) {
  JsonArray reports;
  for (const Report& report : fault.reports) reports.add(report_form(report));
  JsonObject object;
  object.add("alarm", alarm_id("", fault.alarm))
      .add("created", format_moment(fault.alarm_since))
      .add("fault", fault.fault)
      .add("fault_dn", fault.fault_dn)
      .add("dn", field_text(shown.dn))
      .add("code", fault.code)
      .add("name", field_text(shown.name))
      .add("severity", severity_word(fault.severity))
      .add("since", format_moment(fault.since))
      .add("updated", format_moment(fault.updated))
      .add("shown_seq", fault.shown)
      .add("count", fault.count)
      .add("reporters", fault.reports.size())
      .add("record", record_form(shown))
      .add("reports", reports)
      .add_members_of(profile_form(profile.find(fault.code, field_text(shown.dn))));
  return object;
}

JsonObject chattering_form(const ChatteringFault& fault) {
  return JsonObject().add("since", format_moment(fault.since)).add("raises", fault.raises);
}

JsonObject active_row_form(const ActiveRow& row, std::string_view ledger_id, const AlarmProfile& profile) {
  JsonObject object = fault_form(row.fault, ledger_id, profile);
  object.add("created", format_moment(row.alarm_since))
      .add("operator_state", operator_state_word(row.standing.state()))
      .add("out_of_service", row.is_out_of_service);
  if (row.state_by) object.add("state_by", alarm_action_form(*row.state_by));
  if (row.chattering) object.add("chattering", chattering_form(*row.chattering));
  object.add("event", event_form(row.shown.event)).add("record", record_form(row.shown.record));
  return object;
}

JsonObject stored_change_form(const StoredChange& stored, std::string_view ledger_id) {
  JsonObject object;
  object.add("ledger_id", ledger_id).add_members_of(change_form(stored.change, ledger_id));
  if (stored.action) {
    object.add("action", action_form(*stored.action));
  } else {
    object.add("event", event_form(stored.event));
  }
  if (stored.record) object.add("record", record_form(stored.record->record));
  return object;
}

JsonObject alarm_form(const StoredAlarm& alarm, std::string_view ledger_id, const AlarmProfile& profile) {
  JsonObject object;
  object.add("alarm", alarm_id(ledger_id, alarm.number))
      .add("dn", alarm.dn)
      .add("created", format_moment(alarm.created))
      .add("changed", format_moment(alarm.changed))
      .add("severity", severity_word(alarm.severity))
      .add("worst", severity_word(alarm.worst))
      .add("operator_state", operator_state_word(alarm.standing.state()))
      .add("out_of_service", alarm.is_out_of_service);
  if (alarm.ended) {
    object.add("ended", format_moment(alarm.ended_at))
        .add("ended_number", *alarm.ended)
        .add("ending", change_word(alarm.ending));
  }
  if (alarm.merged_into != 0) object.add("merged_into", alarm_id(ledger_id, alarm.merged_into));
  if (alarm.related != 0) object.add("related", alarm_id(ledger_id, alarm.related));
  JsonArray steps;
  for (const StoredFault& step : alarm.steps) {
    JsonObject form = fault_form(step, ledger_id, profile);
    if (const StoredFault* const next = superseded_by(alarm, step)) form.add("superseded_by", next->fault_dn);
    steps.add(form);
  }
  JsonArray actions;
  for (const AlarmAction& action : alarm.actions) actions.add(alarm_action_form(action));
  object.add("steps", steps).add("actions", actions);
  return object;
}

}  // namespace polaiga::engine
