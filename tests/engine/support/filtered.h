// Sensor events as tests write them, and what the real filters make of them.
#pragma once

#include <polaiga/records.h>
#include <polaiga/tables.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "filter/services.h"
#include "model/sensor_event.h"
#include "support/record.h"

namespace polaiga::engine::test {

struct EventOf {
  const char* entity = "sys_board";
  std::string sensor = "SENSOR";
  std::int32_t offset = 0;
  std::int32_t state = 1;
  std::int32_t instance = 1;
  std::int32_t group = 0;
  std::uint8_t entity_id = 0;  // 0: that of the entity
  std::uint8_t subtype = 0;
};

// Read as a line of input is: the six thresholds come from threshold sensors.
inline SensorEvent make_event(const EventOf& of) {
  SensorEvent event;
  event.entity = find_entity(of.entity);
  event.event.entity_id = of.entity_id != 0 ? of.entity_id : event.entity->entity_id;
  event.event.entity_subtype = of.subtype;
  event.event.group_instance = of.group;
  event.event.entity_instance = of.instance;
  event.event.event_offset = of.offset;
  event.event.event_state = of.state;
  fill(event.event.sensor_name, of.sensor);
  if (of.offset >= FE_OFFSET_LOWER_NON_CRITICAL && of.offset <= FE_OFFSET_UPPER_NON_RECOVERABLE) {
    event.event.reading_type = FE_READING_THRESHOLD;
  }
  return event;
}

struct Filtered {
  bool reported = false;
  fe_fault_record record = {};
  std::vector<std::string> withdrawn;  // fault DNs
};

// Gives events to the filters. There is one at a time.
class Filters {
 public:
  Filters() {
    provide_services([this](const std::string& fault_dn) { withdrawn_.push_back(fault_dn); }, 0, Log::kOff);
  }
  ~Filters() {
    provide_services([](const std::string& /*fault_dn*/) {}, 0, Log::kOff);
  }
  Filters(const Filters&) = delete;
  Filters& operator=(const Filters&) = delete;

  Filtered filter(const SensorEvent& event) {
    fe_sensor_event copy = event.event;  // some filters write into it
    Filtered filtered;
    fe_fault_record* out = &filtered.record;
    filtered.reported = event.entity->filter(&copy, &out) == 0;
    filtered.withdrawn = std::exchange(withdrawn_, {});
    return filtered;
  }

 private:
  std::vector<std::string> withdrawn_;
};

}  // namespace polaiga::engine::test
