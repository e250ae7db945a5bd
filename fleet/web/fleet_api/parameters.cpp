#include "fleet_api/parameters.h"

#include <algorithm>

#include "base/printable.h"
#include "base/quantities.h"
#include "model/operator_action.h"
#include "wire/names.h"

namespace polaiga::web {
namespace {

using engine::in_quotes;

[[noreturn]] void reject(std::string_view name, std::string_view value, const std::string& allowed) {
  throw BadParameter("The parameter " + in_quotes(name) + " is " + in_quotes(value) + "; it may be " + allowed);
}

}  // namespace

Parameters::Parameters(const Target& target, std::initializer_list<std::string_view> names) : target_(target) {
  for (const auto& [name, value] : target.query) {
    if (std::find(names.begin(), names.end(), name) != names.end()) continue;
    std::string known;
    for (const std::string_view one : names) known += (known.empty() ? "" : ", ") + std::string(one);
    throw BadParameter("There is no parameter " + in_quotes(name) +
                       (known.empty() ? "; this address takes none" : "; there are " + known));
  }
}

std::string Parameters::text(std::string_view name) const {
  constexpr std::size_t kMostBytes = 256;
  const std::string_view value = target_.find(name).value_or("");
  if (value.size() > kMostBytes) {
    throw BadParameter("The parameter " + in_quotes(name) + " is too long; it may have 256 bytes");
  }
  return std::string(value);
}

std::string Parameters::name(std::string_view name) const {
  const auto value = target_.find(name);
  if (!value || value->empty()) return {};
  if (!fleet::is_fleet_name(*value)) reject(name, *value, "1 to 64 letters, digits, '_' and '-'");
  return std::string(*value);
}

bool Parameters::flag(std::string_view name) const {
  const auto value = target_.find(name);
  if (!value || *value == "0" || *value == "false") return false;
  if (*value != "1" && *value != "true" && !value->empty()) reject(name, *value, "true or false");
  return true;
}

std::optional<std::int64_t> Parameters::number(std::string_view name, std::int64_t least, std::int64_t most) const {
  const auto value = target_.find(name);
  if (!value) return std::nullopt;
  const auto number = engine::parse_whole_number(*value);
  if (!number || *number < least || *number > most) {
    reject(name, *value, "a whole number from " + std::to_string(least) + " to " + std::to_string(most));
  }
  return number;
}

std::optional<engine::Severity> Parameters::severity() const {
  const auto word = target_.find("severity");
  if (!word || word->empty()) return std::nullopt;
  const auto severity = engine::find_severity(*word);
  if (!severity) reject("severity", *word, "indeterminate, warning, minor, major or critical");
  return severity;
}

fleet::AlarmFilter read_alarm_filter(const Parameters& parameters) {
  fleet::AlarmFilter filter;
  filter.site = parameters.name("site");
  filter.controller = parameters.name("controller");
  filter.least = parameters.severity();
  if (const std::string word = parameters.text("state"); !word.empty()) {
    filter.state = engine::find_operator_state(word);
    if (!filter.state) reject("state", word, "none, acknowledged, closed, shelved or unshelved");
  }
  filter.is_unacknowledged = parameters.flag("unacknowledged");
  filter.is_silenced = parameters.flag("shelved");
  filter.is_all = parameters.flag("all");
  filter.text = parameters.text("text");
  filter.group = parameters.number("group", 1, kMostNumbered);
  return filter;
}

std::optional<std::vector<std::int64_t>> parse_numbers(std::string_view text, std::size_t most) {
  std::vector<std::int64_t> numbers;
  while (true) {
    const std::size_t comma = text.find(',');
    std::string_view one = text.substr(0, comma);
    const bool counts_on = one.starts_with('+');
    if (counts_on) one.remove_prefix(1);
    const auto number = engine::parse_whole_number(one);
    if (!number || *number <= 0 || *number > kMostNumbered || (counts_on && numbers.empty())) return std::nullopt;
    numbers.push_back(counts_on ? numbers.back() + *number : *number);
    if (numbers.back() > kMostNumbered || numbers.size() > most) return std::nullopt;
    if (comma == std::string_view::npos) break;
    text.remove_prefix(comma + 1);
  }
  std::sort(numbers.begin(), numbers.end());
  numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
  return numbers;
}

}  // namespace polaiga::web
