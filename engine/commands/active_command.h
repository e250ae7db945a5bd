// `polaiga active`, as the command line knows it.
#pragma once

#include "commands/command.h"

namespace polaiga::engine {

Command active_command(CLI::App& program);

}  // namespace polaiga::engine
