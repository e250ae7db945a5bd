// Views of the ledger for other programs that ask it in SQL. The tables keep each
// text once and write words as numbers; the views put them together again.
//
//   inputs   every input with its subject, what it said, and what its record did
//   records  the record of every input that has one
//   changes  every change with its fault
//   faults   every fault from its raise to its end
//   alarms   every alarm with the fault that it has now, or had last
#pragma once

#include <string>

namespace polaiga::engine {

// The statements that create the views.
std::string views();

}  // namespace polaiga::engine
