#pragma once

#include <optional>

#include "collector_program/options.h"

namespace polaiga::fleet {

// Nothing: the program is to end with `status`, and people were told why.
std::optional<CollectorOptions> read_command_line(int argc, const char* const* argv, int& status);

}  // namespace polaiga::fleet
