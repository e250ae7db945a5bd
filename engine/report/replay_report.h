// What a replay tells, whatever the form.
#pragma once

#include <cstdint>
#include <string>

#include "alarms/alarms.h"
#include "ledger/batch.h"
#include "report/kept_records.h"

namespace polaiga::engine {

// What lines came to, beside the counts of the alarms themselves.
struct LineCounts {
  std::uint64_t events = 0;
  std::uint64_t of_no_interest = 0;  // neither reported nor withdrew a fault
  std::uint64_t bad_lines = 0;
};

class ReplayReport {
 public:
  virtual ~ReplayReport() = default;

  // Whole lines, with their newlines. `input` has a record or made changes.
  virtual std::string input(const RecordedInput& input) const = 0;
  virtual std::string summary(const Alarms& alarms, const KeptRecords& records, const LineCounts& counts) const = 0;
};

}  // namespace polaiga::engine
