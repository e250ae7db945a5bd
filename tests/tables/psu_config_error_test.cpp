#include <gtest/gtest.h>

#include "support/table_image.h"

namespace polaiga::test {
namespace psu_config_error_test {

// clang-format off
const char* const kFormats[] = {
    "%s: Power Supply %d Configuration Error - Vendor mismatch: Check or replace PSU %d, ensure all PSUs are the same type in the system",
    "%s: Power Supply %d Configuration Error - Revision mismatch: Check or replace PSU %d, ensure all PSUs are the same type in the system",
    "%s: Power Supply %d Configuration Error - Processor missing: Check or replace PSU %d, ensure all PSUs are the same type in the system",
    "%s: Power Supply %d Configuration Error - Power supply rating mismatch: Check or replace PSU %d, ensure all PSUs are the same type in the system",
    "%s: Power Supply %d Configuration Error - Voltage rating mismatch: Check or replace PSU %d, ensure all PSUs are the same type in the system",
    "%s: Power Supply %d Configuration Error - Unknown error: Check or replace PSU %d, ensure all PSUs are the same type in the system",
};
// clang-format on

TEST(PsuConfigError, EveryFormat) {
  const Library library;
  std::vector<Bytes> images;
  for (const char* format : kFormats) {
    Bytes image(224);
    place(image, 0, format);
    images.push_back(image);
  }
  expect_table(library, "psu_config_error", images);
}

TEST(PsuConfigError, Size) { EXPECT_EQ(symbol_size(Library(), "psu_config_error"), 6U * 224U); }

}  // namespace psu_config_error_test
}  // namespace polaiga::test
