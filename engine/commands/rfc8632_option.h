// --rfc8632, of the commands that list alarms.
#pragma once

#include <CLI/App.hpp>
#include <string>

#include "ledger/told_alarms.h"

namespace polaiga::engine {

// It excludes the command's option --json. (To look an option up by its name takes memory where the library that reads
// the arguments cannot tell that there is none.)
CLI::Option* add_rfc8632_option(CLI::App& command, CLI::Option* json, bool& on);

// The document of these alarms. The inventory in it is that of the library in use, with
// the tables that the ledger was written with last. `ledger` names the ledger in errors.
std::string rfc8632_answer(const ToldAlarms& told, const std::string& ledger);

}  // namespace polaiga::engine
