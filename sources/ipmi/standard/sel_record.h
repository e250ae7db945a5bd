// A record of a controller's system event log, the SEL (IPMI 2.0, section 32).
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "model/moment.h"
#include "standard/sensor.h"

namespace polaiga::ipmi {

using SelBytes = std::array<std::uint8_t, 16>;

// What a record of type 02h tells of a sensor.
struct SelEvent {
  SensorKey key;
  std::uint8_t sensor_type = 0;
  std::uint8_t reading_type = 0;  // without the direction
  bool is_deasserted = false;
  std::uint8_t offset = 0;                // 0 to 15
  std::array<std::uint8_t, 3> data = {};  // event data 1 to 3

  bool operator==(const SelEvent&) const = default;
};

struct SelRecord {
  SelBytes bytes = {};
  std::uint16_t id = 0;
  std::uint8_t type = 0;
  std::optional<engine::Moment> time;  // nothing: the record has none, or the controller's clock was not set
  std::optional<SelEvent> event;       // nothing: the record is of another type, or of another format of events
};

SelRecord parse_sel_record(const SelBytes& bytes);

// The record as 32 hexadecimal digits, in the order of its bytes.
std::string hexadecimal(const SelBytes& bytes);

}  // namespace polaiga::ipmi
