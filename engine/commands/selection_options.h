// Options that choose faults, of the commands that ask a ledger.
#pragma once

#include <CLI/App.hpp>
#include <optional>
#include <string>

#include "ledger/alarm_selection.h"

namespace polaiga::engine {

void add_under_option(CLI::App& command, Selection& selection);

// --under and --severity.
void add_selection_options(CLI::App& command, Selection& selection);

void add_entity_option(CLI::App& command, Selection& selection);

void add_alarm_selection_options(CLI::App& command, AlarmSelection& selection);

// An age or a time span: a number with s, m, h or d.
CLI::Option* add_age_option(CLI::App& command, const std::string& name, std::optional<Moment>& age,
                            const std::string& help);

}  // namespace polaiga::engine
