// `polaiga explain`, as the command line knows it.
#pragma once

#include "commands/command.h"

namespace polaiga::engine {

Command explain_command(CLI::App& program);

}  // namespace polaiga::engine
