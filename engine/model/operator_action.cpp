#include "model/operator_action.h"

#include <algorithm>
#include <array>

namespace polaiga::engine {
namespace {

constexpr std::array<std::string_view, 9> kActions{"acknowledge", "unacknowledge",   "close",
                                                   "comment",     "shelve",          "unshelve",
                                                   "maintain",    "end_maintenance", "acknowledge_missed"};
constexpr std::array<std::string_view, 5> kStates{"none", "acknowledged", "closed", "shelved", "unshelved"};

template <class Value, std::size_t N>
std::optional<Value> find(const std::array<std::string_view, N>& words, std::string_view word) {
  const auto found = std::ranges::find(words, word);
  if (found == words.end()) return std::nullopt;
  return static_cast<Value>(found - words.begin());
}

}  // namespace

std::string_view action_word(ActionKind kind) { return kActions.at(static_cast<std::size_t>(kind)); }
std::optional<ActionKind> find_action(std::string_view word) { return find<ActionKind>(kActions, word); }

std::string_view operator_state_word(OperatorState state) { return kStates.at(static_cast<std::size_t>(state)); }
std::optional<OperatorState> find_operator_state(std::string_view word) { return find<OperatorState>(kStates, word); }

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
    case ActionKind::kAcknowledgeMissed:
      break;
  }
  return std::nullopt;
}

bool is_about_object(ActionKind kind) { return kind == ActionKind::kMaintain || kind == ActionKind::kEndMaintenance; }

}  // namespace polaiga::engine
