// Options that choose faults, of the commands that ask a ledger.
#pragma once

#include <CLI/App.hpp>
#include <string>

#include "ledger/reader.h"

namespace polaiga::engine {

// --under and --severity.
void add_selection_options(CLI::App& command, Selection& selection);

void add_entity_option(CLI::App& command, Selection& selection);

}  // namespace polaiga::engine
