#include "model/operator_action.h"

#include "model/words.h"

namespace polaiga::engine {
namespace {

constexpr Words<kActionKinds> kActions{
    "acknowledge",     "unacknowledge",      "close", "comment", "shelve", "unshelve", "maintain",
    "end_maintenance", "acknowledge_missed", "settle"};
constexpr Words<5> kStates{"none", "acknowledged", "closed", "shelved", "unshelved"};

}  // namespace

std::string_view action_word(ActionKind kind) { return kActions.at(static_cast<std::size_t>(kind)); }
std::optional<ActionKind> find_action(std::string_view word) { return value_of<ActionKind>(kActions, word); }

std::string_view operator_state_word(OperatorState state) { return kStates.at(static_cast<std::size_t>(state)); }
std::optional<OperatorState> find_operator_state(std::string_view word) {
  return value_of<OperatorState>(kStates, word);
}

std::optional<ChangeKind> change_of(ActionKind kind) {
  switch (kind) {
    case ActionKind::kAcknowledge:
      return ChangeKind::kAcknowledged;
    case ActionKind::kUnacknowledge:
      return ChangeKind::kUnacknowledged;
    case ActionKind::kClose:
      return ChangeKind::kClosed;
    case ActionKind::kComment:
      return ChangeKind::kCommented;
    case ActionKind::kShelve:
      return ChangeKind::kShelved;
    case ActionKind::kUnshelve:
      return ChangeKind::kUnshelved;
    case ActionKind::kMaintain:
      return ChangeKind::kOutOfService;
    case ActionKind::kEndMaintenance:
      return ChangeKind::kBackInService;
    case ActionKind::kSettle:
      return ChangeKind::kSettled;
    case ActionKind::kAcknowledgeMissed:
      break;
  }
  return std::nullopt;
}

bool is_about_object(ActionKind kind) { return kind == ActionKind::kMaintain || kind == ActionKind::kEndMaintenance; }

}  // namespace polaiga::engine
