// `polaiga outputs`: the publishers, whom they tell and how it goes.
#pragma once

#include "commands/command.h"

namespace polaiga::engine {

Command outputs_command(CLI::App& program);

}  // namespace polaiga::engine
