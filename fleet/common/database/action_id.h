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

// On its way to the controller it has the second of its asking, too: a database that was made anew, or put back to an
// earlier copy, gives its numbers out again, and engines remember what they did.
inline std::string told_action_id(std::int64_t action_no, std::int64_t asked) {
  return action_id(action_no) + "-" + std::to_string(asked);
}

struct ToldAction {
  std::int64_t action_no = 0;
  std::int64_t asked = 0;  // seconds since 1970
};

// Nothing: it is the id of somebody else's action.
inline std::optional<ToldAction> parse_told_action_id(std::string_view id) {
  const std::size_t dash = id.rfind('-');
  if (dash == std::string_view::npos) return std::nullopt;
  const auto action_no = parse_action_id(id.substr(0, dash));
  if (!action_no) return std::nullopt;
  ToldAction told{.action_no = *action_no};
  const char* const end = id.data() + id.size();
  const auto read = std::from_chars(id.data() + dash + 1, end, told.asked);
  if (read.ec != std::errc() || read.ptr != end) return std::nullopt;
  return told;
}

}  // namespace polaiga::fleet
