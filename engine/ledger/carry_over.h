// What goes from a damaged ledger into the new one that takes its place.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "ledger/ledger_file.h"

namespace polaiga::engine {

struct CarriedOver {
  std::size_t faults = 0;  // active ones, with their alarms, their reporters and the records that they need
  std::size_t slots = 0;   // of what the filters remember
  std::size_t ids = 0;     // under which inputs came that must not be taken twice
  Sequence last_sequence = 0;
  ChangeNumber last_change = 0;
  std::vector<std::string> lost;  // what could not be read or does not prove right, a sentence each

  // For people: what was carried over, and what was not.
  std::string text() const;
};

// Reads what it can of the damaged ledger, which stays as it is, and makes a new
// ledger of it in the file `fresh`, with an id of its own. Only rows whose checksum is right are
// taken, and a fault only with all that it needs. Numbers go on after the last ones
// that were found, or after those of `beginning` if they are greater. Throws
// LedgerError when the new ledger cannot be made.
CarriedOver carry_over(const std::string& damaged, const std::string& fresh, const Beginning& beginning);

}  // namespace polaiga::engine
