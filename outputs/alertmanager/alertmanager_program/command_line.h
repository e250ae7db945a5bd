// Reads the command line.
#pragma once

#include <optional>

#include "alertmanager_program/options.h"

namespace polaiga::alertmanager {

// Nothing: the program is to end with `status`, since help or the version was asked for, or the options are wrong.
std::optional<Options> read_command_line(int argc, const char* const* argv, int& status);

}  // namespace polaiga::alertmanager
