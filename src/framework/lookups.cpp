// The exported lookups in the exceptional lists.
#include <polaiga/tables.h>

#include <cstdint>
#include <cstring>

namespace {

constexpr std::int32_t kEndOfList = -1;

// The name in the last row is never compared.
std::int32_t id_of(const fe_exceptional_row* row, const char* sensor_name) {
  for (; row->id != kEndOfList; ++row) {
    if (std::strncmp(row->sensor_name, sensor_name, sizeof row->sensor_name) == 0) return row->id;
  }
  return kEndOfList;
}

}  // namespace

std::int32_t expectional_fan_sensor_lookup(const char* sensor_name) {
  return id_of(exceptional_fan_sensor_map, sensor_name);
}

std::int32_t expectional_sensor_lookup(const char* sensor_name) { return id_of(exceptional_sensor_map, sensor_name); }

std::int32_t exceptional_sensor_lookup(const char* sensor_name) {
  return id_of(exceptional_sensor_map_cpu, sensor_name);
}
