#include "mapping/mapping_row.h"

namespace polaiga::ipmi {

std::int32_t NumberSource::of(const Sensor& sensor, const NameNumbers& numbers) const {
  switch (from) {
    case From::kUnit:
      return numbers.unit;
    case From::kGroup:
      return numbers.group;
    case From::kEntityInstance:
      return sensor.entity_instance;
    case From::kFixed:
      break;
  }
  return fixed;
}

std::optional<NameNumbers> SensorCondition::match(const Sensor& sensor) const {
  if (sensor_type && *sensor_type != sensor.sensor_type) return std::nullopt;
  if (reading_type && *reading_type != sensor.reading_type) return std::nullopt;
  if (entity_id && *entity_id != sensor.entity_id) return std::nullopt;
  return name.match(sensor.name);
}

Target MappingRow::target(const Sensor& sensor, const NameNumbers& numbers) const {
  return {.entity = entity,
          .sensor = name.of(sensor, numbers),
          .instance = instance.of(sensor, numbers),
          .group = group.of(sensor, numbers),
          .entity_id = entity_id};
}

}  // namespace polaiga::ipmi
