// How full a controller's log is, told as the state of a sensor that the program itself makes.
#pragma once

#include "controller/controller.h"
#include "follow/sensor_levels.h"
#include "standard/sensor.h"

namespace polaiga::ipmi {

// A threshold sensor named SEL_FULLNESS. No controller has a sensor of its owner.
const Sensor& fullness_sensor();

// The rows of a mapping, with one for it where the mapping has none of its own.
SensorLevels::Rows with_fullness(SensorLevels::Rows rows);

// Offsets 7, 9 and 11 from 75, 90 and 100 % on. A log that is a ring is never full: the oldest record goes.
SensorState fullness(const LogInfo& info, bool is_ring);

bool is_full(const LogInfo& info);

}  // namespace polaiga::ipmi
