// Images of the exported tables. Their bytes are placed one by one, without the types that
// the library declares for them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "support/library.h"

namespace polaiga::test {

using Bytes = std::vector<unsigned char>;

// Puts a text, without its NUL, or a number into an image.
void place(Bytes& image, std::size_t offset, const char* text);
void place(Bytes& image, std::size_t offset, std::uint32_t number);

// The cells of a sensor map row, in the order of their bytes.
struct SensorRow {
  const char* sensor_name;
  std::uint8_t entity_id;
  std::uint8_t row_number;
  std::uint8_t subtype;
  std::uint8_t sensor_class;
  std::uint32_t base_code;
  std::uint32_t cause_id;
  const char* fault_name;
  const char* cause;
  const char* dn;
  const char* rn;
  const char* descr_format;
  std::uint32_t threshold_codes[5];
};

inline constexpr std::size_t kSensorRowSize = 484;
Bytes image_of(const SensorRow& row);

// Compares the rows of an exported table one by one, and its size as the dynamic linker knows it.
void expect_table(const Library& library, const char* name, const std::vector<Bytes>& rows);

// The same for a sensor map.
void expect_sensor_map(const Library& library, const char* name, std::span<const SensorRow> rows);

// Compares a count, and checks that it is one 32-bit number.
void expect_count(const Library& library, const char* name, std::int32_t count);

// Size of an exported object as the dynamic linker knows it.
std::size_t symbol_size(const Library& library, const char* name);

}  // namespace polaiga::test
