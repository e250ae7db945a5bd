// A replay for programs: JSON Lines.
#pragma once

#include "report/report.h"

namespace polaiga::engine {

class JsonReport : public Report {
 public:
  std::string record(const Reported& reported) const override;
  std::string summary(const ActiveFaults& faults, const LineCounts& counts) const override;
};

}  // namespace polaiga::engine
