// --rfc8632, of the commands that list alarms.
#pragma once

#include <CLI/App.hpp>
#include <string>

#include "ledger/told_alarms.h"

namespace polaiga::engine {

// It excludes --json, which the command must have already.
CLI::Option* add_rfc8632_option(CLI::App& command, bool& on);

// The document of these alarms. The inventory in it is that of the library in use, with
// the tables that the ledger was written with last. `ledger` names the ledger in errors.
std::string rfc8632_answer(const ToldAlarms& told, const std::string& ledger);

}  // namespace polaiga::engine
