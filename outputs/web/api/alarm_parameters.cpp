#include "api/alarm_parameters.h"

#include <algorithm>
#include <array>

#include "base/printable.h"
#include "base/quantities.h"
#include "http/letters.h"
#include "model/entities.h"
#include "model/moment.h"
#include "model/operator_action.h"
#include "model/record_text.h"

namespace polaiga::web {
namespace {

using engine::in_quotes;

constexpr std::int64_t kMostAlarms = 10'000;
constexpr std::int64_t kMostRows = 1000;

[[noreturn]] void reject(std::string_view name, std::string_view value, const std::string& allowed) {
  throw BadQuery("The parameter " + in_quotes(name) + " is " + in_quotes(value) + "; it may be " + allowed);
}

// "1" and "true" are yes, "0" and "false" are no, as is nothing.
bool flag(const Target& target, std::string_view name) {
  const auto value = target.find(name);
  if (!value || *value == "0" || *value == "false") return false;
  if (*value != "1" && *value != "true" && !value->empty()) reject(name, *value, "true or false");
  return true;
}

std::optional<engine::Moment> age(const Target& target, std::string_view name) {
  const auto value = target.find(name);
  if (!value) return std::nullopt;
  const auto found = engine::parse_age(*value);
  if (!found) reject(name, *value, "a whole number with s, m, h or d, such as 2h");
  return found;
}

}  // namespace

bool AlarmQuery::has(const engine::ActiveRow& row) const {
  if (!selection.has(row)) return false;
  const fe_fault_record& record = row.shown.record;
  return std::ranges::any_of(
      std::array<std::string_view, 4>{row.fault.fault_dn, row.fault.name, engine::field_text(record.code_text),
                                      engine::field_text(record.descr)},
      [&](std::string_view where) { return contains_in_any_case(where, text); });
}

std::optional<std::int64_t> number_parameter(const Target& target, std::string_view name, std::int64_t least,
                                             std::int64_t most) {
  const auto value = target.find(name);
  if (!value) return std::nullopt;
  const auto number = engine::parse_whole_number(*value);
  if (!number || *number < least || *number > most) {
    reject(name, *value, "a whole number from " + std::to_string(least) + " to " + std::to_string(most));
  }
  return number;
}

std::int64_t limit_parameter(const Target& target) {
  return number_parameter(target, "limit", 1, kMostRows).value_or(100);
}

void expect_only(const Target& target, std::initializer_list<std::string_view> names) {
  for (const auto& [name, value] : target.query) {
    if (std::ranges::find(names, name) == names.end()) {
      std::string known;
      for (const std::string_view one : names) known += (known.empty() ? "" : ", ") + std::string(one);
      throw BadQuery("There is no parameter " + in_quotes(name) +
                     (known.empty() ? "; this address takes none" : "; there are " + known));
    }
  }
}

AlarmQuery read_alarm_query(const Target& target) {
  expect_only(target, {"under", "severity", "entity", "state", "unacknowledged", "shelved", "all", "older_than",
                       "newer_than", "text", "at", "limit", "skip"});
  AlarmQuery query;
  engine::AlarmSelection& selection = query.selection;
  selection.selection.under = target.find("under").value_or("");
  if (const auto word = target.find("severity")) {
    const auto severity = engine::find_severity(*word);
    if (!severity) reject("severity", *word, "indeterminate, warning, minor, major or critical");
    selection.selection.least = *severity;
  }
  if (const auto name = target.find("entity")) {
    selection.selection.entity = engine::find_entity(*name);
    if (selection.selection.entity == nullptr) reject("entity", *name, "the name of an entity, such as fan");
  }
  if (const auto word = target.find("state")) {
    selection.state = engine::find_operator_state(*word);
    if (!selection.state) reject("state", *word, "none, acknowledged, closed, shelved or unshelved");
  }
  selection.unacknowledged = flag(target, "unacknowledged");
  selection.silenced = flag(target, "shelved");
  selection.all = flag(target, "all");
  selection.older_than = age(target, "older_than");
  selection.newer_than = age(target, "newer_than");
  query.text = target.find("text").value_or("");
  if (const auto value = target.find("at")) {
    query.at = engine::parse_moment(*value);
    if (!query.at) reject("at", *value, "an RFC 3339 time, such as 2025-03-12T09:12:20Z");
  }
  query.limit = static_cast<std::size_t>(number_parameter(target, "limit", 0, kMostAlarms).value_or(1000));
  query.skip = static_cast<std::size_t>(number_parameter(target, "skip", 0, kMostAlarms * 100).value_or(0));
  return query;
}

}  // namespace polaiga::web
