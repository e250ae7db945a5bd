// `polaiga verify`: whether a ledger is what its engine wrote.
#pragma once

#include "commands/command.h"

namespace polaiga::engine {

Command verify_command(CLI::App& program);

}  // namespace polaiga::engine
