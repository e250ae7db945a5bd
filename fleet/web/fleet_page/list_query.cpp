#include "fleet_page/list_query.h"

#include "base/quantities.h"
#include "wire/names.h"

namespace polaiga::web {
namespace {

constexpr std::int64_t kMostSkipped = 1'000'000;

std::string name_of(const Target& target, std::string_view parameter) {
  const std::string name(target.find(parameter).value_or(""));
  return fleet::is_fleet_name(name) ? name : std::string();
}

std::optional<std::int64_t> number_of(const Target& target, std::string_view parameter) {
  const auto number = engine::parse_whole_number(target.find(parameter).value_or(""));
  return number && *number > 0 ? number : std::nullopt;
}

}  // namespace

ListQuery read_list_query(const Target& target) {
  ListQuery query;
  query.filter.site = name_of(target, "site");
  query.filter.controller = name_of(target, "controller");
  query.filter.least = engine::find_severity(target.find("severity").value_or(""));
  const std::string_view state = target.find("state").value_or("");
  if (state == "new") query.filter.is_unacknowledged = true;
  if (state == "silenced") query.filter.is_silenced = true;
  if (state == "all") query.filter.is_all = true;
  constexpr std::size_t kMostBytes = 256;
  query.filter.text = std::string(target.find("text").value_or("")).substr(0, kMostBytes);
  query.filter.group = number_of(target, "group");
  if (target.find("order") == "newest") query.order = fleet::AlarmOrder::kNewest;
  query.skip = std::min(number_of(target, "skip").value_or(0), kMostSkipped);
  query.before = number_of(target, "before");
  for (const auto& [name, value] : target.query) {
    if (name == "skip" || name == "before" || value.empty()) continue;
    query.query += (query.query.empty() ? "" : "&") + percent_encoded(name) + "=" + percent_encoded(value);
  }
  return query;
}

}  // namespace polaiga::web
