// A command of the program: its options, and what it does.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "base/output.h"
#include "filter/services.h"

namespace CLI {
class App;
}

namespace polaiga::engine {

// Exit statuses of the program. Each command's help tells what they mean to it.
enum Status {
  kDone = 0,
  kBadLines = 1,  // some lines were not events; the others were replayed
  kDiffers = 1,   // of a comparison
  kUnknown = 1,   // a fault that never was
  kFailed = 2,
  kInterrupted = 130,
};

// Throws WriteError when the output cannot be written, TableError for a table
// that is not right, and other exceptions with a complaint for the user.
struct Command {
  CLI::App* app = nullptr;
  std::function<Status(Output& output)> run;
};

// What several commands have in common: options, and the words of their help.
void add_tables_option(CLI::App& command, std::string& tables);
void add_platform_option(CLI::App& command, std::int32_t& platform);
void add_log_option(CLI::App& command, Log& log);
void add_ledger_option(CLI::App& command, std::string& ledger);

// Every command of this build, added to the program.
std::vector<Command> add_commands(CLI::App& program);

}  // namespace polaiga::engine
