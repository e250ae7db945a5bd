#include "alarms/active_faults.h"

#include <algorithm>
#include "model/fault.h"

namespace polaiga::engine {

Outcome ActiveFaults::apply(const fe_fault_record& record, Moment when, Sequence sequence) {
  if (only_clears(record)) {
    if (const auto raised = withdraw(record.fault_dn)) return {.change = Change::kCleared, .raised = *raised};
    ++counts_.already_clear;
    return {.change = Change::kAlreadyClear};
  }

  Outcome outcome;
  if (record.clear_code != 0 && record.clear_code != record.code) {
    if (const auto raised = erase(fault_dn(record.dn, record.clear_code))) {
      outcome.superseded = true;
      outcome.superseded_raised = *raised;
      ++counts_.superseded;
    }
  }
  auto entry = faults_.find(std::string_view(record.fault_dn));
  const bool is_new = entry == faults_.end();
  if (is_new) entry = faults_.try_emplace(record.fault_dn, Entry{{{}, when, when, 0, sequence}, counts_.raised}).first;
  ActiveFault& fault = entry->second.fault;
  fault.record = record;
  fault.updated = when;
  ++fault.reports;
  outcome.change = is_new ? Change::kRaised : Change::kRefreshed;
  outcome.raised = fault.raised;
  ++(is_new ? counts_.raised : counts_.refreshed);
  return outcome;
}

void ActiveFaults::restore(const ActiveFault& fault) {
  if (faults_.try_emplace(fault.record.fault_dn, Entry{fault, counts_.raised}).second) ++counts_.raised;
}

std::optional<Sequence> ActiveFaults::withdraw(std::string_view fault_dn) {
  const auto raised = erase(fault_dn);
  if (raised) ++counts_.cleared;
  return raised;
}

std::optional<Sequence> ActiveFaults::erase(std::string_view fault_dn) {
  const auto found = faults_.find(fault_dn);
  if (found == faults_.end()) return std::nullopt;
  const Sequence raised = found->second.fault.raised;
  faults_.erase(found);
  return raised;
}

std::vector<const ActiveFault*> ActiveFaults::in_order() const {
  std::vector<const Entry*> entries;
  entries.reserve(faults_.size());
  for (const auto& [dn, entry] : faults_) entries.push_back(&entry);
  std::ranges::sort(entries, {}, &Entry::order);
  std::vector<const ActiveFault*> faults;
  faults.reserve(entries.size());
  for (const Entry* entry : entries) faults.push_back(&entry->fault);
  return faults;
}

}  // namespace polaiga::engine
