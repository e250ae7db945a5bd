// What the start of an engine reads from its ledger.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "alarms/alarms.h"
#include "filter/filter_state.h"
#include "filter/host_tables.h"
#include "ledger/sqlite.h"

namespace polaiga::engine {

// What an engine goes on with after a start.
struct Restored {
  // An event that the library must be given again, in the order of the list.
  struct Step {
    Sequence sequence;
    SensorEvent event;
    std::int64_t tables;  // key in `tables`: the host tables it was handled under
  };
  std::vector<Step> steps;
  std::map<std::int64_t, HostTables> tables;
  std::map<Slot, std::vector<Sequence>> filter_state;
  std::vector<ActiveFault> faults;  // in the order in which they were raised
  std::vector<Maintenance> maintenance;
  std::vector<ChatteringFault> chattering;  // the one that was raised last is the last
};

// A fault that was raised lately.
struct RecentRaise {
  std::string fault_dn;
  std::int64_t age = 0;  // of the ledger then
};

// Reads it, and every record that an active fault needs. Throws LedgerError when something of it is not there,
// DamagedRow when a row is not as it was written, and SqlError.
Restored restore(const Database& db);

// The raises of faults since this age, in their order, as far as they can be read; of the latest changes only, so
// that a start takes no longer the more there are. Throws SqlError.
std::vector<RecentRaise> recent_raises(const Database& db, std::int64_t age);

}  // namespace polaiga::engine
