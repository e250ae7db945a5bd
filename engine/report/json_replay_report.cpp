#include "report/json_replay_report.h"

#include "report/json_forms.h"

namespace polaiga::engine {

std::string JsonReplayReport::input(const RecordedInput& input) const { return input_form(input).line(); }

std::string JsonReplayReport::summary(const Alarms& alarms, const KeptRecords& records,
                                      const LineCounts& counts) const {
  JsonArray active;
  for (const ActiveFault* fault : alarms.in_order()) {
    active.add(active_fault_form(*fault, records.shown(*fault), alarms.profile()));
  }
  const AlarmCounts& changes = alarms.counts();
  JsonObject numbers;
  numbers.add("events", counts.events)
      .add("raised", changes.raised)
      .add("refreshed", changes.refreshed)
      .add("partly_cleared", changes.partly_cleared)
      .add("cleared", changes.cleared)
      .add("superseded", changes.superseded)
      .add("withdrawn", changes.withdrawn)
      .add("merged", changes.merged)
      .add("already_clear", changes.already_clear)
      .add("not_tracked", changes.not_tracked)
      .add("of_no_interest", counts.of_no_interest)
      .add("bad_lines", counts.bad_lines);
  JsonObject summary;
  summary.add("active", active).add("counts", numbers);
  return summary.line();
}

}  // namespace polaiga::engine
