// How FreeIPMI's tools call the events of sensors.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "standard/sensor.h"

namespace polaiga::ipmi {

// The offset of an event that is called so for such a sensor; nothing: there is none of that text.
std::optional<std::uint8_t> event_offset(const Sensor& sensor, std::string_view text);

}  // namespace polaiga::ipmi
