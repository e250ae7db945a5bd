// A line of input as the engine takes it: a sensor event, or a complaint about what is wrong with the line.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "intake/line_buffer.h"
#include "model/sensor_event.h"

namespace polaiga::engine {

struct EventLine {
  std::uint64_t number = 0;  // of the line in its input; the first line is 1, and blank lines count
  std::optional<SensorEvent> event;
  std::string complaint;  // what is wrong with the line, if it is no event

  // The complaint behind the place that it is about: "INPUT:NUMBER: what is wrong".
  std::string complaint_in(const std::string& input) const;
};

// Reads a line that a LineBuffer found: `found` is kLine or kTooLong. Returns nullopt for a blank line, which is to be
// passed over.
std::optional<EventLine> read_event_line(std::uint64_t number, LineBuffer::Result found, std::string_view line);

}  // namespace polaiga::engine
