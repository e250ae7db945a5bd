// Changes in the words that people read.
#pragma once

#include <string>
#include <string_view>

#include "ledger/batch.h"
#include "ledger/stored.h"
#include "model/change.h"

namespace polaiga::engine {

// What a change did, as a reader of changes sees it: "raised", "refreshed, 2 report
// it", "partly cleared, 1 still reports it", "cleared", "superseded", ...
std::string change_text(const Change& change);

// The same of what an operator did to an alarm.
std::string change_text(const AlarmAction& action);

// Who did it, and why, of a change that operators made: "by anna for bob: waits for a spare part". `action` is null
// when no operator did it.
std::string person_text(const StoredAction* action);

// What a record did to its own fault and, after a comma, to others: "raised,
// superseded F0395".
std::string consequence_text(const RecordedInput& input);

// The parts of a fault's DN: the DN of the object, and the code as in "F0395". A DN
// that is no fault's has no code.
struct FaultDnParts {
  std::string_view dn;
  std::string_view code;
};
FaultDnParts parts_of(std::string_view fault_dn);

}  // namespace polaiga::engine
