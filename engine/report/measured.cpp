#include "report/measured.h"

#include <algorithm>

namespace polaiga::engine {
namespace {

// When the time looked at begins, if not all that the ledger has is looked at. Retention takes alarms that are over, so
// what is left of the time before would be measured wrong.
std::optional<Moment> beginning(const LedgerReach& reach, const std::optional<Moment>& newer_than, Moment now) {
  if (!newer_than) return reach.gone_until;
  return std::max(now - *newer_than, reach.gone_until.value_or(0));
}

// The same for people. Events may bring times from before the ledger was there.
Moment since(const std::optional<Moment>& raised_after, const LedgerReach& reach, const Measures& measures) {
  if (reach.gone_until) return *raised_after;
  const Moment first = std::min(reach.created, measures.first_new.value_or(reach.created));
  return std::max(first, raised_after.value_or(first));
}

}  // namespace

Measured measure(LedgerReader& reader, const MeasuredWhat& what, Moment now) {
  const LedgerReach reach = reader.reach();
  const auto raised_after = beginning(reach, what.newer_than, now);
  Measuring measuring(now, raised_after, what.chattering);
  reader.alarm_facts(what.under, [&](const AlarmFact& fact) { measuring.add(fact); });
  Measured measured{
      .measures = measuring.result(), .now = now, .since = 0, .under = what.under, .chattering = what.chattering};
  measured.since = since(raised_after, reach, measured.measures);
  return measured;
}

}  // namespace polaiga::engine
