// Separate programs that are run as commands: `polaiga NAME ...` runs the program polaiga-NAME with the arguments that
// follow, so `polaiga web` runs polaiga-web.
#pragma once

#include <span>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace polaiga::engine {

// The NAMEs of all such programs in the directory of this program and in those of PATH, sorted. Those that have the
// name of a command of `program` are left out.
std::vector<std::string> external_commands(const CLI::App& program);

// Replaces this process by the program that arguments[1] names, with the arguments that follow. Returns when there is
// no such program, or when that is the name of a command of `program`. Throws std::runtime_error when the program is
// found but cannot be run.
void run_external_command(const CLI::App& program, std::span<char* const> arguments);

}  // namespace polaiga::engine
