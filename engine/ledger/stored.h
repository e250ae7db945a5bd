// What the ledger's rows say, as questions and publishers read it.
#pragma once

#include <polaiga/records.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ledger/ledger.h"
#include "model/change.h"
#include "model/operator_action.h"
#include "model/reporter.h"
#include "model/sensor_event.h"

namespace polaiga::engine {

// What an operator did, as it is told of an alarm or of a change.
struct StoredAction {
  Sequence sequence = 0;
  ActionKind kind = ActionKind::kComment;
  std::string person;  // empty: the engine itself, because a time was over
  std::optional<std::string> on_behalf_of;
  std::optional<std::string> comment;
  std::string dn;  // of an object
  std::optional<Moment> until;
};

// One of the things that operators did to an alarm.
struct AlarmAction {
  ChangeNumber number = 0;
  ChangeKind kind = ChangeKind::kCommented;
  Moment at = 0;
  std::optional<StoredAction> action;  // nothing: an escalation took the acknowledgement back
};

// What it makes of the alarm's standing, but for what outputs were told.
void apply(AlarmStanding& standing, const AlarmAction& action);

// An object that is out of service.
struct StoredMaintenance {
  Maintenance maintenance;
  std::optional<StoredAction> action;  // that began it
};

// An input. That of an operator's action has no entity.
struct StoredEvent {
  Sequence sequence = 0;
  Moment received = 0;
  Moment at = 0;
  SensorEvent event;
  LibraryBuild build;  // that handled it
};

// A record with the event that it was made of.
struct StoredRecord {
  StoredEvent event;
  fe_fault_record record = {};
  Outcome outcome = Outcome::kAlreadyClear;
};

// A fault from its raise to its end: one level of an alarm.
struct StoredFault {
  ChangeNumber number = 0;  // of the change that raised it
  ChangeNumber alarm = 0;   // of the alarm that it was raised for
  std::string fault_dn;
  std::string dn;  // of the object
  std::uint32_t code = 0;
  std::string name;  // of the code, in the words of the record that raised it
  Severity severity = Severity::kIndeterminate;
  Sequence raised = 0;  // the input that raised it
  Moment since = 0;
  Sequence shown = 0;  // the input whose record it shows
  Moment updated = 0;
  std::uint64_t count = 0;        // records that raised or refreshed it
  std::uint32_t reporters = 0;    // who report it now, or at the time that was asked for
  std::optional<Sequence> ended;  // the input that ended it; none: it is active
  Moment ended_at = 0;
  ChangeKind ending = ChangeKind::kCleared;  // cleared, superseded or withdrawn
};

// What is wrong with an object, from the first raise to the end.
struct StoredAlarm {
  ChangeNumber number = 0;  // of its first raise; with the ledger's id it names the alarm for ever
  std::string dn;           // of the object
  Moment created = 0;
  Moment changed = 0;                            // last
  Severity severity = Severity::kIndeterminate;  // now, or the last one when it is over
  Severity worst = Severity::kIndeterminate;     // so far
  std::optional<ChangeNumber> ended;             // the change that ended it; none: it is active
  Moment ended_at = 0;
  ChangeKind ending = ChangeKind::kCleared;  // cleared, withdrawn or merged
  ChangeNumber merged_into = 0;              // the alarm that goes on in its place; 0: none
  ChangeNumber related = 0;                  // the alarm that its first raise came from, which went on; 0: none
  std::vector<StoredFault> steps;            // its way, level by level
  AlarmStanding standing = {};
  bool is_out_of_service = false;
  std::vector<AlarmAction> actions = {};  // in their order

  // Nothing: no operator has given the alarm the state that it has.
  const AlarmAction* state_by() const;
};

// The change that gave an alarm the operator state that it has; 0: none did.
ChangeNumber state_change(const AlarmStanding& standing);

}  // namespace polaiga::engine
