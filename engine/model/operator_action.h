// What operators do to alarms and to objects: acknowledge, close, comment, shelve, and take out of service. The states
// are those of RFC 8632, section 4.7.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "model/change.h"
#include "model/moment.h"

namespace polaiga::engine {

enum class ActionKind : std::uint8_t {
  kAcknowledge,        // somebody has seen the alarm; lasts until the alarm is over
  kUnacknowledge,      // takes back an acknowledgement and a closing
  kClose,              // for the operator the alarm is dealt with, though it is still active
  kComment,            // changes nothing
  kShelve,             // silences the alarm for a limited time
  kUnshelve,           // ends that before its time
  kMaintain,           // the object, and all below it, is out of service for a limited time
  kEndMaintenance,     // ends that before its time
  kAcknowledgeMissed,  // somebody has seen the alarms that came and went unacknowledged
  kSettle,             // the fault with this DN is not chattering any more; only the engine itself says so
};
inline constexpr std::size_t kActionKinds = static_cast<std::size_t>(ActionKind::kSettle) + 1;

// acknowledge, unacknowledge, close, comment, shelve, unshelve, maintain, end_maintenance, acknowledge_missed, settle.
std::string_view action_word(ActionKind kind);
std::optional<ActionKind> find_action(std::string_view word);

// The change that an action makes of each of its alarms or of its object; nothing for kAcknowledgeMissed.
std::optional<ChangeKind> change_of(ActionKind kind);

// Whether the action is about an object, not about alarms.
bool is_about_object(ActionKind kind);

// The operator states of RFC 8632.
enum class OperatorState : std::uint8_t { kNone, kAcknowledged, kClosed, kShelved, kUnshelved };

// none, acknowledged, closed, shelved, unshelved.
std::string_view operator_state_word(OperatorState state);
std::optional<OperatorState> find_operator_state(std::string_view word);

// An input: what one person did at once.
struct OperatorAction {
  ActionKind kind = ActionKind::kComment;
  std::optional<std::string> id = {};            // the sender's own; an action comes once
  std::string person = {};                       // empty: the engine itself, because a time was over
  std::optional<std::string> on_behalf_of = {};  // whom a gateway acts for
  std::optional<std::string> comment = {};
  std::vector<ChangeNumber> alarms = {};  // by the numbers of their first raises; ascending, each once
  // The alarms were selected, not named. Those that are over, or for which the action is done already, are left out.
  // An alarm that has had its limit of actions refuses the whole selection.
  bool is_selection = false;
  ChangeNumber through = 0;    // of kAcknowledgeMissed: the alarms that ended up to this change
  std::string dn = {};         // of the object or, to settle it, the fault; empty: it is about alarms
  std::int64_t lasts = 0;      // of a shelf or of maintenance, in seconds; 0: `until` says it
  Moment until = 0;            // when it ends by itself
  std::int64_t until_age = 0;  // the same as an age of the ledger, which a jump of the clock does not move
};

inline constexpr std::size_t kMostCommentBytes = 1024;

// What operators did is kept as long as its alarm, so an alarm that lasts for years takes so many actions and no more.
// The first hundred may be comments.
inline constexpr std::size_t kMostActionsBeforeComment = 100;
inline constexpr std::size_t kMostActionsOfAlarm = 1000;
inline constexpr std::int64_t kMostSilence = std::int64_t{30} * 24 * 60 * 60;  // seconds: of a shelf and of maintenance

// What operators have made of an alarm, as far as it counts now. The changes tell who did it, and when.
struct AlarmStanding {
  ChangeNumber acknowledged = 0;  // the change that acknowledged it; 0: none does
  ChangeNumber closed = 0;
  ChangeNumber shelved = 0;
  Moment shelved_until = 0;
  std::int64_t shelved_until_age = 0;
  bool was_unshelved = false;
  bool was_told = false;  // outputs were told of the alarm, so they are to be told of its end, too

  OperatorState state() const {
    if (shelved != 0) return OperatorState::kShelved;
    if (closed != 0) return OperatorState::kClosed;
    if (acknowledged != 0) return OperatorState::kAcknowledged;
    return was_unshelved ? OperatorState::kUnshelved : OperatorState::kNone;
  }

  bool operator==(const AlarmStanding&) const = default;
};

// An object that is out of service, with all below it.
struct Maintenance {
  std::string dn;
  Sequence since = 0;  // the input that began it
  Moment since_at = 0;
  Moment until = 0;
  std::int64_t until_age = 0;

  bool operator==(const Maintenance&) const = default;
};

}  // namespace polaiga::engine
