// A mapping for tests, made by hand, and what is sent as short texts.
#pragma once

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "follow/sensor_levels.h"
#include "mapping/ladder.h"
#include "model/entities.h"

namespace polaiga::ipmi::test {

inline Rung rung(std::uint8_t offset, Step up, Step down, bool is_bad_when_set = true,
                 std::optional<std::uint8_t> data_3 = std::nullopt) {
  return {.when = {{offset, is_bad_when_set, data_3}}, .up = {up}, .down = {down}};
}

inline Mapped mapped(const char* entity, const Sensor& sensor, std::int32_t instance, Ladder ladder) {
  return {.target = {.entity = engine::find_entity(entity),
                     .sensor = sensor.name.empty() ? "NAMELESS" : sensor.name,
                     .instance = instance,
                     .group = 0,
                     .entity_id = engine::find_entity(entity)->entity_id},
          .ladder = std::make_shared<const Ladder>(std::move(ladder)),
          .line = 1};
}

inline Ladder upper(Held held = Held::kState) {
  return {.name = "upper",
          .held = held,
          .tells_presence = false,
          .is_choice = false,
          .rungs = {rung(7, {117, 4}, {117, 0}), rung(9, {118, 5}, {118, 4}), rung(11, {119, 6}, {119, 5})}};
}

inline Ladder single(const char* name, Held held, bool tells_presence, Rung only) {
  return {.name = name, .held = held, .tells_presence = tells_presence, .is_choice = false, .rungs = {std::move(only)}};
}

// TEMP... and HOT...: upper thresholds of the board. PSn...: a supply, its presence (offset 0 not set), a failure
// (offset 1) and configuration errors (offset 6, by event data 3). PSnTEMP: upper thresholds of a supply. ECC...:
// offset 1 by records alone. DISKn: missing (offset 0 not set), by a record, and there again by its state, too.
// SEL_FULLNESS: how full the log is. Sensor type C5h without a name: offset 0 by records. LEFT...: a row that leaves it
// out.
inline SensorLevels::Rows rows() {
  const auto of = [](const Sensor& sensor) -> std::vector<Mapped> {
    const std::string& name = sensor.name;
    if (name.starts_with("TEMP") || name.starts_with("HOT")) {
      return {mapped("sys_board", sensor, sensor.key.number, upper())};
    }
    if (name.starts_with("PS") && name.ends_with("TEMP")) return {mapped("ps", sensor, name.at(2) - '0', upper())};
    if (name.starts_with("PS")) {
      const std::int32_t instance = name.at(2) - '0';
      return {
          mapped("ps", sensor, instance, single("failure", Held::kState, false, rung(1, {883, 1}, {883, 0}))),
          mapped("ps", sensor, instance, single("present", Held::kState, true, rung(0, {30, 1}, {30, 0}, false))),
          mapped("ps", sensor, instance, single("config1", Held::kState, false, rung(6, {36, 1}, {36, 0}, true, 1))),
          mapped("ps", sensor, instance, single("config2", Held::kState, false, rung(6, {37, 1}, {37, 0}, true, 2)))};
    }
    if (name.starts_with("ECC")) {
      return {mapped("mem", sensor, sensor.key.number, single("ecc", Held::kLog, false, rung(1, {72, 1}, {72, 0})))};
    }
    if (name.starts_with("DISK")) {
      Ladder missing = single("missing", Held::kLog, false, rung(0, {21, 1}, {21, 0}, false));
      missing.is_ended_by_state = true;
      return {mapped("storage", sensor, sensor.key.number, missing)};
    }
    if (name == "SEL_FULLNESS") {
      return {
          mapped("sys_board", sensor, 1,
                 {.name = "log-full",
                  .held = Held::kState,
                  .tells_presence = false,
                  .is_choice = false,
                  .rungs = {rung(7, {117, 1}, {117, 0}), rung(9, {118, 1}, {118, 1}), rung(11, {119, 1}, {119, 1})}})};
    }
    if (sensor.sensor_type == 0xC5) {
      return {mapped("sys_board", sensor, sensor.key.number,
                     single("own", Held::kState, false, rung(0, {116, 6}, {116, 5})))};
    }
    return {};
  };
  return {.of = of, .line_of = [of](const Sensor& sensor) -> std::size_t {
            return sensor.name.starts_with("LEFT") ? 7 : of(sensor).empty() ? 0 : 1;
          }};
}

// "TEMP1 117/4"
inline std::string text_of(const Target& target, const Step& step) {
  return target.sensor + " " + std::to_string(step.offset) + "/" + std::to_string(step.state);
}

using Texts = std::vector<std::string>;

}  // namespace polaiga::ipmi::test
