// `polaiga ack`, `unack`, `close`, `comment`, `shelve` and `unshelve`: what operators do to alarms.
#pragma once

#include <vector>

#include "commands/command.h"

namespace polaiga::engine {

std::vector<Command> operator_commands(CLI::App& program);

}  // namespace polaiga::engine
