// What the mapping makes of each sensor, for whoever edits it.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "follow/sensor_levels.h"
#include "standard/sensor.h"

namespace polaiga::ipmi {

// A line for each row that takes a sensor, or one that says that none does, and a last one that counts. `state` reads
// the present state of a sensor; nothing: it is not known.
std::vector<std::string> check_report(const std::vector<Sensor>& sensors, const SensorLevels::Rows& rows,
                                      const std::function<std::optional<SensorState>(const Sensor&)>& state);

}  // namespace polaiga::ipmi
