// What is sent to the engine when a sensor gets worse or better, rung by rung.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "model/entities.h"

namespace polaiga::ipmi {

// An event for the engine: its members `offset` and `state`.
struct Step {
  std::int32_t offset = 0;
  std::int32_t state = 0;

  bool operator==(const Step&) const = default;
};

// What is known of a sensor.
struct Bits {
  std::uint16_t asserted = 0;                     // a bit for each event offset that is in force
  std::optional<std::uint8_t> event_data_3 = {};  // of the record that asserted last, where it is known
  // A bit for each event offset of which is known whether it is in force. A reading tells of all offsets, a log record
  // of one. An offset that nothing has told of puts a sensor on no rung, not even on one for what is not asserted.
  std::uint16_t known = 0xFFFF;

  bool operator==(const Bits&) const = default;
};

// One of the things that put a sensor on a rung.
struct Condition {
  std::uint8_t offset = 0;                        // the event offset that it looks at
  bool is_bad_when_set = true;                    // false: it holds while the offset is not asserted
  std::optional<std::uint8_t> event_data_3 = {};  // only with that event data 3

  bool operator==(const Condition&) const = default;
};

struct Rung {
  std::vector<Condition> when;  // a sensor is on this rung while one of them holds
  std::vector<Step> up;         // sent when the sensor comes to this rung from the one below
  std::vector<Step> down;       // sent when it goes back to the one below
};

// Whether a sensor's present state can be read (`state`), or only its log records count (`log`).
enum class Held : std::uint8_t { kState, kLog };

struct Ladder {
  std::string name;  // for people and for the state file; unique for a sensor
  Held held = Held::kState;
  bool tells_presence = false;     // while the sensor is on a rung, its unit is missing, and all else of the unit waits
  bool is_choice = false;          // the rungs are texts of one fault; only that of the highest rung is sent
  std::vector<Rung> rungs = {};    // from the mildest
  bool is_ended_by_state = false;  // of one that follows the log: the present state may take the sensor off its rung

  // The highest rung that the bits put the sensor on, from 1; 0: none.
  int level(const Bits& bits) const;
  // What is sent to bring the engine from one level to another, rung by rung. Both are 0 to rungs.size().
  std::vector<Step> steps(int from, int to) const;
};

// Which object of the engine a sensor tells of: the other members of its events.
struct Target {
  const engine::Entity* entity = nullptr;
  std::string sensor;  // at most 19 bytes
  std::int32_t instance = 1;
  std::int32_t group = 0;
  std::uint8_t entity_id = 0;

  bool operator==(const Target&) const = default;
};

}  // namespace polaiga::ipmi
