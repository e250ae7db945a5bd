// A replay for programs: JSON Lines.
#pragma once

#include "report/replay_report.h"

namespace polaiga::engine {

class JsonReplayReport : public ReplayReport {
 public:
  std::string input(const RecordedInput& input) const override;
  std::string summary(const Alarms& alarms, const KeptRecords& records, const LineCounts& counts) const override;
};

}  // namespace polaiga::engine
