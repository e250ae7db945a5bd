#include "intake/event_line.h"

#include "intake/event_parser.h"

namespace polaiga::engine {
namespace {

bool is_blank(std::string_view line) { return line.find_first_not_of(" \t\r") == std::string_view::npos; }

}  // namespace

std::string EventLine::complaint_in(const std::string& input) const {
  return input + ":" + std::to_string(number) + ": " + complaint;
}

std::optional<EventLine> read_event_line(std::uint64_t number, LineBuffer::Result found, std::string_view line) {
  EventLine read{.number = number, .event = std::nullopt, .complaint = {}};
  if (found == LineBuffer::Result::kTooLong) {
    read.complaint = "the line is over 64 KiB long";
    return read;
  }
  if (is_blank(line)) return std::nullopt;
  try {
    read.event = parse_sensor_event(line);
  } catch (const BadLine& bad) {
    read.complaint = bad.what();
  }
  return read;
}

}  // namespace polaiga::engine
