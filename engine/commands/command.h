// A command of the program: its options, and what it does.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "base/standard_output.h"
#include "base/status.h"
#include "filter/services.h"
#include "report/colour.h"

namespace CLI {
class App;
}

namespace polaiga::engine {

// Throws WriteError when the output cannot be written, TableError for a table
// that is not right, and other exceptions with a complaint for the user.
struct Command {
  CLI::App* app = nullptr;
  std::function<Status(StandardOutput& output)> run;
};

// What several commands have in common: options, and the words of their help.
void add_tables_option(CLI::App& command, std::string& tables);
void add_platform_option(CLI::App& command, std::int32_t& platform);
void add_log_option(CLI::App& command, Log& log);
void add_ledger_option(CLI::App& command, std::string& ledger);
void add_colour_option(CLI::App& command, Colour& colour);

class LedgerReader;

// Tells on standard error what the last question left out because it is damaged; answers
// whether there was anything.
bool tell_left_out(const LedgerReader& reader);

// Every command of this build, added to the program.
std::vector<Command> add_commands(CLI::App& program);

}  // namespace polaiga::engine
