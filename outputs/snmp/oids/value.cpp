#include "oids/value.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "base/utf8.h"

namespace polaiga::snmp {

Value unsigned_number(std::uint64_t number) {
  constexpr std::uint64_t kMost = std::numeric_limits<std::uint32_t>::max();
  return {.type = Value::Type::kUnsigned, .number = static_cast<std::uint32_t>(std::min(number, kMost))};
}

Value text(std::string_view text) {
  constexpr std::string_view kDots = "...";
  std::string whole;
  std::size_t end = 0;  // where it is cut if it is too long
  while (!text.empty() && whole.size() <= kMostTextBytes) {
    const engine::Character character = engine::first_character(text);
    whole += character.valid ? text.substr(0, character.size) : std::string_view("?");
    text.remove_prefix(character.size);
    if (whole.size() <= kMostTextBytes - kDots.size()) end = whole.size();
  }
  if (whole.size() > kMostTextBytes) {
    whole.resize(end);
    whole += kDots;
  }
  return {.type = Value::Type::kText, .number = 0, .text = std::move(whole)};
}

Value time_value(engine::Moment moment) {
  const auto bytes = date_and_time(moment);
  return {.type = Value::Type::kText, .number = 0, .text = std::string(bytes.begin(), bytes.end())};
}

Value oid_value(Oid oid) {
  if (oid.empty()) oid = {0, 0};
  return {.type = Value::Type::kOid, .number = 0, .text = {}, .oid = std::move(oid)};
}

}  // namespace polaiga::snmp
