// Which active alarms somebody wants.
#pragma once

#include <optional>

#include "ledger/reader.h"

namespace polaiga::engine {

// By what the ledger has of them, their age and what operators said.
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

}  // namespace polaiga::engine
