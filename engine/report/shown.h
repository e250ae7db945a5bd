// What text for people is made of.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "model/dictionary.h"
#include "model/moment.h"

namespace polaiga::engine {

inline constexpr std::string_view kGap = "  ";  // between columns

// Filled up with blanks to a width, in columns of the terminal.
std::string padded(std::string_view text, std::size_t width);

// All as wide as the widest.
std::string shown(Severity severity, bool coloured);

// A description, without the blanks that some end with.
std::string shown_description(std::string_view description);

// The same three, at the end of a line that is being made.
void add_padded(std::string& line, std::string_view text, std::size_t width);
void add_shown(std::string& line, Severity severity, bool coloured);
void add_description(std::string& line, std::string_view description);

// A time span in its two largest units, as in "2h 5m". It is negative when the
// clocks of sources went back.
std::string duration_text(Moment seconds);

// As F0395.
std::string code_text(std::uint32_t code);

// As "1 event" and "2 events".
std::string plural(std::uint64_t number, const std::string& what);

}  // namespace polaiga::engine
