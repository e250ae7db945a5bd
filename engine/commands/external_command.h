// Programs of their own that are commands, too: `polaiga NAME ...` runs `polaiga-NAME ...`, as of polaiga-web.
#pragma once

#include <span>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace polaiga::engine {

// The NAMEs of the programs that there are, sorted.
std::vector<std::string> external_commands(const CLI::App& program);

// Replaces this process by the program that the first argument names, with the arguments that follow. Returns when
// there is no such program, or when the name is that of a command of `program`. Throws std::runtime_error when the
// program is there and cannot be run.
void run_external_command(const CLI::App& program, std::span<char* const> arguments);

}  // namespace polaiga::engine
