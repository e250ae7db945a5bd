#include "ledger/alarm_selection.h"

namespace polaiga::engine {

bool AlarmSelection::is_given() const {
  return !selection.under.empty() || selection.least != Severity::kCleared || selection.entity != nullptr ||
         older_than || newer_than || state || unacknowledged || silenced || all;
}

Selection AlarmSelection::at(Moment now) const {
  Selection found = selection;
  if (older_than) found.raised_by = now - *older_than;
  if (newer_than) found.raised_after = now - *newer_than;
  return found;
}

bool AlarmSelection::has(const ActiveRow& row) const {
  if (state && row.standing.state() != *state) return false;
  if (unacknowledged && (row.standing.acknowledged != 0 || row.standing.closed != 0)) return false;
  if (silenced) return row.is_silenced();
  return all || (state && *state == OperatorState::kShelved) || !row.is_silenced();
}

}  // namespace polaiga::engine
