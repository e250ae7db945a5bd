#include <cstdint>

#include "support/filter_test.h"

namespace polaiga::test {
namespace counts_test {

// A host may change the count of a table. On every call the filter knows as many rows as the
// count then says.
struct Table {
  const char* count;
  const char* filter;
  std::int32_t rows;
  const char* first;  // sensors of the first and the last row
  const char* last;
  std::int32_t offset;  // of an event that is reported
};

const Table kTables[] = {
    {"ent_map_sz", "process_sys_board_fault", 25, "SEL_FULLNESS", "PCH_THERMTRIP_N", 114},
    {"ent_cpu_map_sz", "process_cpu_fault", 33, "P_CATERR_N", "P2_THERMTRIP_N", 114},
    {"ent_ps_map_sz", "process_ps_fault", 4, "PSU1_PIN", "PSU2_POUT", 3},
};

TEST(Counts, AreTheHostsToChange) {
  for (const Table& table : kTables) {
    SCOPED_TRACE(table.count);
    reset_host();
    const Library library;
    auto* const filter = library.get<fe_fault_filter>(table.filter);
    auto* const count = library.get<std::int32_t>(table.count);
    const auto result = [&](const char* sensor) {
      fe_sensor_event event = bytes_of({.sensor = sensor, .offset = table.offset, .state = 4});
      fe_fault_record record = patterned_record();
      fe_fault_record* out = &record;
      return filter(&event, &out);
    };
    EXPECT_EQ(*count, table.rows);
    EXPECT_EQ(result(table.first), 0);
    EXPECT_EQ(result(table.last), 0);
    *count = table.rows - 1;
    EXPECT_EQ(result(table.first), 0);
    EXPECT_EQ(result(table.last), -1);
    for (const std::int32_t none : {0, -1, -2147483647 - 1}) {
      *count = none;
      EXPECT_EQ(result(table.first), -1) << none;
      EXPECT_EQ(result(table.last), -1) << none;
    }
    *count = table.rows;
    EXPECT_EQ(result(table.last), 0);
  }
}

}  // namespace counts_test
}  // namespace polaiga::test
