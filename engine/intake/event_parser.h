// Reads a sensor event from a JSON object. docs/events.md describes the members.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "model/sensor_event.h"

namespace polaiga::engine {

inline constexpr std::size_t kLongestId = 64;  // bytes

// The text is not a sensor event. what() says why, without control characters.
struct BadLine : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// `text` is one JSON object, with nothing but blanks before and behind it. Throws BadLine.
SensorEvent parse_sensor_event(std::string_view text);

// The members that an event may have. Those that it must have come first.
struct EventMember {
  std::string_view name;
  bool required;
};
std::vector<EventMember> event_members();

}  // namespace polaiga::engine
