// Reads the command line.
#pragma once

#include <optional>

#include "mqtt_program/options.h"

namespace polaiga::mqtt {

// Nothing: the program is to end with `status`, since help or the version was asked for, or the options are wrong.
std::optional<Options> read_command_line(int argc, const char* const* argv, int& status);

}  // namespace polaiga::mqtt
