#include "page/choice.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "alarms/measures.h"
#include "http/letters.h"
#include "model/dictionary.h"
#include "model/fault.h"
#include "model/operator_action.h"
#include "model/record_text.h"

namespace polaiga::web {
namespace {

using engine::ActiveRow;
using engine::OperatorState;

constexpr std::string_view kUp = "-up";

constexpr std::array<Option, 9> kSeverities = {{{"", "any severity"},
                                                {"critical", "critical"},
                                                {"major", "major"},
                                                {"minor", "minor"},
                                                {"warning", "warning"},
                                                {"indeterminate", "indeterminate"},
                                                {"major-up", "major and worse"},
                                                {"minor-up", "minor and worse"},
                                                {"warning-up", "warning and worse"}}};

constexpr std::array<Option, 9> kStates = {{{"", "all but silenced"},
                                            {"new", "new"},
                                            {"acknowledged", "acknowledged"},
                                            {"closed", "closed"},
                                            {"chattering", "chattering"},
                                            {"stale", "stale"},
                                            {"shelved", "shelved"},
                                            {"out-of-service", "out of service"},
                                            {"all", "all, silenced too"}}};

constexpr std::array<Option, 4> kOrders = {
    {{"", "worst first"}, {"newest", "newest first"}, {"oldest", "oldest first"}, {"object", "by object"}}};

std::string one_of(std::span<const Option> options, std::optional<std::string_view> word) {
  const auto found = std::ranges::find(options, word.value_or(""), &Option::word);
  return found == options.end() ? "" : std::string(found->word);
}

std::string_view severity_of(std::string_view word) {
  return word.ends_with(kUp) ? word.substr(0, word.size() - kUp.size()) : word;
}

bool has_severity(std::string_view wanted, engine::Severity severity) {
  if (wanted.empty()) return true;
  const auto least = engine::find_severity(severity_of(wanted));
  return wanted.ends_with(kUp) ? severity >= *least : severity == *least;
}

bool has_state(std::string_view state, const ActiveRow& row, engine::Moment now) {
  const OperatorState has = row.standing.state();
  if (state == "all") return true;
  if (state == "shelved") return has == OperatorState::kShelved;
  if (state == "out-of-service") return row.is_out_of_service;
  if (state == "stale") return now - row.fault.updated > engine::kStaleAfter;
  if (row.is_silenced()) return false;
  if (state == "new") return is_new(row);
  if (state == "acknowledged") return has == OperatorState::kAcknowledged;
  if (state == "closed") return has == OperatorState::kClosed;
  if (state == "chattering") return row.chattering.has_value();
  return true;
}

bool has_text(std::string_view text, const ActiveRow& row) {
  const fe_fault_record& record = row.shown.record;
  return std::ranges::any_of(
      std::array<std::string_view, 5>{row.fault.fault_dn, row.fault.name, engine::field_text(record.descr),
                                      engine::field_text(row.shown.event.event.event.sensor_name), person_of(row)},
      [&](std::string_view where) { return contains_in_any_case(where, text); });
}

bool is_before(std::string_view order, const ActiveRow& a, const ActiveRow& b) {
  if (order == "object" && a.fault.dn != b.fault.dn) return a.fault.dn < b.fault.dn;
  if (order == "oldest" && a.alarm_since != b.alarm_since) return a.alarm_since < b.alarm_since;
  if (order == "oldest") return a.fault.alarm < b.fault.alarm;
  if (order.empty() && a.fault.severity != b.fault.severity) return a.fault.severity > b.fault.severity;
  if (a.alarm_since != b.alarm_since) return a.alarm_since > b.alarm_since;
  return a.fault.alarm > b.fault.alarm;
}

}  // namespace

std::span<const Option> severity_options() { return kSeverities; }
std::span<const Option> state_options() { return kStates; }
std::span<const Option> order_options() { return kOrders; }

Choice read_choice(const Target& target) {
  Choice choice;
  choice.text = target.find("text").value_or("");
  choice.severity = one_of(kSeverities, target.find("severity"));
  choice.state = one_of(kStates, target.find("state"));
  choice.under = target.find("under").value_or("");
  choice.order = one_of(kOrders, target.find("order"));
  const std::string_view skip = target.find("skip").value_or("");
  std::size_t number = 0;
  const auto [end, error] = std::from_chars(skip.data(), skip.data() + skip.size(), number);
  if (error == std::errc() && end == skip.data() + skip.size()) choice.skip = number;
  return choice;
}

std::vector<const ActiveRow*> chosen(const Choice& choice, const std::vector<ActiveRow>& rows, engine::Moment now) {
  std::vector<const ActiveRow*> list;
  for (const ActiveRow& row : rows) {
    if (!has_severity(choice.severity, row.fault.severity) || !has_state(choice.state, row, now)) continue;
    if (!choice.under.empty() && !engine::is_under(row.fault.dn, choice.under) && row.fault.fault_dn != choice.under)
      continue;
    if (!choice.text.empty() && !has_text(choice.text, row)) continue;
    list.push_back(&row);
  }
  std::ranges::sort(list, [&](const ActiveRow* a, const ActiveRow* b) { return is_before(choice.order, *a, *b); });
  return list;
}

bool is_new(const ActiveRow& row) {
  const OperatorState state = row.standing.state();
  return !row.is_silenced() && (state == OperatorState::kNone || state == OperatorState::kUnshelved);
}

std::string_view person_of(const ActiveRow& row) {
  if (!row.state_by || !row.state_by->action) return {};
  const engine::StoredAction& action = *row.state_by->action;
  return action.on_behalf_of ? std::string_view(*action.on_behalf_of) : std::string_view(action.person);
}

}  // namespace polaiga::web
