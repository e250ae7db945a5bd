// How an action of the fleet's operators is named on its way to a controller and back.
#pragma once

#include <charconv>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace polaiga::fleet {

inline constexpr std::string_view kActionIdPrefix = "fleet-";

inline std::string action_id(std::int64_t action_no) {
  return std::string(kActionIdPrefix) + std::to_string(action_no);
}

// Nothing: it is the id of somebody else's action.
inline std::optional<std::int64_t> parse_action_id(std::string_view id) {
  if (!id.starts_with(kActionIdPrefix)) return std::nullopt;
  std::int64_t number = 0;
  const char* const end = id.data() + id.size();
  const auto read = std::from_chars(id.data() + kActionIdPrefix.size(), end, number);
  if (read.ec != std::errc() || read.ptr != end || number <= 0) return std::nullopt;
  return number;
}

}  // namespace polaiga::fleet
