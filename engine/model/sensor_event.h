// A sensor event with what its source says of it beside the filter's own input.
#pragma once

#include <polaiga/records.h>

#include <optional>
#include <string>

#include "model/entities.h"
#include "model/moment.h"

namespace polaiga::engine {

struct SensorEvent {
  const Entity* entity = nullptr;
  fe_sensor_event event = {};
  std::optional<Moment> time;     // when it happened, if the source says it
  std::optional<std::string> id;  // the source's own name for the event
};

}  // namespace polaiga::engine
