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

const AlarmAction* StoredAlarm::state_by() const {
  const auto found = std::ranges::find(actions, state_change(standing), &AlarmAction::number);
  return found != actions.end() ? &*found : nullptr;
}

}  // namespace polaiga::engine
