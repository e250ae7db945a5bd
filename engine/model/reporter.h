// Who reports a fault.
#pragma once

#include <compare>
#include <cstdint>
#include <string>

#include "model/sensor_event.h"

namespace polaiga::engine {

// The entity, sensor name and instance of an event, as they came: some filters
// write other values into their copy of the event.
struct Reporter {
  const Entity* entity = nullptr;
  std::string sensor;
  std::int32_t instance = 0;

  auto operator<=>(const Reporter&) const = default;
};

inline Reporter reporter_of(const SensorEvent& event) {
  return {event.entity, event.event.sensor_name, event.event.entity_instance};
}

}  // namespace polaiga::engine
