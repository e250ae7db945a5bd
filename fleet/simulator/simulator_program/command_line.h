#pragma once

#include <optional>

#include "simulator_program/options.h"

namespace polaiga::fleet {

// Nothing when the program is to end with `status`: it was asked for help, or an option is wrong.
std::optional<SimulatorOptions> read_simulator_options(int argc, const char* const* argv, int& status);

}  // namespace polaiga::fleet
