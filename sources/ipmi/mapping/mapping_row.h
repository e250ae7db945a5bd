// A row of a mapping file: which sensors it takes, and what becomes of them.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "mapping/event_name.h"
#include "mapping/ladder.h"
#include "mapping/name_pattern.h"
#include "standard/sensor.h"

namespace polaiga::ipmi {

// Where a number of an event comes from.
struct NumberSource {
  enum class From : std::uint8_t { kFixed, kUnit, kGroup, kEntityInstance };
  From from = From::kFixed;
  std::int32_t fixed = 0;

  std::int32_t of(const Sensor& sensor, const NameNumbers& numbers) const;
};

// Which sensors a row takes. Nothing: any.
struct SensorCondition {
  NamePattern name;
  std::optional<std::uint8_t> sensor_type;
  std::optional<std::uint8_t> reading_type;
  std::optional<std::uint8_t> entity_id;  // that of the SDR

  std::optional<NameNumbers> match(const Sensor& sensor) const;
};

struct MappingRow {
  SensorCondition sensors;
  std::string conditions = {};             // the cells that say it, as they are
  std::size_t section = 0;                 // number of the part of the file that it is in
  std::size_t line = 0;                    // in the file
  const engine::Entity* entity = nullptr;  // null: the sensors are left out
  EventName name{""};
  NumberSource instance = {};
  NumberSource group = {};
  std::uint8_t entity_id = 0;
  std::vector<std::shared_ptr<const Ladder>> ladders = {};

  Target target(const Sensor& sensor, const NameNumbers& numbers) const;
};

// The rows of a mapping file, in its order. Rows of a section with the same conditions that follow each other tell of
// several objects. Throws engine::TableError.
std::vector<std::shared_ptr<const MappingRow>> read_mapping(std::string_view text, const std::string& file);

}  // namespace polaiga::ipmi
