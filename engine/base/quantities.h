// Reads numbers with units, as people type them.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace polaiga::engine {

// Decimal digits, maybe with a minus before them. Nothing when it is no such number,
// or when it has too many digits.
std::optional<std::int64_t> parse_whole_number(std::string_view text);

struct Unit {
  std::string_view name;  // in small letters
  std::int64_t factor;
};

// A whole number with a unit, as in 8MiB: how many of the smallest unit that is.
// Blanks may stand between the two, and letters may be large or small. A unit without
// a name is that of a number alone. Nothing when it is no such text, or too large.
std::optional<std::int64_t> parse_quantity(std::string_view text, std::span<const Unit> units);

}  // namespace polaiga::engine
