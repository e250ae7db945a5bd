// Moments in time: whole seconds since 1970 in UTC, and their text in RFC 3339.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace polaiga::engine {

using Moment = std::int64_t;

inline constexpr Moment kLastMoment = 253402300799;  // 9999-12-31T23:59:59Z

// Reads a time as RFC 3339 writes it, and drops fractions of a second. Returns
// nothing if the text is not such a time, or if the year is not from 1970 to 9999.
std::optional<Moment> parse_moment(std::string_view text);

// Reads an age or a time span: a whole number with s, m, h or d, in seconds. Nothing when it is none.
std::optional<Moment> parse_age(std::string_view text);

// Writes a time as in 2024-01-31T23:59:59Z.
std::string format_moment(Moment moment);

}  // namespace polaiga::engine
