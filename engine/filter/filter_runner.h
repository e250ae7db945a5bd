// Gives events to the library's filters.
#pragma once

#include <polaiga/records.h>

#include <cstdint>
#include <string>
#include <vector>

#include "filter/services.h"
#include "model/sensor_event.h"

namespace polaiga::engine {

// What a filter made of an event.
struct Filtered {
  bool reported = false;               // whether the filter reports a fault or a clear
  fe_fault_record record = {};         // zero where the filter wrote nothing
  std::vector<std::string> withdrawn;  // DNs of the faults that the library said are over
};

class FilterRunner {
 public:
  // Becomes the library's host: its services answer for this object. A process
  // has one library, and so one object of this class at a time.
  FilterRunner(std::int32_t platform, Log log);
  FilterRunner(const FilterRunner&) = delete;
  FilterRunner& operator=(const FilterRunner&) = delete;

  // Calls the filter of the event's entity. The library remembers the event. Throws
  // std::bad_alloc; the library may remember the event then, too.
  Filtered run(const SensorEvent& event);

 private:
  std::vector<std::string> withdrawn_;
};

}  // namespace polaiga::engine
