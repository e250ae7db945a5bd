// `polaiga missed`: the alarms that came and went while nobody looked.
#pragma once

#include "commands/command.h"

namespace polaiga::engine {

Command missed_command(CLI::App& program);

}  // namespace polaiga::engine
