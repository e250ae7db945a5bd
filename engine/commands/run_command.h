// `polaiga run`, as the command line knows it.
#pragma once

#include "commands/command.h"

namespace polaiga::engine {

Command run_command(CLI::App& program);

}  // namespace polaiga::engine
