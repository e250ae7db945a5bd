// Makes sensor map rows at compile time.
#pragma once

#include <polaiga/tables.h>

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace polaiga {

// Copies a text into its field. A text that is too long for it does not compile.
template <std::size_t N>
constexpr void put(char (&field)[N], const char* text) {
  std::size_t size = 0;
  for (; text[size] != '\0'; ++size) field[size] = text[size];
  if (size >= N) __builtin_unreachable();
}

// What the rows of one kind of fault have in common.
struct RowKind {
  std::uint32_t base_code;
  std::uint32_t cause_id;
  const char* fault_name;
  const char* cause;
  std::uint32_t threshold_codes[FE_THRESHOLD_CODES];  // for the offsets 115 to 119
};

// What the rows of one object have in common.
struct RowObject {
  std::uint8_t entity_id;
  const char* dn;
  const char* rn;
};

constexpr fe_sensor_map_row make_row(std::uint8_t number, const char* sensor_name, const RowObject& object,
                                     std::uint8_t subtype, std::uint8_t sensor_class, const RowKind& kind,
                                     const char* descr_format) {
  fe_sensor_map_row row{};
  put(row.sensor_name, sensor_name);
  row.entity_id = object.entity_id;
  row.row_number = number;
  row.subtype = subtype;
  row.sensor_class = sensor_class;
  row.base_code = kind.base_code;
  row.cause_id = kind.cause_id;
  put(row.fault_name, kind.fault_name);
  put(row.cause, kind.cause);
  put(row.dn, object.dn);
  put(row.rn, object.rn);
  put(row.descr_format, descr_format);
  for (int code = 0; code < FE_THRESHOLD_CODES; ++code) row.threshold_codes[code] = kind.threshold_codes[code];
  return row;
}

// Proves that the rows are numbered from 1 without a gap.
template <std::size_t N>
constexpr bool numbered(const fe_sensor_map_row (&rows)[N]) {
  for (std::size_t row = 0; row < N; ++row) {
    if (rows[row].row_number != row + 1) return false;
  }
  return true;
}

}  // namespace polaiga
