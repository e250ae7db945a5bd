// What the controllers made: what a database must have when all of it was acknowledged.
#pragma once

#include <string>

#include "simulated/fleet.h"

namespace polaiga::fleet {

// A line of JSON for each controller: `site`, `controller`, `ledger_id`; `changes`, the numbers of its changes, the
// `first` and the `last` of those that follow each other without a hole; `alarms`, those that are active, each with
// `number`, `last_change`, `fault_dn` and `severity`. Throws std::system_error.
void write_record(const std::string& path, const SimulatedFleet& fleet);

}  // namespace polaiga::fleet
