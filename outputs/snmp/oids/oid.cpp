#include "oids/oid.h"

#include <algorithm>
#include <chrono>

namespace polaiga::snmp {

bool is_before(OidView one, OidView other) { return std::ranges::lexicographical_compare(one, other); }

bool is_same(OidView one, OidView other) { return std::ranges::equal(one, other); }

bool begins_with(OidView oid, OidView prefix) {
  return oid.size() >= prefix.size() && is_same(oid.first(prefix.size()), prefix);
}

Oid joined(OidView prefix, OidView rest) {
  Oid oid;
  oid.reserve(prefix.size() + rest.size());
  oid.insert(oid.end(), prefix.begin(), prefix.end());
  oid.insert(oid.end(), rest.begin(), rest.end());
  return oid;
}

void add_text_index(Oid& oid, std::string_view text) {
  oid.push_back(static_cast<std::uint32_t>(text.size()));
  for (const char byte : text) oid.push_back(static_cast<unsigned char>(byte));
}

std::vector<std::uint8_t> date_and_time(engine::Moment moment) {
  using std::chrono::days;
  using std::chrono::floor;
  using std::chrono::seconds;
  const std::chrono::sys_seconds at{seconds(moment)};
  const std::chrono::sys_days day = floor<days>(at);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss time(at - day);
  const auto year = static_cast<unsigned>(static_cast<int>(date.year()));
  return {static_cast<std::uint8_t>(year >> 8U),
          static_cast<std::uint8_t>(year & 0xFFU),
          static_cast<std::uint8_t>(static_cast<unsigned>(date.month())),
          static_cast<std::uint8_t>(static_cast<unsigned>(date.day())),
          static_cast<std::uint8_t>(time.hours().count()),
          static_cast<std::uint8_t>(time.minutes().count()),
          static_cast<std::uint8_t>(time.seconds().count()),
          0,
          '+',
          0,
          0};
}

void add_time_index(Oid& oid, engine::Moment moment) {
  const auto bytes = date_and_time(moment);
  oid.push_back(static_cast<std::uint32_t>(bytes.size()));
  oid.insert(oid.end(), bytes.begin(), bytes.end());
}

std::optional<std::uint32_t> exact_number(OidView index) {
  if (index.size() != 1) return std::nullopt;
  return index.front();
}

std::uint64_t least_number(const RowStart& start) {
  if (start.index.empty()) return 0;
  const std::uint64_t first = start.index.front();
  return start.index.size() == 1 && start.is_inclusive ? first : first + 1;
}

}  // namespace polaiga::snmp
