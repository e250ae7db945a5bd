#include "support/table_image.h"

#include <dlfcn.h>
#include <elf.h>
#include <gtest/gtest.h>
#include <link.h>

#include <cstring>

#ifdef __has_feature
#if __has_feature(address_sanitizer)
#include <sanitizer/asan_interface.h>
#define POLAIGA_RED_ZONES
#endif
#endif

namespace polaiga::test {

void place(Bytes& image, std::size_t offset, const char* text) {
  const std::size_t size = std::strlen(text);
  ASSERT_LE(offset + size, image.size()) << text;
  std::memcpy(image.data() + offset, text, size);
}

void place(Bytes& image, std::size_t offset, std::uint32_t number) {
  ASSERT_LE(offset + sizeof number, image.size());
  std::memcpy(image.data() + offset, &number, sizeof number);
}

Bytes image_of(const SensorRow& row) {
  Bytes image(kSensorRowSize);
  place(image, 0, row.sensor_name);
  image[20] = row.entity_id;
  image[21] = row.row_number;
  image[22] = row.subtype;
  image[23] = row.sensor_class;
  place(image, 24, row.base_code);
  place(image, 28, row.cause_id);
  place(image, 32, row.fault_name);
  place(image, 96, row.cause);
  place(image, 128, row.dn);
  place(image, 208, row.rn);
  place(image, 240, row.descr_format);
  for (std::size_t level = 0; level < 5; ++level) place(image, 464 + 4 * level, row.threshold_codes[level]);
  return image;
}

std::size_t symbol_size(const Library& library, const char* name) {
  Dl_info info;
  void* symbol = nullptr;
  const int found = dladdr1(library.symbol(name), &info, &symbol, RTLD_DL_SYMENT);
  if (found == 0 || symbol == nullptr) return 0;
  EXPECT_STREQ(info.dli_sname, name);
  const std::size_t size = static_cast<const ElfW(Sym)*>(symbol)->st_size;
#ifdef POLAIGA_RED_ZONES
  // Here the size of an object has that of the zone behind it, which nobody may touch.
  auto* const begin = static_cast<char*>(library.symbol(name));
  if (const void* const zone = ::__asan_region_is_poisoned(begin, size); zone != nullptr) {
    return static_cast<std::size_t>(static_cast<const char*>(zone) - begin);
  }
#endif
  return size;
}

void expect_table(const Library& library, const char* name, const std::vector<Bytes>& rows) {
  const auto* at = library.get<const unsigned char>(name);
  std::size_t size = 0;
  for (const Bytes& row : rows) size += row.size();
  ASSERT_EQ(symbol_size(library, name), size) << name;
  for (std::size_t row = 0; row < rows.size(); ++row) {
    for (std::size_t byte = 0; byte < rows[row].size(); ++byte) {
      EXPECT_EQ(at[byte], rows[row][byte]) << name << ", row " << row + 1 << ", byte " << byte;
    }
    at += rows[row].size();
  }
}

void expect_sensor_map(const Library& library, const char* name, std::span<const SensorRow> rows) {
  std::vector<Bytes> images;
  for (const SensorRow& row : rows) images.push_back(image_of(row));
  expect_table(library, name, images);
}

void expect_count(const Library& library, const char* name, std::int32_t count) {
  ASSERT_EQ(symbol_size(library, name), sizeof count) << name;
  EXPECT_EQ(*library.get<const std::int32_t>(name), count) << name;
}

}  // namespace polaiga::test
