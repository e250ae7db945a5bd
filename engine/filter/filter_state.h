// The filters keep state in the library's memory: which units are missing, the last
// state of each sensor row, how full the event log is said to be. A restart loses
// that memory. FilterState knows which of the events so far the library must be given
// again, in their order, to rebuild it.
//
// So this class describes the filters' state a second time. The test
// filter_state_rebuild_test compares the library's memory with a rebuilt one and
// fails when a filter begins to keep state that is not described here.
#pragma once

#include <polaiga/records.h>

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "model/change.h"
#include "model/fault.h"
#include "model/sensor_event.h"

namespace polaiga::engine {

// The name of one part of the filters' state: "fan 3", "cpu row 12". Each part is
// rebuilt from events of its own.
using Slot = std::string;

class FilterState {
 public:
  // Notes an event that the library was given, with the record that the filter
  // filled. A filter that rejects an event may have filled a part of the record.
  void note(Sequence sequence, const SensorEvent& line, const fe_fault_record& record);

  // The events that rebuild all of the state. They must be given in this order.
  std::set<Sequence> events() const;

  // The slots that changed since the last call, each with the events that rebuild it now.
  std::map<Slot, std::vector<Sequence>> take_changes();

 private:
  // An event that may change how full the event log is said to be, the slot of its
  // sensor row, and the fullness after it.
  struct LogStep {
    Sequence sequence;
    Slot row;
    std::uint8_t fullness;
  };

  void set(const Slot& slot, Sequence sequence);
  void note_unit(const SensorEvent& line, const fe_fault_record& record, Sequence sequence);
  void note_row(const SensorEvent& line, Sequence sequence);
  void note_log(const fe_sensor_event& event, const Slot& row, Sequence sequence);
  void shorten_log();

  std::map<Slot, Sequence> last_;  // of each slot but that of the log, the one event that rebuilds it
  std::vector<LogStep> log_;       // the events that rebuild the fullness of the log
  std::set<Slot> changed_;         // since the last take_changes()
};

}  // namespace polaiga::engine
