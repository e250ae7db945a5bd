// Whether text is coloured.
#pragma once

#include <cstdint>

#include "base/standard_output.h"

namespace polaiga::engine {

enum class Colour : std::uint8_t { kAuto, kAlways, kNever };

// On a terminal that can, unless the user says otherwise.
bool wants_colour(Colour colour, const StandardOutput& output);

}  // namespace polaiga::engine
