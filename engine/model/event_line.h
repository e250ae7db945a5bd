// One line of input: a sensor event as a JSON object.
#pragma once

#include <polaiga/records.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "model/entities.h"
#include "model/moment.h"

namespace polaiga::engine {

struct EventLine {
  const Entity* entity = nullptr;
  fe_sensor_event event = {};
  std::optional<Moment> time;
  std::optional<std::string> id;  // the sender's own name for the event
};

inline constexpr std::size_t kLongestId = 64;

// Says what is wrong with a line, in printable characters.
struct BadLine : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Throws BadLine.
EventLine parse_event_line(std::string_view text);

// The members that an event may have, those that it must have first.
struct EventMember {
  std::string_view name;
  bool required;
};
std::vector<EventMember> event_members();

}  // namespace polaiga::engine
