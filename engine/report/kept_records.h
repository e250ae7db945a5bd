// The records that active faults show, for a replay: it has no ledger to read them
// from.
#pragma once

#include <polaiga/records.h>

#include <cstddef>
#include <unordered_map>

#include "alarms/alarms.h"
#include "ledger/batch.h"

namespace polaiga::engine {

class KeptRecords {
 public:
  // Keeps the record of an input if a fault may show it. From time to time it drops
  // the records that no report of an active fault names any more, so that there are
  // never more than twice as many as reports, or kFew.
  void keep(const RecordedInput& input, const Alarms& alarms);

  // The record that an active fault shows.
  const fe_fault_record& shown(const ActiveFault& fault) const { return records_.at(fault.shown); }

  std::size_t size() const { return records_.size(); }

  static constexpr std::size_t kFew = 1024;

 private:
  void drop_unused(const Alarms& alarms);

  std::unordered_map<Sequence, fe_fault_record> records_;  // by the number of the input
  std::size_t most_ = kFew;                                // records, before unused ones are dropped
};

}  // namespace polaiga::engine
