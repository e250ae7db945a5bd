// `polaiga stats`, as the command line knows it.
#pragma once

#include "commands/command.h"

namespace polaiga::engine {

Command stats_command(CLI::App& program);

}  // namespace polaiga::engine
