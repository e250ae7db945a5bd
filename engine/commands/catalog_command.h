// `polaiga catalog`: every fault that the library can raise.
#pragma once

#include "commands/command.h"

namespace polaiga::engine {

Command catalog_command(CLI::App& program);

}  // namespace polaiga::engine
