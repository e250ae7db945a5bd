// The faults that are active, as the records of the filters make them.
#pragma once

#include <polaiga/records.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "model/change.h"
#include "model/moment.h"

namespace polaiga::engine {

struct Outcome {
  Change change = Change::kAlreadyClear;
  bool superseded = false;         // and the fault that clear_code names went with it
  Sequence raised = 0;             // the event that raised its own fault; 0: it was not active
  Sequence superseded_raised = 0;  // and the one that raised the other
};

struct ActiveFault {
  fe_fault_record record;  // the latest
  Moment since;
  Moment updated;
  std::uint64_t reports;  // records that raised or refreshed it
  Sequence raised = 0;    // the event that raised it
};

// At any time, raised == cleared + superseded + the faults that are active.
struct FaultCounts {
  std::uint64_t raised = 0;
  std::uint64_t refreshed = 0;
  std::uint64_t cleared = 0;
  std::uint64_t already_clear = 0;
  std::uint64_t superseded = 0;
};

class ActiveFaults {
 public:
  // `sequence` is the event that the record was made of.
  Outcome apply(const fe_fault_record& record, Moment when, Sequence sequence);

  // Takes up a fault that an earlier run of the engine left active, after those
  // that were raised before it. It counts as raised.
  void restore(const ActiveFault& fault);

  // Clears a fault that no record clears, if it is active; answers which event had
  // raised it.
  std::optional<Sequence> withdraw(std::string_view fault_dn);

  std::size_t size() const { return faults_.size(); }
  const FaultCounts& counts() const { return counts_; }

  // In the order in which they were raised. Pointers last until the next change.
  std::vector<const ActiveFault*> in_order() const;

 private:
  struct Entry {
    ActiveFault fault;
    std::uint64_t order;
  };

  // Looks a DN up as it stands in a record, without a string made of it.
  struct Hash : std::hash<std::string_view> {
    using is_transparent = void;
  };

  std::optional<Sequence> erase(std::string_view fault_dn);

  std::unordered_map<std::string, Entry, Hash, std::equal_to<>> faults_;  // by fault DN
  FaultCounts counts_;
};

}  // namespace polaiga::engine
