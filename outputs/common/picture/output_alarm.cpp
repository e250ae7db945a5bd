#include "picture/output_alarm.h"

#include <charconv>
#include <tuple>
#include <utility>

#include "model/record_text.h"
#include "report/json_forms.h"

namespace polaiga::output {
namespace {

using engine::JsonObject;

// The arcs of an identifier that this program wrote itself, with dots between them.
std::vector<std::uint32_t> arcs_of(std::string_view dotted) {
  std::vector<std::uint32_t> arcs;
  const char* at = dotted.data();
  const char* const end = at + dotted.size();
  while (at < end) {
    std::uint32_t arc = 0;
    const auto read = std::from_chars(at, end, arc);
    if (read.ec != std::errc()) break;
    arcs.push_back(arc);
    at = read.ptr < end ? read.ptr + 1 : end;
  }
  return arcs;
}

auto members_of(const OutputAlarm& one) {
  return std::tie(one.number, one.fault, one.fault_dn, one.dn, one.code, one.name, one.severity, one.created, one.since,
                  one.updated, one.count, one.reporters, one.sensor, one.description, one.cause, one.oid,
                  one.operator_state, one.is_out_of_service, one.raises, one.was_told);
}

}  // namespace

// The place of a cause in the standards follows from the cause.
bool OutputAlarm::operator==(const OutputAlarm& other) const { return members_of(*this) == members_of(other); }

OutputAlarm output_alarm(const engine::FeedAlarm& alarm) {
  const engine::StoredFault& fault = alarm.fault;
  const fe_fault_record& record = alarm.shown.record;
  return {.number = alarm.number,
          .fault = fault.number,
          .fault_dn = fault.fault_dn,
          .dn = fault.dn,
          .code = fault.code,
          .name = fault.name,
          .severity = fault.severity,
          .created = alarm.created,
          .since = fault.since,
          .updated = fault.updated,
          .count = fault.count,
          .reporters = fault.reporters,
          .sensor = std::string(engine::field_text(alarm.shown.event.event.event.sensor_name)),
          .description = std::string(engine::field_text(record.descr)),
          .cause = std::string(engine::field_text(record.cause)),
          .oid = arcs_of(engine::dotted_oid(record)),
          .standard = engine::cause_standard(record),
          .operator_state = alarm.standing.state(),
          .is_out_of_service = alarm.is_out_of_service,
          .raises = alarm.chattering ? alarm.chattering->raises : 0,
          .was_told = alarm.standing.was_told || alarm.chattering};
}

JsonObject output_alarm_form(const OutputAlarm& alarm, std::string_view ledger_id,
                             const engine::AlarmProfile& profile) {
  JsonObject object;
  object.add("alarm", engine::alarm_id(ledger_id, alarm.number))
      .add("fault", alarm.fault)
      .add("fault_dn", alarm.fault_dn)
      .add("dn", alarm.dn)
      .add("code", alarm.code)
      .add("name", alarm.name)
      .add("severity", engine::severity_word(alarm.severity))
      .add("created", engine::format_moment(alarm.created))
      .add("since", engine::format_moment(alarm.since))
      .add("updated", engine::format_moment(alarm.updated))
      .add("count", alarm.count)
      .add("reporters", alarm.reporters)
      .add("operator_state", engine::operator_state_word(alarm.operator_state))
      .add("out_of_service", alarm.is_out_of_service)
      .add("sensor", alarm.sensor)
      .add("description", alarm.description)
      .add("cause", alarm.cause);
  std::string oid;
  for (const std::uint32_t arc : alarm.oid) oid += (oid.empty() ? "" : ".") + std::to_string(arc);
  object.add("oid", oid);
  if (alarm.standard) {
    object.add("event_type", engine::event_type_word(alarm.standard->event_type))
        .add("probable_cause", alarm.standard->probable_cause)
        .add("probable_cause_number", alarm.standard->probable_cause_number);
  } else {
    object.add_null("event_type").add_null("probable_cause").add_null("probable_cause_number");
  }
  if (alarm.raises != 0) object.add("raises", alarm.raises);
  return object.add_members_of(engine::profile_form(profile.find(alarm.code, alarm.dn)));
}

}  // namespace polaiga::output
