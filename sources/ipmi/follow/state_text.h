// The state as text, with a checksum at its end.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

#include "follow/state.h"

namespace polaiga::ipmi {

// The text is not a state, or it was damaged. what() says why, without control characters.
struct BadState : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The first line is a JSON object with all but the pending events, which follow, a line each. The last line has the
// checksum of all lines before.
std::string state_text(const State& state);

// Throws BadState.
State parse_state(std::string_view text);

}  // namespace polaiga::ipmi
