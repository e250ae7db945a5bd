// `polaiga diff-worker`: the filters of one build for `polaiga diff`. No command
// for users: it is not in the help, and its questions come in binary.
#pragma once

#include "commands/command.h"

namespace polaiga::engine {

Command worker_command(CLI::App& program);

}  // namespace polaiga::engine
