// What is known of a controller's ledger, and what a message of it changes. There is no I/O here: the database reads
// such a state, takes messages into it, and writes it back, all in one transaction.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "wire/message.h"

namespace polaiga::fleet {

// An alarm as it is kept. It is named by its ledger and its number.
struct AlarmState {
  ChangeNumber number = 0;
  ChangeNumber last_change = 0;  // the change, or the number of the list, that was taken into it last
  ChangeNumber fault = 0;
  FaultWords words = {};
  engine::Severity severity = engine::Severity::kIndeterminate;  // as long as it is active
  engine::Severity worst = engine::Severity::kIndeterminate;
  Moment created = 0;
  Moment since = 0;
  Moment updated = 0;
  std::optional<Moment> cleared = {};
  std::uint64_t count = 0;
  std::uint32_t reporters = 0;
  bool is_acknowledged = false;
  bool is_closed = false;
  bool is_shelved = false;
  bool was_unshelved = false;
  bool is_out_of_service = false;
  std::string acknowledged_by = {};
  std::uint64_t raises = 0;
  // How it ended: cleared, withdrawn, merged; `missing` when a list did not have it any more; `ledger_gone` when its
  // controller began another ledger. Empty: it is active.
  std::string end = {};
  bool is_new = false;      // not in the database yet
  bool is_touched = false;  // to be written

  engine::OperatorState operator_state() const;
  bool is_active() const { return end.empty(); }
};

inline constexpr const char* kMissing = "missing";
inline constexpr const char* kLedgerGone = "ledger_gone";

// The alarms that a change touches: its own and, when outputs took another one for active meanwhile, that one. None,
// when the change is one of an object.
std::vector<ChangeNumber> alarms_of(const ChangeMessage& change);

// Takes a change into one of the alarms that it touches. Does nothing when the alarm has taken it already
// (`last_change`). The alarm may be a new one, of which only the number is set.
//
// An alarm takes its words from records that raised or refreshed its fault. A record that was taken back says nothing
// of what is still wrong, and an alarm that is over keeps what it showed.
//
// Changes are told neither while an alarm is silenced, nor while its fault is chattering, and some that are told have
// no record. So the answer is whether not all of the alarm is known: then want_list().
bool apply(const ChangeMessage& change, AlarmState& alarm);
// The alarm as a list has it that is right after change `number`. An alarm that has taken a later change takes of it
// only what does not change: when the alarm and its fault began, how often the fault came at least, and its words if it
// has none.
void apply(const ListedAlarm& listed, ChangeNumber number, AlarmState& alarm);
// The fault's words by another record of it, such as the one that it shows since a reporter took its report back.
void show(const FaultWords& record, AlarmState& alarm);
// The list that is right after change `number` does not have the alarm, though it should: it is over. Does nothing when
// the alarm is over or has taken a later change. When the change that ended it comes after this, it is taken all the
// same.
void miss(ChangeNumber number, Moment at, AlarmState& alarm);
// Its controller has begun another ledger.
void leave(Moment at, AlarmState& alarm);

// How far a controller's ledger was taken. Changes are taken strictly in their order: a change whose `previous` is
// beyond `through` is not taken, and what is missing is asked for; it comes again with that.
struct LedgerProgress {
  std::string ledger_id = {};       // empty: none is known yet
  ChangeNumber through = 0;         // the last change that was taken
  ChangeNumber wanted_through = 0;  // up to here there are changes that were not taken yet
  bool is_list_wanted = false;      // the list is to be asked for
  ChangeNumber list_after = 0;      // up to this alarm its parts have come
  Moment status_at = 0;             // of the latest status of this ledger, by the controller's clock
  // The ledger was put back to the change before this one, and not all of what it lost is deleted yet. Meanwhile
  // nothing is taken of it, acknowledged or asked for.
  std::optional<ChangeNumber> put_back_before = {};
  // The id of the request that is under way; empty: none is, and the next one may be made at once. Ids are never used
  // twice for a controller.
  std::string asked_for = {};

  bool operator==(const LedgerProgress&) const = default;
};

enum class Verdict {
  kTaken,   // it is to be written
  kRepeat,  // it is there already, or nobody asked for it
  kEarly,   // changes before it are missing: ask for them
};

// All that follow are of the ledger whose progress it is.

// Whether a change is the next one. If it is, or is early, the progress says so afterwards. When an object is back in
// service, the list is wanted.
Verdict take(const ChangeMessage& change, LedgerProgress& progress);
// The same of a gap. When one is taken, the list is wanted afterwards. A putting back is taken unless the ledger is
// being put back so far already: then the changes and the alarms with `put_back_before` and greater numbers are to be
// deleted, and alarms that stay and whose last_change is so great go back to the number before it, so that they take
// what the list says. After that, finish_put_back().
Verdict take(const GapMessage& gap, LedgerProgress& progress);
// What the ledger lost is deleted. What came of it meanwhile is wanted.
void finish_put_back(LedgerProgress& progress);
// Whether a part of the list is the next one of the list that was asked for. Parts of a list that was asked for before
// the list became wanted again are none.
Verdict take(const ListMessage& list, LedgerProgress& progress);
// The end of a replay: changes at its end that are never told are passed over.
Verdict take(const ReplayDone& done, LedgerProgress& progress);
// What a status says of how much there is to come.
void take(const StatusMessage& status, LedgerProgress& progress);

// The list is to be asked for, from its beginning. What is on its way of a list counts no more, since it may be older
// than what made the list wanted.
void want_list(LedgerProgress& progress);

// A request that is to go to the controller now: for changes or for the list.
struct Request {
  bool is_for_list = false;
  ChangeNumber first = 0;  // of changes
  ChangeNumber last = 0;
  ChangeNumber after = 0;  // of the list

  bool operator==(const Request&) const = default;
};
inline constexpr ChangeNumber kMostAskedFor = 1000;
// The most urgent one; nothing when nothing is missing. The list goes before changes, except when the request that was
// made last was one for the list and has not been answered: so a controller that does not answer such requests still
// tells its changes. Whether it is time for a request is for the caller to see.
std::optional<Request> next_request(const LedgerProgress& progress);
// Its id, for `asked_for`. `unique` differs from those of all requests before it.
std::string request_id(const Request& request, std::string_view unique);

}  // namespace polaiga::fleet
