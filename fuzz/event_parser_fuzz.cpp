// Arbitrary bytes are either a sensor event within its bounds, which reads the same when it is written out in full, or
// a bad line with a complaint that can be shown.
#include <cstdint>
#include <cstring>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "check.h"
#include "intake/event_parser.h"

namespace polaiga::fuzz {
namespace {

using engine::SensorEvent;

constexpr std::size_t kLongestComplaint = 200;

std::string written(const SensorEvent& line) {
  nlohmann::json members = {{"entity", line.entity->name},
                            {"sensor", line.event.sensor_name},
                            {"offset", line.event.event_offset},
                            {"state", line.event.event_state},
                            {"instance", line.event.entity_instance},
                            {"group", line.event.group_instance},
                            {"entity_id", line.event.entity_id},
                            {"entity_subtype", line.event.entity_subtype},
                            {"reading_type", line.event.reading_type}};
  if (line.time) members["time"] = *line.time;
  if (line.id) members["id"] = *line.id;
  return members.dump();  // throws for what is not UTF-8
}

void check_event(const SensorEvent& line, std::string_view text) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  check(nlohmann::json::accept(text), "what another parser takes for JSON is JSON");
  check(line.entity != nullptr, "an event has an entity");
  check(std::memchr(line.event.sensor_name, 0, sizeof line.event.sensor_name) != nullptr, "a sensor's name ends");
  check(!line.time || (*line.time >= 0 && *line.time <= engine::kLastMoment), "a time is between 1970 and 9999");
  check(!line.id || (!line.id->empty() && line.id->size() <= engine::kLongestId), "an id has 1 to 64 bytes");

  const SensorEvent again = engine::parse_sensor_event(written(line));
  check(again.entity == line.entity, "the entity reads the same");
  check(std::memcmp(&again.event, &line.event, sizeof line.event) == 0, "the event reads the same");
  check(again.time == line.time, "the time reads the same");
  check(again.id == line.id, "the id reads the same");
}

void check_complaint(std::string_view complaint) {
  check(!complaint.empty(), "a complaint says something");
  check(complaint.size() <= kLongestComplaint, "a complaint is short");
  check(is_printable(complaint), "a complaint can be shown");
}

}  // namespace
}  // namespace polaiga::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  std::optional<polaiga::engine::SensorEvent> event;
  try {
    event = polaiga::engine::parse_sensor_event(text);
  } catch (const polaiga::engine::BadLine& bad) {
    polaiga::fuzz::check_complaint(bad.what());
  }
  if (event) polaiga::fuzz::check_event(*event, text);
  return 0;
}
