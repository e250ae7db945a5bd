// The events of a log that another program saved.
#pragma once

#include <functional>
#include <span>
#include <string>
#include <vector>

#include "follow/sensor_levels.h"
#include "standard/sel_record.h"
#include "standard/sensor.h"

namespace polaiga::ipmi {

// As lines of JSON. `tell` is told of sensors without a row.
std::vector<std::string> saved_events(const std::vector<SelRecord>& records, const std::vector<Sensor>& sensors,
                                      const SensorLevels::Rows& rows, const SensorLevels::Tell& tell);

}  // namespace polaiga::ipmi
