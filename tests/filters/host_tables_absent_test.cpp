// A host that defines none of the three tables. Then those of the library count, which are empty.
#include <polaiga/tables.h>

#include <cstring>

#include "support/filter_test.h"

namespace polaiga::test {
namespace host_tables_absent_test {

class HostTablesAbsentTest : public ::testing::TestWithParam<const char*> {
 protected:
  HostTablesAbsentTest() { reset_host(); }

  const Library library_;
};

TEST_P(HostTablesAbsentTest, EveryEventIsRejectedAndNothingIsWritten) {
  const auto filter = library_.get<fe_fault_filter>(GetParam());
  const fe_fault_record untouched = patterned_record();
  for (const char* sensor : {"", "HDD_BP1_TEMP", "SB_NVME1_TEMP", "CMC_TEMP", "ABCDEFGHIJKLMNOPQRST"}) {
    for (const int offset : {-1, 0, 1, 113, 114, 115, 116, 117, 118, 119, 120}) {
      for (const int state : {0, 1, 4, 5, 6, -1}) {
        const fe_sensor_event sent = bytes_of({.sensor = sensor, .offset = offset, .state = state});
        fe_sensor_event event = sent;
        fe_fault_record record = untouched;
        fe_fault_record* out = &record;
        EXPECT_EQ(filter(&event, &out), -1) << sensor << ' ' << offset << ' ' << state;
        EXPECT_EQ(out, &record);
        EXPECT_EQ(std::memcmp(&record, &untouched, sizeof record), 0) << sensor << ' ' << offset << ' ' << state;
        EXPECT_EQ(std::memcmp(&event, &sent, sizeof event), 0) << sensor << ' ' << offset << ' ' << state;
      }
    }
  }
}

TEST_P(HostTablesAbsentTest, NullArguments) {
  const auto filter = library_.get<fe_fault_filter>(GetParam());
  fe_sensor_event event = bytes_of({});
  fe_fault_record record = patterned_record();
  fe_fault_record* out = &record;
  fe_fault_record* none = nullptr;
  EXPECT_EQ(filter(&event, nullptr), -1);
  EXPECT_EQ(filter(&event, &none), -1);
  EXPECT_EQ(filter(nullptr, &out), -1);
  const fe_fault_record untouched = patterned_record();
  EXPECT_EQ(std::memcmp(&record, &untouched, sizeof record), 0);
}

INSTANTIATE_TEST_SUITE_P(Filters, HostTablesAbsentTest,
                         ::testing::Values("process_drive_bp_fault", "process_cmc_fault", "process_nm_fault"));

}  // namespace host_tables_absent_test
}  // namespace polaiga::test
