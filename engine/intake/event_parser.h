// Reads a sensor event from one line of input, a JSON object.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "model/sensor_event.h"

namespace polaiga::engine {

inline constexpr std::size_t kLongestId = 64;

// Says what is wrong with a line, in printable characters.
struct BadLine : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Throws BadLine.
SensorEvent parse_sensor_event(std::string_view text);

// The members that an event may have, those that it must have first.
struct EventMember {
  std::string_view name;
  bool required;
};
std::vector<EventMember> event_members();

}  // namespace polaiga::engine
