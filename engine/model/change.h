// What an input did to the alarms, and the numbers of inputs and changes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "model/dictionary.h"
#include "model/moment.h"

namespace polaiga::engine {

using Sequence = std::int64_t;      // number of an input, from 1, without gaps
using ChangeNumber = std::int64_t;  // number of a change, from 1, without gaps

// What an input is. The ids of events and those of actions are apart: the sources of events choose the first, and
// people the others.
enum class InputKind : std::uint8_t { kEvent, kAction };

enum class ChangeKind : std::uint8_t {
  kRaised,         // the fault is active from now on
  kRefreshed,      // the fault was active and is reported again, or by one more reporter
  kPartlyCleared,  // one reporter took its report back; others still report the fault
  kCleared,        // the last reporter took its report back
  kSuperseded,     // the last reporter reports another level of the same object instead
  kWithdrawn,      // the library told its host that the fault is over
  kMerged,         // the alarm goes on as part of an older one; the fault is the one that both have then
  // What operators do; the alarm's severity stays as it is.
  kAcknowledged,
  kUnacknowledged,  // an acknowledgement or a closing was taken back, or an escalation asks for a new one
  kClosed,
  kCommented,
  kShelved,
  kUnshelved,      // by an operator, or because the time is over
  kOutOfService,   // of each alarm of the object, and then of the object itself, as alarm 0
  kBackInService,  // the same; by an operator, or because the time is over
  // What the engine says of a fault that is raised again and again.
  kChattering,  // it is, since so many raises
  kSettled,     // it is no more; of the fault's latest alarm, whether that is active or over
};
inline constexpr std::size_t kChangeKinds = static_cast<std::size_t>(ChangeKind::kSettled) + 1;

// raised, refreshed, partly_cleared, cleared, superseded, withdrawn, merged, acknowledged, unacknowledged, closed,
// commented, shelved, unshelved, out_of_service, back_in_service, chattering, settled.
std::string_view change_word(ChangeKind kind);
std::optional<ChangeKind> find_change(std::string_view word);

// Whether the change says what operators did, and nothing of the fault itself.
constexpr bool is_of_operators(ChangeKind kind) {
  return ChangeKind::kAcknowledged <= kind && kind <= ChangeKind::kBackInService;
}

// Whether the change begins or ends a level of an alarm, or tells of its reporters.
constexpr bool is_of_fault(ChangeKind kind) { return kind < ChangeKind::kAcknowledged; }

// One change of one alarm. It says all that a reader needs to follow the alarms
// without the changes before it.
struct Change {
  ChangeNumber number = 0;
  Sequence sequence = 0;  // the input that made it
  ChangeKind kind = ChangeKind::kRaised;
  Moment at = 0;
  std::string fault_dn = {};             // of a change of an object: the object's DN
  ChangeNumber fault = 0;                // the change that raised the fault; 0: of an object, or settled
  ChangeNumber alarm = 0;                // the change that raised the alarm for the first time; 0: the same
  Severity before = Severity::kCleared;  // the alarm's severity before this change
  Severity after = Severity::kCleared;   // and after it; cleared when the alarm is over
  ChangeNumber other = 0;                // of raised: a related alarm; of merged: the alarm that goes on; of settled:
                                         // the alarm that outputs took for active meanwhile, and that is over; 0: none
  Sequence shown = 0;                    // the input whose record the fault shows after this change
  std::uint32_t reporters = 0;           // how many report the fault after this change
  std::uint64_t raises = 0;              // of chattering and settled: how often the fault was raised meanwhile
  bool is_quiet = false;   // outputs need not tell it: the alarm is silenced, and they were never told of it
  bool is_folded = false;  // the change feed leaves it out, because the fault is chattering

  bool is_told() const { return !is_quiet && !is_folded; }

  bool operator==(const Change&) const = default;
};

// What a record did to its own fault. The first four are changes of that kind;
// the others change nothing and have no number.
enum class Outcome : std::uint8_t {
  kRaised,
  kRefreshed,
  kPartlyCleared,
  kCleared,
  kAlreadyClear,  // the record clears a fault that its reporter does not report
  kNotTracked,    // the record raises a fault beyond the limit of active faults
};

// raised, refreshed, partly_cleared, cleared, already_clear, not_tracked.
std::string_view outcome_word(Outcome outcome);
std::optional<Outcome> find_outcome(std::string_view word);

}  // namespace polaiga::engine
