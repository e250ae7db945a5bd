// --rfc8632, of the commands that list or measure alarms.
#pragma once

#include <CLI/App.hpp>
#include <string>

#include "ledger/reader.h"
#include "ledger/told_alarms.h"

namespace polaiga::engine {

// It excludes the command's option --json. (To look an option up by its name takes memory where the library that reads
// the arguments cannot tell that there is none.)
CLI::Option* add_rfc8632_option(CLI::App& command, CLI::Option* json, bool& on);

// The JSON output of these alarms. The inventory in it is that of the library in use, with
// the tables that the ledger was written with last. `ledger` names the ledger in errors.
std::string rfc8632_answer(const ToldAlarms& told, const std::string& ledger);

// The JSON output of the summary of all alarms of a ledger of this object or fault and all below it; all for an empty
// DN. `is_damaged` becomes true when damaged rows were left out, which it tells.
std::string rfc8632_summary(LedgerReader& reader, const std::string& under, bool& is_damaged);

}  // namespace polaiga::engine
