#include "alerts/alert.h"

#include <charconv>
#include <cstdio>

#include "report/json_forms.h"
#include "report/json_object.h"

namespace polaiga::alertmanager {

using engine::JsonObject;

namespace {

void add_text(JsonObject& object, std::string_view name, std::string_view value) {
  if (!value.empty()) object.add(name, value);
}

}  // namespace

std::string code_text(std::uint32_t code) {
  std::string digits = std::to_string(code);
  constexpr std::size_t kDigits = 4;
  if (digits.size() < kDigits) digits.insert(0, kDigits - digits.size(), '0');
  return "F" + digits;
}

std::optional<FaultParts> fault_parts(std::string_view fault_dn) {
  constexpr std::string_view kFault = "/fault-F";
  constexpr std::size_t kDigits = 4;
  const std::size_t at = fault_dn.rfind(kFault);
  if (at == std::string_view::npos || at == 0) return std::nullopt;
  const std::string_view digits = fault_dn.substr(at + kFault.size());
  FaultParts parts{.dn = fault_dn.substr(0, at), .code = 0};
  const auto [stop, error] = std::from_chars(digits.data(), digits.data() + digits.size(), parts.code);
  if (error != std::errc() || stop != digits.data() + digits.size() || digits.size() < kDigits) return std::nullopt;
  return parts;
}

// The name is the dictionary's, so that an alert can be ended by the DN of its fault alone.
std::string alert_labels(std::string_view dn, std::uint32_t code, engine::Severity severity, const Identity& identity) {
  const std::string number = code_text(code);
  const std::string_view name = engine::fault_name(code);
  JsonObject labels;
  labels.add("alertname", name.empty() ? std::string_view(number) : name)
      .add("dn", dn)
      .add("code", number)
      .add("severity", engine::severity_word(severity))
      .add("controller", identity.controller);
  add_text(labels, "site", identity.site);
  return labels.text();
}

std::string alert_summary(std::string_view dn, std::uint32_t code, engine::Severity severity) {
  return std::string(engine::severity_word(severity)) + " alarm " + code_text(code) + " of " + std::string(dn);
}

Alert alert_of(const output::OutputAlarm& alarm, std::string_view ledger_id, const engine::ProfileEntry* entry,
               const Identity& identity) {
  JsonObject annotations;
  annotations.add("alarm", engine::alarm_id(ledger_id, alarm.number))
      .add("summary", alert_summary(alarm.dn, alarm.code, alarm.severity));
  add_text(annotations, "description", alarm.description);
  add_text(annotations, "cause", alarm.cause);
  add_text(annotations, "sensor", alarm.sensor);
  annotations.add("operator_state", engine::operator_state_word(alarm.operator_state));
  if (alarm.is_out_of_service) annotations.add("out_of_service", "true");
  if (alarm.raises != 0) annotations.add("chattering", "true");
  if (entry != nullptr) {
    if (!entry->notify) annotations.add("notify", "false");
    if (entry->respond_within) annotations.add("respond_within", std::to_string(*entry->respond_within));
    add_text(annotations, "consequence", entry->consequence);
    add_text(annotations, "advice", entry->advice);
  }
  return {.labels = alert_labels(alarm.dn, alarm.code, alarm.severity, identity),
          .annotations = annotations.text(),
          .link = identity.page_url.empty() ? "" : identity.page_url + "/alarm/" + std::to_string(alarm.number),
          .starts_at = alarm.created,
          .alarm = alarm.number};
}

bool is_heard(const output::OutputAlarm& alarm, const engine::ProfileEntry* entry) {
  return !alarm.is_silenced() && (entry == nullptr || entry->notify);
}

std::string alert_form(const Alert& alert, engine::Moment starts_at, engine::Moment ends_at) {
  std::string text = R"({"labels":)" + alert.labels + R"(,"annotations":)" + alert.annotations;
  text += R"(,"startsAt":")" + engine::format_moment(starts_at) + R"(","endsAt":")" + engine::format_moment(ends_at);
  text += '"';
  if (!alert.link.empty()) {
    text += R"(,"generatorURL":)";
    engine::add_json_text(text, alert.link);
  }
  return text + "}";
}

}  // namespace polaiga::alertmanager
