// A replay for people.
#pragma once

#include "report/report.h"

namespace polaiga::engine {

class TextReport : public Report {
 public:
  explicit TextReport(bool coloured) : coloured_(coloured) {}

  std::string record(const Reported& reported) const override;
  std::string summary(const ActiveFaults& faults, const LineCounts& counts) const override;

 private:
  bool coloured_;
};

}  // namespace polaiga::engine
