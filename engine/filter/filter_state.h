// What the library remembers lives in its memory alone. This knows which of the
// events so far shaped what it remembers now; given to a fresh library in their
// order, they bring it back.
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

// Things remembered, each apart from the others: "fan 3", "cpu row 12". The
// events that shaped it come in their order.
using Slot = std::string;

class FilterState {
 public:
  // Notes an event that the library has been given, with the record that it
  // filled, in part or in whole.
  void note(Sequence sequence, const SensorEvent& line, const fe_fault_record& record);

  // Of all slots, ascending.
  std::set<Sequence> events() const;

  // Slots that changed since the last call, with their events now.
  std::map<Slot, std::vector<Sequence>> take_changes();

 private:
  // An event that may change how full the log is said to be, and what it led to.
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

  std::map<Slot, Sequence> last_;
  std::vector<LogStep> log_;
  std::set<Slot> changed_;
};

}  // namespace polaiga::engine
