// `polaiga replay`, as the command line knows it.
#pragma once

#include "commands/command.h"

namespace polaiga::engine {

inline constexpr const char* kReplayExample =
    "Example:\n"
    "  echo '{\"entity\":\"fan\",\"sensor\":\"FAN1_TACH1\",\"offset\":3,\"state\":1}' | polaiga replay -\n";

Command replay_command(CLI::App& program);

}  // namespace polaiga::engine
