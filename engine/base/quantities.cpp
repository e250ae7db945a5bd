#include "base/quantities.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <string>

namespace polaiga::engine {

std::optional<std::int64_t> parse_whole_number(std::string_view text) {
  std::int64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end) return std::nullopt;
  return number;
}

std::optional<std::int64_t> parse_quantity(std::string_view text, std::span<const Unit> units) {
  const std::size_t end = text.find_first_not_of("0123456789");
  const auto number = parse_whole_number(text.substr(0, end));
  if (!number) return std::nullopt;
  std::string name(end == std::string_view::npos ? "" : text.substr(end));
  name.erase(0, name.find_first_not_of(' '));
  for (char& c : name) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  const auto unit = std::ranges::find(units, name, &Unit::name);
  if (unit == units.end() || *number > std::numeric_limits<std::int64_t>::max() / unit->factor) return std::nullopt;
  return *number * unit->factor;
}

}  // namespace polaiga::engine
