// Bars that show on a terminal how large numbers are.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "base/standard_output.h"

namespace polaiga::engine {

enum class BarStyle : std::uint8_t { kAscii, kBlocks };

// Blocks on a terminal that the user's locale says has the characters of Unicode.
BarStyle bar_style(const StandardOutput& output);

// As wide as `value` is of `most`, which takes `width` columns. What is more than 0 is seen.
std::string bar(std::uint64_t value, std::uint64_t most, std::size_t width, BarStyle style);

}  // namespace polaiga::engine
