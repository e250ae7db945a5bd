// What a publisher reads: first the alarms that are active at some change N, then
// every change after N. The cursor that says how far a publisher has come is
// written by the engine alone; a publisher reports it over the control socket.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "ledger/reader.h"

namespace polaiga::engine {

// A chattering fault, whether it is active at the moment or not.
struct FeedChattering {
  ChatteringFault fault;              // outputs take its `shown_alarm` for active, with `shown_severity`; 0: none
  std::optional<StoredRecord> raise;  // that raised the fault last, if the ledger still has it
};

// What outputs are to know right after change `number`, so that the changes after it go on from there.
struct Snapshot {
  std::string ledger_id;
  ChangeNumber number = 0;
  // The active alarms, without those of chattering faults that outputs are not told of.
  std::vector<ActiveRow> active;
  std::vector<FeedChattering> chattering;       // by the DN of the fault
  std::shared_ptr<const AlarmProfile> profile;  // what the site says of alarms; never null
  std::vector<std::string> damage;              // what could not be read of the ledger; a sentence each
};

// An alarm that outputs take for active: one that is or, of a chattering fault, the one that they were told of last.
struct FeedAlarm {
  ChangeNumber number = 0;  // of its first raise; with the ledger's id it names the alarm for ever
  Moment created = 0;
  StoredFault fault;   // with the severity that outputs take it to have
  StoredRecord shown;  // the record that it shows
  AlarmStanding standing = {};
  bool is_out_of_service = false;
  std::optional<ChatteringFault> chattering;  // nothing: the fault is not chattering

  // Whether operators have silenced it.
  bool is_silenced() const { return is_out_of_service || standing.shelved != 0; }
};

// Where to begin: the alarms that outputs take for active right after change `number`.
struct FeedStart {
  ChangeNumber number = 0;
  std::vector<ChangeNumber> alarms;  // ascending
};

struct FeedAlarms {
  std::vector<FeedAlarm> alarms;     // in the order in which they were asked for
  std::vector<ChangeNumber> unread;  // which could not be read, because something of them is damaged
  std::vector<std::string> damage;   // what that is; a sentence each
};

struct Feed {
  // Changes `first` to `last` are not there: retention took them before this
  // publisher read them, they are damaged or were lost, or the ledger was put back to an
  // earlier state and does not have them yet. The publisher must begin again with a snapshot.
  struct Gap {
    ChangeNumber first = 0;
    ChangeNumber last = 0;
  };
  std::optional<Gap> gap;                       // then there are no changes
  std::vector<StoredChange> changes;            // in their order, without gaps but for folded ones
  ChangeNumber through = 0;                     // how far the changes were read for them: the number to ask for next
  std::shared_ptr<const AlarmProfile> profile;  // what the site says of alarms now, as whether to notify; never null
  std::vector<std::string> damage;              // what could not be read of the ledger; a sentence each
};

class StoredProfile;

class ChangeFeed {
 public:
  // Of a ledger that an engine may be writing. Throws LedgerError, as all do.
  explicit ChangeFeed(const std::string& ledger);
  ~ChangeFeed();
  ChangeFeed(ChangeFeed&& other) noexcept;
  ChangeFeed& operator=(ChangeFeed&& other) noexcept;

  const std::string& ledger_id() const { return ledger_id_; }

  // Where a publisher's cursor is; nothing when it has none.
  std::optional<ChangeNumber> cursor(const std::string& publisher);

  // The number of the oldest change that is still there; 0: there is none.
  ChangeNumber oldest_number();

  Snapshot snapshot();

  // The same as a snapshot in parts, for those who want little memory, however many alarms there are: start() and then
  // alarms() of all that it names. Whoever then follows the changes after start().number and asks for each alarm that
  // they touch again has what a snapshot says.
  FeedStart start();

  // Those of the alarms that outputs take for active now, as they are now.
  FeedAlarms alarms(std::span<const ChangeNumber> numbers);

  // The changes after `number`, at most `most`, without those that are folded because a fault is chattering. It reads
  // no more rows than that, whatever the size of the ledger; so there may be more also when it has none. Fails when the
  // ledger was replaced by another one, as a damaged one is.
  Feed next(ChangeNumber number, std::size_t most);

  // Whether something was written since the last call.
  bool has_changed();

  // Whether the ledger is gone, or another one is in its place: then this is of no use any more.
  bool is_replaced() const;

 private:
  std::unique_ptr<LedgerConnection> connection_;
  std::unique_ptr<StoredProfile> profile_;
  std::string ledger_id_;
};

}  // namespace polaiga::engine
