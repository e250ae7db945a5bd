// Questions to a ledger, while an engine may be writing to it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "filter/host_tables.h"
#include "ledger/stored.h"
#include "ledger/told_alarms.h"
#include "model/alarm_profile.h"
#include "model/entities.h"

namespace polaiga::engine {

// Which faults; by default, all.
struct Selection {
  std::string under = {};                          // a DN: this object or fault and all below it; empty: any
  Severity least = Severity::kCleared;             // this severity and worse
  const Entity* entity = nullptr;                  // of the event; null: any
  std::optional<Moment> raised_by = std::nullopt;  // raised at this time or before it
  std::optional<Moment> raised_after = std::nullopt;
};

// An active fault with the record that it shows.
struct ActiveRow {
  StoredFault fault;
  Moment alarm_since = 0;
  StoredRecord shown;
  AlarmStanding standing = {};
  std::optional<AlarmAction> state_by = {};  // who gave the alarm the operator state that it has
  bool is_out_of_service = false;
  std::optional<ChatteringFault> chattering = {};  // nothing: the fault is not chattering

  // Whether operators have silenced it, so that lists leave it out unless it is asked for.
  bool is_silenced() const { return is_out_of_service || standing.shelved != 0; }
};

// Whether the fault was selected, as it is now.
bool has(const Selection& selection, const ActiveRow& row);

// What one reporter says of a fault, with its record.
struct StoredReport {
  Report report;
  StoredRecord record;  // its latest about the fault
};

// All that is known of one fault and its alarm.
struct Explanation {
  StoredFault fault;
  StoredAlarm alarm;
  StoredRecord raise;                              // the record that raised the fault
  StoredRecord shown;                              // the one that it shows, or showed last
  std::vector<StoredReport> reports;               // of who still report it
  std::vector<Change> changes;                     // the alarm's latest changes, in their order
  std::uint64_t changes_left_out = 0;              // those before them
  HostTables tables;                               // that the fault was raised under
  std::optional<ChatteringFault> chattering = {};  // nothing: the fault is not chattering
};

// A change with the record of the input that made it, if that had one.
struct StoredChange {
  Change change;
  StoredEvent event;
  std::optional<StoredRecord> record;
  std::optional<StoredAction> action = {};  // of an input that is an operator's action
  // Of a change that says that a fault has settled, in the change feed: what its alarm shows, if that is active.
  std::optional<StoredRecord> shown = {};
};

struct ChangesRead {
  std::vector<StoredChange> changes;
  ChangeNumber through = 0;  // how far the ledger was read for them
  // Changes after the number that was asked for which retention took; none unless the last is at
  // least the first.
  ChangeNumber first_lost = 1;
  ChangeNumber last_lost = 0;
};

// How far back a ledger goes.
struct LedgerReach {
  Moment created = 0;
  std::optional<Moment> gone_until;  // of what happened until then, retention has taken what is over; none: nothing
};

struct AlarmFact;
class LedgerConnection;
class StoredProfile;

// How many alarms were missed that ended up to a change, and which change was the latest.
struct MissedCount {
  std::size_t alarms = 0;
  ChangeNumber through = 0;
};

// What is wrong at one moment, at a glance.
struct Overview {
  std::string ledger_id;
  ChangeNumber number = 0;  // the latest change
  std::vector<ActiveRow> active;
  std::vector<StoredMaintenance> maintenance;
  std::size_t missed = 0;                       // alarms
  std::shared_ptr<const AlarmProfile> profile;  // never null
};

// Each question is answered of one moment. All throw LedgerError.
class LedgerReader {
 public:
  explicit LedgerReader(std::string path);
  ~LedgerReader();
  LedgerReader(LedgerReader&& other) noexcept;
  LedgerReader& operator=(LedgerReader&& other) noexcept;

  const std::string& path() const;
  std::string ledger_id();

  // In the order in which they were raised; of now, or as they were after the last
  // input that happened at `at` or before. Fails for a time whose inputs retention
  // has taken.
  std::vector<ActiveRow> active(const Selection& selection, std::optional<Moment> at);

  Overview overview();

  // The alarm that has this number; nothing: the ledger does not know it, or it took part in no alarm that is kept.
  std::optional<StoredAlarm> alarm(ChangeNumber number);

  // The latest `limit` alarms with numbers below `before`, the oldest first.
  std::vector<StoredAlarm> history_before(ChangeNumber before, std::int64_t limit);

  // Alarms, the oldest first, with their faults as steps: those in which the fault
  // took part, or all for an empty DN; the last `limit`, or all for 0.
  std::vector<StoredAlarm> history(const std::string& fault_dn, std::int64_t limit);

  // Alarms that came and went since somebody acknowledged the missed ones, and that nobody acknowledged, closed or
  // shelved; none of those that outputs were never told of. The oldest first, the last `limit`, or all for 0.
  std::vector<StoredAlarm> missed(std::int64_t limit);
  MissedCount count_missed();

  // Objects that are out of service, by DN.
  std::vector<StoredMaintenance> maintenance();

  // The same alarms as active() of now and history() choose, with what their records say.
  ToldAlarms tell_active(const Selection& selection, const std::function<bool(const ActiveRow&)>& chosen = {});
  ToldAlarms tell_history(const std::string& fault_dn, std::int64_t limit);

  // The fault that is active, or was last; nothing when the ledger does not know it.
  std::optional<Explanation> explain(const std::string& fault_dn);

  // The last changes, and at most 1000 after a number.
  ChangesRead latest(const Selection& selection, std::size_t count);
  ChangesRead after(const Selection& selection, ChangeNumber number);

  LedgerReach reach();

  // The host tables that the latest inputs were handled under; nothing when there are none.
  std::optional<HostTables> latest_tables();

  // Calls `take` for each alarm of which a fault has this DN or lies below it, or for all with an empty DN, in the
  // order in which they were raised.
  void alarm_facts(const std::string& under, const std::function<void(const AlarmFact& fact)>& take);
  // What the engine's alarm profile was when one of these questions was asked last.
  const AlarmProfile& profile() const { return *profile_; }

  // Whether something was written since the last call.
  bool has_changed();

  // Whether the ledger is gone, or another one is in its place: then this is of no use any more.
  bool is_replaced() const;

  // What the last question left out because it is damaged; a sentence each.
  const std::vector<std::string>& left_out() const { return left_out_; }

 private:
  // Asks with the rows of the ledger, and notes what they left out.
  template <class Question>
  auto ask(Question question);
  template <class Question>
  auto ask_with_profile(Question question);

  std::unique_ptr<LedgerConnection> connection_;
  std::unique_ptr<StoredProfile> stored_profile_;
  std::shared_ptr<const AlarmProfile> profile_;  // never null
  std::vector<std::string> left_out_;
};

}  // namespace polaiga::engine
