// How full a controller's log is, told as the state of a sensor that the program itself makes.
#pragma once

#include "controller/controller.h"
#include "standard/sensor.h"

namespace polaiga::ipmi {

// A threshold sensor named SEL_FULLNESS. No controller has a sensor of its owner.
const Sensor& fullness_sensor();

// Offsets 7, 9 and 11 from 75, 90 and 100 % on. A log that is a ring is never full: the oldest record goes.
SensorState fullness(const LogInfo& info, bool is_ring);

bool is_full(const LogInfo& info);

}  // namespace polaiga::ipmi
