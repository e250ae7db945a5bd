// A replay for people.
#pragma once

#include "report/replay_report.h"
#include "report/table.h"

namespace polaiga::engine {

class TextReplayReport : public ReplayReport {
 public:
  explicit TextReplayReport(bool coloured, Room room = std::nullopt) : coloured_(coloured), room_(room) {}

  std::string input(const RecordedInput& input) const override;
  std::string summary(const Alarms& alarms, const KeptRecords& records, const LineCounts& counts) const override;

 private:
  std::string record_line(const RecordedInput& input) const;
  std::string withdrawal_lines(const RecordedInput& input) const;

  bool coloured_;
  Room room_;
};

}  // namespace polaiga::engine
