// What a replay tells, whatever the form.
#pragma once

#include <polaiga/records.h>

#include <cstdint>
#include <optional>
#include <string>

#include "alarms/alarms.h"
#include "model/moment.h"

namespace polaiga::engine {

// A record with what the engine knows about it.
struct Reported {
  const fe_fault_record& record;
  std::optional<Moment> time;  // the event's own, if it brought one
  Outcome outcome;
};

// What lines came to, beside the counts of the faults themselves.
struct LineCounts {
  std::uint64_t events = 0;
  std::uint64_t of_no_interest = 0;
  std::uint64_t bad_lines = 0;
};

class Report {
 public:
  virtual ~Report() = default;

  // Whole lines, with their newlines.
  virtual std::string record(const Reported& reported) const = 0;
  virtual std::string summary(const ActiveFaults& faults, const LineCounts& counts) const = 0;
};

}  // namespace polaiga::engine
