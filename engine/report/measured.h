// The measures of an alarm system, taken from a ledger.
#pragma once

#include <optional>
#include <string>

#include "alarms/measures.h"
#include "ledger/reader.h"

namespace polaiga::engine {

// Measures with what they were asked for.
struct Measured {
  Measures measures;
  Moment now = 0;
  Moment since = 0;   // when the time looked at began
  std::string under;  // the DN whose alarms were measured; empty: all
  ChatteringLimit chattering = {};
};

// What is to be measured.
struct MeasuredWhat {
  std::string under;                 // a DN: this object and all below it; empty: all
  std::optional<Moment> newer_than;  // seconds: what was raised less than this long ago; nothing: all that is known
  ChatteringLimit chattering = {};
};

// Throws LedgerError.
Measured measure(LedgerReader& reader, const MeasuredWhat& what, Moment now);

}  // namespace polaiga::engine
