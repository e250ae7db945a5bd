// The alarms that are active, with their faults and those who report them.
//
// A fault is one level of what is wrong with an object. It is active as long as
// one of its reporters has not taken its report back. An alarm is what is wrong
// with the object through all its levels: when its fault is superseded by another
// level, the alarm goes on with that fault. So each active alarm has exactly one
// active fault, and each active fault belongs to exactly one active alarm.
#pragma once

#include <polaiga/records.h>

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "alarms/chattering.h"
#include "model/alarm_profile.h"
#include "model/change.h"
#include "model/operator_action.h"
#include "model/reporter.h"

namespace polaiga::engine {

// What one reporter says of a fault.
struct Report {
  Reporter reporter;
  Sequence since = 0;  // its first record about the fault, by the number of its input
  Moment since_at = 0;
  Sequence last = 0;  // its latest
  Moment last_at = 0;
  std::uint64_t count = 0;  // how many of its records raised or refreshed the fault
};

// The records themselves are not here: `shown` and the reports name the inputs
// that they were made of.
struct ActiveFault {
  std::string fault_dn;
  std::uint32_t code = 0;
  Severity severity = Severity::kIndeterminate;
  ChangeNumber fault = 0;  // the change that raised it
  ChangeNumber alarm = 0;  // the change that raised its alarm for the first time
  Moment alarm_since = 0;
  Moment since = 0;
  Moment updated = 0;
  Sequence shown = 0;                     // the latest of the records that are still in force
  std::uint64_t count = 0;                // records that raised or refreshed it
  std::vector<Report> reports;            // in the order in which they began
  AlarmStanding standing = {};            // of its alarm
  ChatteringFault* chattering = nullptr;  // null: it is not
};

// Says why an action of an operator is not possible. Then nothing of it was done.
struct ActionRefused : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// How many changes there were of each kind, and how many records changed nothing.
// At any time, raised == cleared + superseded + withdrawn + the active faults.
struct AlarmCounts {
  std::uint64_t raised = 0;
  std::uint64_t refreshed = 0;
  std::uint64_t partly_cleared = 0;
  std::uint64_t cleared = 0;
  std::uint64_t superseded = 0;
  std::uint64_t withdrawn = 0;
  std::uint64_t merged = 0;
  std::uint64_t already_clear = 0;
  std::uint64_t not_tracked = 0;
};

class Alarms {
 public:
  static constexpr std::size_t kMostReports = 20'000;
  static constexpr std::size_t kMostMaintenance = 1'000;  // objects that are out of service at once

  // `most_reports` limits the memory: an active fault counts once for each of its
  // reporters. Changes are numbered from the one after `last_change`.
  explicit Alarms(std::size_t most_reports = kMostReports, ChangeNumber last_change = 0);

  // Takes another profile, which gives a fault its severity when it is raised or
  // refreshed. Until then a fault keeps the one that it has.
  void use(AlarmProfile profile) { profile_ = std::move(profile); }
  const AlarmProfile& profile() const { return profile_; }

  // From now on, faults that are raised again and again are chattering; nothing: none is.
  void watch_chattering(const std::optional<ChatteringLimit>& limit) { chattering_.set_limit(limit); }

  // How old the ledger is when the inputs that follow come. It never goes back.
  void set_age(std::int64_t age) { age_ = age; }

  // Applies a record, which the filter made of input `sequence` by `reporter` at
  // `at`. Adds the changes that it makes, in their order.
  Outcome apply(const fe_fault_record& record, const Reporter& reporter, Sequence sequence, Moment at,
                std::vector<Change>& changes);

  // Ends a fault with all its reporters, if it is active, because the library told
  // its host during input `sequence` that it is over.
  void withdraw(std::string_view fault_dn, Sequence sequence, Moment at, std::vector<Change>& changes);

  // From now on an alarm that gets worse is neither acknowledged nor closed any more.
  void renew_acknowledgements() { renews_acknowledgements_ = true; }

  // Carries an action out for all its alarms, or for none. Throws ActionRefused.
  void act(const OperatorAction& action, Sequence sequence, Moment at, std::vector<Change>& changes);

  // When the next shelf or maintenance is over, or the next chattering fault has settled, as an age of the ledger;
  // nothing: there is none.
  std::optional<std::int64_t> next_end() const;

  // The actions that end the shelves and the maintenance that are over at this age, and those that settle faults, of
  // which there may be more than these.
  std::vector<OperatorAction> over(std::int64_t age);

