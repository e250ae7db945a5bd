#include <gtest/gtest.h>

#include "support/table_image.h"

namespace polaiga::test {
namespace host_tables_test {

TEST(HostTables, CountsAreZero) {
  const Library library;
  expect_count(library, "ent_nm_map_sz", 0);
  expect_count(library, "ent_cmc_map_sz", 0);
  expect_count(library, "ent_drive_bp_map_sz", 0);
}

TEST(HostTables, HoldNothing) {
  const Library library;
  for (const char* name : {"ent_nm_map", "ent_cmc_map", "ent_drive_bp_map"}) {
    const std::size_t size = symbol_size(library, name);
    EXPECT_GT(size, 0U) << name;
    expect_table(library, name, {Bytes(size)});
  }
}

}  // namespace host_tables_test
}  // namespace polaiga::test
