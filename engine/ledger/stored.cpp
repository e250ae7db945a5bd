#include "ledger/stored.h"

#include <algorithm>

namespace polaiga::engine {

ChangeNumber state_change(const AlarmStanding& standing) {
  switch (standing.state()) {
    case OperatorState::kShelved:
      return standing.shelved;
    case OperatorState::kClosed:
      return standing.closed;
    case OperatorState::kAcknowledged:
      return standing.acknowledged;
    case OperatorState::kNone:
    case OperatorState::kUnshelved:
      break;
  }
  return 0;
}

void apply(AlarmStanding& standing, const AlarmAction& action) {
  switch (action.kind) {
    case ChangeKind::kAcknowledged:
      standing.acknowledged = action.number;
      break;
    case ChangeKind::kUnacknowledged:
      standing.acknowledged = standing.closed = 0;
      break;
    case ChangeKind::kClosed:
      standing.closed = action.number;
      break;
    case ChangeKind::kShelved:
      standing.shelved = action.number;
      standing.shelved_until = action.action ? action.action->until.value_or(0) : 0;
      break;
    case ChangeKind::kUnshelved:
      standing.shelved = 0;
      standing.shelved_until = 0;
      standing.was_unshelved = true;
      break;
    default:
      break;
  }
}

const AlarmAction* StoredAlarm::state_by() const {
  const auto found = std::ranges::find(actions, state_change(standing), &AlarmAction::number);
  return found != actions.end() ? &*found : nullptr;
}

}  // namespace polaiga::engine
