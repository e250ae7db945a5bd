// How FreeIPMI's tools call the events of sensors.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "standard/sensor.h"

namespace polaiga::ipmi {

// The offset of the event that FreeIPMI's tools print as `text` for this sensor. Nothing: they print no such text.
std::optional<std::uint8_t> event_offset(const Sensor& sensor, std::string_view text);

}  // namespace polaiga::ipmi
