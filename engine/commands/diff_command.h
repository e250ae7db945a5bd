// `polaiga diff`, as the command line knows it.
#pragma once

#include "commands/command.h"

namespace polaiga::engine {

Command diff_command(CLI::App& program);

}  // namespace polaiga::engine