  // Objects that are out of service, by DN.
  const std::map<std::string, Maintenance, std::less<>>& maintenance() const { return maintenance_; }
  // Whether the object or fault with this DN is, because it or one above it is.
  bool is_out_of_service(std::string_view dn) const;

  // Takes up maintenance that an earlier run left.
  void restore(Maintenance maintenance);

  // Chattering faults that changed since the last call.
  ChatteringWatch::Changes take_chattering() { return chattering_.take_changes(); }
  std::size_t chattering() const { return chattering_.size(); }

  // Takes up chattering faults that an earlier run left, after those that are active, in the order of their last
  // raises; and the raises of other faults, in their order.
  void restore(ChatteringFault fault);
  void restore_raise(std::string_view fault_dn, std::int64_t age) { chattering_.restore_raise(fault_dn, age); }

  // Takes up a fault that an earlier run left active. It counts as raised. Faults
  // come in the order in which they were raised. The limit does not hold for them.
  void restore(ActiveFault fault);

  std::size_t size() const { return faults_.size(); }
  std::size_t reports() const { return reports_; }
  ChangeNumber last_change() const { return last_change_; }
  const AlarmCounts& counts() const { return counts_; }

  // Null when the fault is not active.
  const ActiveFault* find(std::string_view fault_dn) const;

  // In the order in which they were raised. Pointers last until the next change.
  std::vector<const ActiveFault*> in_order() const;

 private:
  // Looks a DN up as it stands in a record, without a string made of it. As it is not declared noexcept, the table
  // stores the hash of each DN, so that a search need not read the DNs of others.
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view dn) const { return std::hash<std::string_view>()(dn); }
  };
  using Faults = std::unordered_map<std::string, ActiveFault, Hash, std::equal_to<>>;

  // The input that is being applied.
  struct Step {
    const Reporter& reporter;
    Sequence sequence;
    Moment at;
    std::vector<Change>& changes;
  };

  // The alarm of a fault that the same record superseded.
  struct Former {
    ChangeNumber alarm = 0;
    Moment since = 0;
    Severity severity = Severity::kCleared;
    AlarmStanding standing = {};
    bool goes_on = false;  // else others still report the fault, and the alarm is only related
  };

  Outcome clear(const fe_fault_record& record, const Step& step);
  std::optional<Former> supersede(const fe_fault_record& record, const Step& step);
  Outcome raise(const fe_fault_record& record, const std::optional<Former>& former, const Step& step);
  Outcome refresh(ActiveFault& fault, Severity severity, const std::optional<Former>& former, const Step& step);
  void join(ActiveFault& fault, const AlarmStanding& ended, Severity severity, const Step& step);
  void renew(ActiveFault& fault, Severity before, const Step& step);
  void report(ActiveFault& fault, const Step& step);
  bool take_back(ActiveFault& fault, const Reporter& reporter);
  void end(Faults::iterator fault, ChangeKind kind, Severity after, Sequence sequence, Moment at,
           std::vector<Change>& changes);
  static const char* why_not(ActionKind kind, const ActiveFault* fault);
  std::vector<ActiveFault*> alarms_of(const OperatorAction& action);
  void act_on_object(const OperatorAction& action, Sequence sequence, Moment at, std::vector<Change>& changes);
  void settle(const OperatorAction& action, Sequence sequence, Moment at, std::vector<Change>& changes);
  std::pair<ActiveFault*, ActiveFault*> latest_and_shown(const ChatteringFault& fault);
  void begin_chattering(ActiveFault& fault, ChatteringFault& chattering, const Step& step);
  void tell(ActiveFault& fault, Change& change);
  bool is_quiet_end(const ActiveFault& fault, bool was_told) const;
  void look_for_next_end();
  bool is_silenced(const ActiveFault& fault) const;
  Change& add(const ActiveFault& fault, ChangeKind kind, Sequence sequence, Moment at, std::vector<Change>& changes);

  std::size_t most_reports_;
  AlarmProfile profile_;
  ChangeNumber last_change_;
  Faults faults_;  // by fault DN
  std::size_t reports_ = 0;
  AlarmCounts counts_;
  std::map<std::string, Maintenance, std::less<>> maintenance_;
  std::optional<std::int64_t> next_end_;  // of shelves and maintenance
  ChatteringWatch chattering_;
  std::int64_t age_ = 0;
  bool renews_acknowledgements_ = false;
};

}  // namespace polaiga::engine
