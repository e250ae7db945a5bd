#include "report/kept_records.h"

#include <algorithm>
#include <unordered_set>

namespace polaiga::engine {

void KeptRecords::keep(const RecordedInput& input, const Alarms& alarms) {
  const bool in_force = input.reported && (input.outcome == Outcome::kRaised || input.outcome == Outcome::kRefreshed);
  if (!in_force) return;
  records_.insert_or_assign(input.sequence, input.record);
  if (records_.size() > most_) drop_unused(alarms);
}

void KeptRecords::drop_unused(const Alarms& alarms) {
  std::unordered_set<Sequence> used;
  for (const ActiveFault* fault : alarms.in_order()) {
    for (const Report& report : fault->reports) used.insert(report.last);
  }
  std::erase_if(records_, [&](const auto& one) { return !used.contains(one.first); });
  most_ = std::max(kFew, 2 * records_.size());
}

}  // namespace polaiga::engine
