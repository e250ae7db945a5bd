// Options that choose faults, of the commands that ask a ledger.
#pragma once

#include <CLI/App.hpp>
#include <optional>
#include <string>

#include "ledger/reader.h"

namespace polaiga::engine {

void add_under_option(CLI::App& command, Selection& selection);

// --under and --severity.
void add_selection_options(CLI::App& command, Selection& selection);

void add_entity_option(CLI::App& command, Selection& selection);

// Which active alarms, as `active` and the commands of operators choose them.
struct AlarmSelection {
  Selection selection;
  std::optional<Moment> older_than;  // seconds
  std::optional<Moment> newer_than;
  std::optional<OperatorState> state;
  bool unacknowledged = false;
  bool silenced = false;  // only those that are shelved or out of service
  bool all = false;       // those, too

  // Whether anything was chosen.
  bool is_given() const;
  // The part that the ledger's reader looks at; ages are counted back from `now`.
  Selection at(Moment now) const;
  // The part of the operators' state.
  bool has(const ActiveRow& row) const;
};
void add_alarm_selection_options(CLI::App& command, AlarmSelection& selection);

// An age or a time span: a number with s, m, h or d, in seconds.
std::optional<Moment> parse_age(const std::string& text);
CLI::Option* add_age_option(CLI::App& command, const std::string& name, std::optional<Moment>& age,
                            const std::string& help);

}  // namespace polaiga::engine
