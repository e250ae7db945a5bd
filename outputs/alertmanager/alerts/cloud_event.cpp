#include "alerts/cloud_event.h"

#include "alerts/alert.h"
#include "report/json_forms.h"
#include "report/json_object.h"

namespace polaiga::alertmanager {

using engine::JsonArray;
using engine::JsonObject;

namespace {

bool is_unreserved(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '.' ||
         c == '_' || c == '~';
}

// As a segment of a path (RFC 3986).
std::string segment(std::string_view text) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string escaped;
  for (const char c : text) {
    if (is_unreserved(c)) {
      escaped += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      escaped.append(1, '%').append(1, kDigits[byte >> 4U]).append(1, kDigits[byte & 0xFU]);
    }
  }
  return escaped;
}

JsonObject event(const std::string& id, const std::string& source, const std::string& type, engine::Moment time) {
  JsonObject object;
  return object.add("specversion", "1.0")
      .add("id", id)
      .add("source", source)
      .add("type", type)
      .add("time", engine::format_moment(time))
      .add("datacontenttype", "application/json");
}

std::string subject_of(const engine::Change& change) {
  if (change.alarm == 0) return change.fault_dn;
  const auto parts = fault_parts(change.fault_dn);
  return parts ? std::string(parts->dn) : change.fault_dn;
}

}  // namespace

std::string event_source(const Identity& identity) {
  std::string source = "/polaiga/";
  if (!identity.site.empty()) source += segment(identity.site) + "/";
  return source + segment(identity.controller);
}

std::string change_event(const engine::StoredChange& change, std::optional<engine::ChangeNumber> previous,
                         std::string_view ledger_id, const std::string& source) {
  JsonObject data = engine::stored_change_form(change, ledger_id);
  if (previous) {
    data.add("previous", *previous);
  } else {
    data.add_null("previous");
  }
  return event(std::string(ledger_id) + "-" + std::to_string(change.change.number), source,
               "polaiga.change." + std::string(engine::change_word(change.change.kind)), change.change.at)
      .add("subject", subject_of(change.change))
      .add("data", data)
      .text();
}

std::string gap_event(const engine::Feed::Gap& gap, std::string_view ledger_id, engine::Moment now,
                      const std::string& source) {
  const std::string numbers = std::to_string(gap.first) + "-" + std::to_string(gap.last);
  return event(std::string(ledger_id) + "-gap-" + numbers, source, "polaiga.gap", now)
      .add("data", JsonObject().add("ledger_id", ledger_id).add("first", gap.first).add("last", gap.last))
      .text();
}

std::string snapshot_event(const PicturePart& part, std::span<const output::OutputAlarm> alarms,
                           const engine::AlarmProfile& profile, std::string_view ledger_id, engine::Moment now,
                           const std::string& source) {
  JsonArray list;
  for (const output::OutputAlarm& alarm : alarms) list.add(output::output_alarm_form(alarm, ledger_id, profile));
  const std::string id =
      std::string(ledger_id) + "-snapshot-" + std::to_string(part.number) + "-" + std::to_string(part.part);
  return event(id, source, "polaiga.snapshot", now)
      .add("data", JsonObject()
                       .add("ledger_id", ledger_id)
                       .add("number", part.number)
                       .add("part", part.part)
                       .add("parts", part.parts)
                       .add("alarms", list))
      .text();
}

}  // namespace polaiga::alertmanager
