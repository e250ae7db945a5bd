// Reads the command line.
#pragma once

#include <optional>

#include "adapter/options.h"

namespace polaiga::ipmi {

// Nothing: the program is to end with `status`, since help or the version was asked for, or the options are wrong.
std::optional<Options> read_command_line(int argc, const char* const* argv, int& status);

}  // namespace polaiga::ipmi
