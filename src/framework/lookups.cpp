#include "framework/lookups.h"

#include "framework/text.h"

namespace polaiga {

std::int32_t find_id(const fe_exceptional_row* row, const char* sensor_name) {
  const std::string_view name = sensor_name;
  while (row->id != kNotListed && !holds_name(row->sensor_name, name)) ++row;
  return row->id;
}

}  // namespace polaiga

std::int32_t expectional_fan_sensor_lookup(const char* sensor_name) {
  return polaiga::find_id(exceptional_fan_sensor_map, sensor_name);
}

std::int32_t expectional_sensor_lookup(const char* sensor_name) {
  return polaiga::find_id(exceptional_sensor_map, sensor_name);
}

std::int32_t exceptional_sensor_lookup(const char* sensor_name) {
  return polaiga::find_id(exceptional_sensor_map_cpu, sensor_name);
}
