// `polaiga maintain` takes objects out of service and back; `polaiga maintenance` lists those that are out of service.
#pragma once

#include "commands/command.h"

namespace polaiga::engine {

Command maintain_command(CLI::App& program);
Command maintenance_command(CLI::App& program);

}  // namespace polaiga::engine
