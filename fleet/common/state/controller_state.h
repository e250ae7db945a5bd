// What is known of a controller's ledger, and what a message of it changes. There is no I/O here: the database reads
// such a state, takes messages into it, and writes it back, all in one transaction.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "messages/message.h"

namespace polaiga::fleet {

// An alarm as it is kept. It is named by its ledger and its number.
struct AlarmState {
  ChangeNumber number = 0;
  ChangeNumber last_change = 0;  // the change, or the number of the list, that was taken into it last
  ChangeNumber fault = 0;
  FaultWords words;
  engine::Severity severity = engine::Severity::kIndeterminate;  // as long as it is active
  engine::Severity worst = engine::Severity::kIndeterminate;
  Moment created = 0;
  Moment since = 0;
  Moment updated = 0;
  std::optional<Moment> cleared;
  std::uint64_t count = 0;
  std::uint32_t reporters = 0;
  bool is_acknowledged = false;
  bool is_closed = false;
  bool is_shelved = false;
  bool was_unshelved = false;
  bool is_out_of_service = false;
  std::string acknowledged_by;
  std::uint64_t raises = 0;
  // How it ended: cleared, superseded, withdrawn, merged, settled; `missing` when a list did not have it any more;
  // `ledger_gone` when its controller began another ledger. Empty: it is active.
  std::string end;
  bool is_new = false;      // not in the database yet
  bool is_touched = false;  // to be written

  engine::OperatorState operator_state() const;
  bool is_active() const { return end.empty(); }
};

// Takes a change into an alarm. Does nothing when the alarm has taken it already (`last_change`).
void apply(const ChangeMessage& change, AlarmState& alarm);
// The alarm as a list has it.
void apply(const ListedAlarm& listed, ChangeNumber number, AlarmState& alarm);

// How far a controller's ledger was taken. Changes are taken strictly in their order: a change whose `previous` is
// beyond `through` is not taken, and what is missing is asked for; it comes again with that.
struct LedgerProgress {
  std::string ledger_id;            // empty: none is known yet
  ChangeNumber through = 0;         // the last change that was taken
  ChangeNumber wanted_through = 0;  // up to here there are changes that were not taken yet
  bool is_list_wanted = false;      // the list is to be asked for
  ChangeNumber list_after = 0;      // up to this alarm its parts have come
  Moment status_at = 0;             // of the latest status of this ledger, by the controller's clock

  bool operator==(const LedgerProgress&) const = default;
};

enum class Verdict {
  kTaken,   // it is to be written
  kRepeat,  // it is there already
  kEarly,   // changes before it are missing: ask for them
};

// Whether a change is the next one. If it is, or is early, the progress says so afterwards.
Verdict take(const ChangeMessage& change, LedgerProgress& progress);
// The same of a gap. When one is taken that is no putting back, the list is wanted afterwards.
Verdict take(const GapMessage& gap, LedgerProgress& progress);
// What a status says of how much there is to come. Of the ledger that is followed.
void take(const StatusMessage& status, LedgerProgress& progress);

// A request that is to go to the controller now: for changes or for the list.
struct Request {
  bool is_for_list = false;
  ChangeNumber first = 0;  // of changes
  ChangeNumber last = 0;
  ChangeNumber after = 0;  // of the list
};
inline constexpr ChangeNumber kMostAskedFor = 1000;
// The most urgent one; nothing when nothing is missing. The list goes before changes.
std::optional<Request> next_request(const LedgerProgress& progress);

}  // namespace polaiga::fleet
