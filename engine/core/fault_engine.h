// The engine's core: an event goes through its filter, and what the record says
// happens to the active faults. There is no other way for it.
#pragma once

#include <polaiga/records.h>

#include <string>
#include <vector>

#include "alarms/active_faults.h"
#include "filter/services.h"
#include "model/sensor_event.h"

namespace polaiga::engine {

// A fault that went without a record.
struct Withdrawn {
  std::string fault_dn;
  Sequence raised = 0;  // the event that had raised it
};

// What came of an event.
struct Handled {
  bool reported = false;        // whether the filter filled the record
  fe_fault_record record = {};  // zero where the filter wrote nothing
  Outcome outcome;              // of a record that is reported
  Moment when = 0;              // the event's own time, else that of the call
  std::vector<Withdrawn> withdrawn;
};

class FaultEngine {
 public:
  // Binds the library's services to itself; there is one engine at a time.
  FaultEngine(std::int32_t platform, Log log);
  FaultEngine(const FaultEngine&) = delete;
  FaultEngine& operator=(const FaultEngine&) = delete;

  Handled handle(const SensorEvent& line, Moment now, Sequence sequence);

  // Gives the library an event that it has had before, for what it remembers of
  // it; the active faults stay as they are. Answers what the filter wrote.
  fe_fault_record rebuild(const SensorEvent& line);

  ActiveFaults& faults() { return faults_; }
  const ActiveFaults& faults() const { return faults_; }

 private:
  void withdraw(const std::string& fault_dn);

  ActiveFaults faults_;
  std::vector<Withdrawn> withdrawn_;
  bool rebuilding_ = false;
};

}  // namespace polaiga::engine
