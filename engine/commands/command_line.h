// Reads the program's arguments.
#pragma once

#include <span>

namespace CLI {
class App;
}

namespace polaiga::engine {

// Throws UsageError, with what is wrong with the arguments and what to type, and
// CLI::Success where help or the version is asked for.
void read_command_line(CLI::App& program, std::span<char* const> arguments);

}  // namespace polaiga::engine
