#include "alarms/alarms.h"

#include <algorithm>
#include <utility>

#include "model/fault.h"

namespace polaiga::engine {

Alarms::Alarms(std::size_t most_reports, ChangeNumber last_change)
    : most_reports_(most_reports), last_change_(last_change) {}

Outcome Alarms::apply(const fe_fault_record& record, const Reporter& reporter, Sequence sequence, Moment at,
                      std::vector<Change>& changes) {
  const Step step{reporter, sequence, at, changes};
  if (only_clears(record)) return clear(record, step);
  const auto former = supersede(record, step);
  return raise(record, former, step);
}

Outcome Alarms::clear(const fe_fault_record& record, const Step& step) {
  const auto fault = faults_.find(std::string_view(record.fault_dn));
  if (fault == faults_.end() || !take_back(fault->second, step.reporter)) {
    ++counts_.already_clear;
    return Outcome::kAlreadyClear;
  }
  if (!fault->second.reports.empty()) {
    add(fault->second, ChangeKind::kPartlyCleared, step.sequence, step.at, step.changes);
    ++counts_.partly_cleared;
    return Outcome::kPartlyCleared;
  }
  end(fault, ChangeKind::kCleared, Severity::kCleared, step.sequence, step.at, step.changes);
  ++counts_.cleared;
  return Outcome::kCleared;
}

// Takes the reporter away from the fault that the record names as superseded.
// Answers with the alarm of that fault, or with nothing when the reporter does
// not report it.
std::optional<Alarms::Former> Alarms::supersede(const fe_fault_record& record, const Step& step) {
  if (record.clear_code == 0 || record.clear_code == record.code) return std::nullopt;
  const auto found = faults_.find(std::string_view(fault_dn(record.dn, record.clear_code)));
  if (found == faults_.end() || !take_back(found->second, step.reporter)) return std::nullopt;
  const ActiveFault& fault = found->second;
  Former former{fault.alarm, fault.alarm_since, fault.severity, fault.reports.empty()};
  if (former.goes_on) {
    // The alarm keeps its severity until the change that follows at once.
    end(found, ChangeKind::kSuperseded, former.severity, step.sequence, step.at, step.changes);
    ++counts_.superseded;
  } else {
    add(fault, ChangeKind::kPartlyCleared, step.sequence, step.at, step.changes);
    ++counts_.partly_cleared;
  }
  return former;
}

Outcome Alarms::raise(const fe_fault_record& record, const std::optional<Former>& former, const Step& step) {
  if (const auto found = faults_.find(std::string_view(record.fault_dn)); found != faults_.end()) {
    return refresh(found->second, profile_.severity_of(record), former, step);
  }
  // A reporter that was just taken away from another fault left its place to this
  // one, even where an earlier run left more than the limit.
  if (!former && reports_ >= most_reports_) {
    ++counts_.not_tracked;
    return Outcome::kNotTracked;
  }
  ActiveFault fault;
  fault.fault_dn = record.fault_dn;
  fault.code = record.code;
  fault.severity = profile_.severity_of(record);
  fault.fault = last_change_ + 1;
  fault.since = step.at;
  const bool goes_on = former && former->goes_on;
  fault.alarm = goes_on ? former->alarm : fault.fault;
  fault.alarm_since = goes_on ? former->since : step.at;
  report(fault, step);
  Change& change = add(fault, ChangeKind::kRaised, step.sequence, step.at, step.changes);
  change.before = goes_on ? former->severity : Severity::kCleared;
  change.other = former && !goes_on ? former->alarm : 0;
  ++counts_.raised;
  faults_.emplace(fault.fault_dn, std::move(fault));
  return Outcome::kRaised;
}

Outcome Alarms::refresh(ActiveFault& fault, Severity severity, const std::optional<Former>& former, const Step& step) {
  const bool is_new = std::ranges::find(fault.reports, step.reporter, &Report::reporter) == fault.reports.end();
  if (is_new && !former && reports_ >= most_reports_) {
    ++counts_.not_tracked;
    return Outcome::kNotTracked;
  }
  Severity before = fault.severity;
  if (former && former->goes_on) {
    // Both faults had an alarm; the older one goes on.
    const bool other_is_older = former->alarm < fault.alarm;
    Change& merged = add(fault, ChangeKind::kMerged, step.sequence, step.at, step.changes);
    merged.after = Severity::kCleared;
    merged.other = std::min(former->alarm, fault.alarm);
    if (other_is_older) {
      fault.alarm = former->alarm;
      fault.alarm_since = former->since;
      before = former->severity;
    } else {
      merged.alarm = former->alarm;
      merged.before = former->severity;
    }
    ++counts_.merged;
  }
  fault.severity = severity;  // another one than before when the profile was changed
  report(fault, step);
  add(fault, ChangeKind::kRefreshed, step.sequence, step.at, step.changes).before = before;
  ++counts_.refreshed;
  return Outcome::kRefreshed;
}

// Notes that the reporter reports the fault, with the record of this input.
void Alarms::report(ActiveFault& fault, const Step& step) {
  auto found = std::ranges::find(fault.reports, step.reporter, &Report::reporter);
  if (found == fault.reports.end()) {
    ++reports_;
    found = fault.reports.insert(found, Report{step.reporter, step.sequence, step.at, 0, 0, 0});
  }
  found->last = step.sequence;
  found->last_at = step.at;
  ++found->count;
  fault.shown = step.sequence;
  fault.updated = step.at;
  ++fault.count;
}

// Takes a reporter away from a fault, which then shows the latest record of those
// who still report it. Answers whether the reporter did report it.
bool Alarms::take_back(ActiveFault& fault, const Reporter& reporter) {
  const auto found = std::ranges::find(fault.reports, reporter, &Report::reporter);
  if (found == fault.reports.end()) return false;
  fault.reports.erase(found);
  --reports_;
  if (!fault.reports.empty()) fault.shown = std::ranges::max_element(fault.reports, {}, &Report::last)->last;
  return true;
}

void Alarms::withdraw(std::string_view fault_dn, Sequence sequence, Moment at, std::vector<Change>& changes) {
  const auto fault = faults_.find(fault_dn);
  if (fault == faults_.end()) return;
  reports_ -= fault->second.reports.size();
  fault->second.reports.clear();
  end(fault, ChangeKind::kWithdrawn, Severity::kCleared, sequence, at, changes);
  ++counts_.withdrawn;
}

void Alarms::end(Faults::iterator fault, ChangeKind kind, Severity after, Sequence sequence, Moment at,
                 std::vector<Change>& changes) {
  add(fault->second, kind, sequence, at, changes).after = after;
  faults_.erase(fault);
}

Change& Alarms::add(const ActiveFault& fault, ChangeKind kind, Sequence sequence, Moment at,
                    std::vector<Change>& changes) {
  return changes.emplace_back(Change{.number = ++last_change_,
                                     .sequence = sequence,
                                     .kind = kind,
                                     .at = at,
                                     .fault_dn = fault.fault_dn,
                                     .fault = fault.fault,
                                     .alarm = fault.alarm,
                                     .before = fault.severity,
                                     .after = fault.severity,
                                     .other = 0,
                                     .shown = fault.shown,
                                     .reporters = static_cast<std::uint32_t>(fault.reports.size())});
}

void Alarms::restore(ActiveFault fault) {
  reports_ += fault.reports.size();
  ++counts_.raised;
  std::string fault_dn = fault.fault_dn;
  faults_.insert_or_assign(std::move(fault_dn), std::move(fault));
}

const ActiveFault* Alarms::find(std::string_view fault_dn) const {
  const auto found = faults_.find(fault_dn);
  return found == faults_.end() ? nullptr : &found->second;
}

std::vector<const ActiveFault*> Alarms::in_order() const {
  std::vector<const ActiveFault*> faults;
  faults.reserve(faults_.size());
  for (const auto& [dn, fault] : faults_) faults.push_back(&fault);
  std::ranges::sort(faults, {}, &ActiveFault::fault);
  return faults;
}

}  // namespace polaiga::engine
