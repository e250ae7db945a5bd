#include "follow/log_fullness.h"

#include <memory>

#include "model/entities.h"

namespace polaiga::ipmi {
namespace {

constexpr unsigned kRecordSize = 16;

struct Threshold {
  unsigned percent;
  std::uint8_t offset;  // of a threshold sensor: upper non-critical, critical, non-recoverable, going high
  Step up;
  Step down;
};
// The filter goes from one level to the next, and back, with state 1 of the higher one.
const Threshold kThresholds[] = {
    {75, 7, {117, 1}, {117, 0}}, {90, 9, {118, 1}, {118, 1}}, {100, 11, {119, 1}, {119, 1}}};

Ladder make_ladder() {
  Ladder ladder{.name = "fullness", .held = Held::kState, .tells_presence = false, .is_choice = false, .rungs = {}};
  for (const Threshold& threshold : kThresholds) {
    ladder.rungs.push_back({.when = {{.offset = threshold.offset, .is_bad_when_set = true, .event_data_3 = {}}},
                            .up = {threshold.up},
                            .down = {threshold.down}});
  }
  return ladder;
}

}  // namespace

const Sensor& fullness_sensor() {
  // 10h: event logging disabled, where IPMI has the offsets "log full" and "log almost full".
  static const Sensor sensor{.key = {},
                             .name = "SEL_FULLNESS",
                             .entity_id = 7,
                             .entity_instance = 1,
                             .sensor_type = 0x10,
                             .reading_type = kThresholdReading,
                             .is_event_only = false};
  return sensor;
}

namespace {

Mapped fullness_row() {
  static const auto ladder = std::make_shared<const Ladder>(make_ladder());
  const engine::Entity* const entity = engine::find_entity("sys_board");
  return {.target = {.entity = entity,
                     .sensor = fullness_sensor().name,
                     .instance = 1,
                     .group = 0,
                     .entity_id = entity->entity_id},
          .ladder = ladder,
          .line = 0};
}

}  // namespace

SensorLevels::Rows with_fullness(SensorLevels::Rows rows) {
  auto of = [of = rows.of, line_of = rows.line_of](const Sensor& sensor) {
    std::vector<Mapped> found = of(sensor);
    const bool is_fullness = sensor.key == fullness_sensor().key && sensor.name == fullness_sensor().name;
    if (is_fullness && found.empty() && (!line_of || line_of(sensor) == 0)) found.push_back(fullness_row());
    return found;
  };
  return {std::move(of), std::move(rows.line_of)};
}

bool is_full(const LogInfo& info) { return info.free_bytes < kRecordSize; }

SensorState fullness(const LogInfo& info, bool is_ring) {
  const unsigned used = info.entries * kRecordSize;
  const unsigned all = used + info.free_bytes;
  SensorState state{.is_available = true, .asserted = 0};
  // So much is free, or more.
  constexpr unsigned kMostFree = 0xFFFF;
  if (is_ring || all == 0 || info.free_bytes == kMostFree) return state;
  for (const Threshold& threshold : kThresholds) {
    const bool is_over = threshold.percent == 100 ? is_full(info) : used * 100 >= all * threshold.percent;
    if (is_over) state.asserted = static_cast<std::uint16_t>(state.asserted | 1U << threshold.offset);
  }
  return state;
}

}  // namespace polaiga::ipmi
