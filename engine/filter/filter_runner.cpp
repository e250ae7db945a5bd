#include "filter/filter_runner.h"

#include <new>
#include <utility>

namespace polaiga::engine {

FilterRunner::FilterRunner(std::int32_t platform, Log log) {
  provide_services([this](const std::string& fault_dn) { withdrawn_.push_back(fault_dn); }, platform, log);
}

Filtered FilterRunner::run(const SensorEvent& event) {
  Filtered filtered;
  fe_sensor_event copy = event.event;  // some filters write into the caller's event
  fe_fault_record* record = &filtered.record;
  withdrawn_.clear();
  filtered.reported = event.entity->filter(&copy, &record) == 0;
  if (take_out_of_memory()) throw std::bad_alloc();
  filtered.withdrawn = std::exchange(withdrawn_, {});
  return filtered;
}

}  // namespace polaiga::engine
