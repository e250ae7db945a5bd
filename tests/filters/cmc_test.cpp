#include <limits>

#include "support/host_row_test.h"

fe_sensor_map_row ent_cmc_map[polaiga::test::kHostRows];
std::int32_t ent_cmc_map_sz;

namespace polaiga::test {
namespace cmc_test {

const ThresholdRow kRows[] = {
    {117, 1, 0, 3117, 0, 0, "upper non-critical"},           {117, 2, 0, 3117, 0, 0, "upper non-critical"},
    {117, 4, 0, 3117, 0, 0, "upper non-critical"},           {117, 5, 0, 3117, 0, 0, "upper non-critical"},
    {117, 3, 0, 3117, 0, 0, "upper non-critical"},           {117, 6, 0, 3117, 0, 0, "upper non-critical"},
    {117, 7, 0, 3117, 0, 0, "upper non-critical"},           {117, 100, 0, 3117, 0, 0, "upper non-critical"},
    {117, -1, 0, 3117, 0, 0, "upper non-critical"},          {117, 0, 4, 3117, 3117, 215, "upper non-critical"},

    {118, 0, 5, 4118, 4118, 215, "upper critical"},          {118, 5, 4, 4118, 4117, 215, "upper critical"},
    {118, 1, 5, 4117, 4118, 215, "upper non-critical"},      {118, 2, 5, 4117, 4118, 215, "upper non-critical"},
    {118, 3, 5, 4117, 4118, 215, "upper non-critical"},      {118, 4, 5, 4117, 4118, 215, "upper non-critical"},
    {118, 6, 5, 4117, 4118, 215, "upper non-critical"},      {118, 7, 5, 4117, 4118, 215, "upper non-critical"},
    {118, 100, 5, 4117, 4118, 215, "upper non-critical"},    {118, -1, 5, 4117, 4118, 215, "upper non-critical"},
    {118, 256, 5, 4117, 4118, 215, "upper non-critical"},    {118, 261, 5, 4117, 4118, 215, "upper non-critical"},

    {119, 5, 6, 4118, 4119, 215, "upper critical"},          {119, 0, 6, 4119, 4119, 215, "upper non-recoverable"},
    {119, 6, 5, 4119, 4118, 215, "upper non-recoverable"},   {119, 1, 5, 4119, 4118, 215, "upper non-recoverable"},
    {119, 3, 5, 4119, 4118, 215, "upper non-recoverable"},   {119, 4, 5, 4119, 4118, 215, "upper non-recoverable"},
    {119, 2, 5, 4119, 4118, 215, "upper non-recoverable"},   {119, 7, 5, 4119, 4118, 215, "upper non-recoverable"},
    {119, 100, 5, 4119, 4118, 215, "upper non-recoverable"}, {119, -1, 5, 4119, 4118, 215, "upper non-recoverable"},
};

// The lower thresholds are among them.
const int kOtherOffsets[] = {114, 115, 116, 113,       120,         -1,
                             0,   1,   126, 256 + 117, 65536 + 118, std::numeric_limits<int>::min()};

class CmcTest : public HostRowTest {
 protected:
  CmcTest() : HostRowTest(cmc_table(ent_cmc_map, ent_cmc_map_sz)) {}

  // What an event of a sensor without a row leaves.
  static Written blank(const ThresholdRow& row) {
    return {.entity_id = 0,
            .entity_subtype = 0,
            .entity_instance = 0,
            .fault_key = 0,
            .dn = "",
            .fault_dn = "/fault-F0000",
            .rn = "",
            .code_text = "F0000",
            .oid = kHostRowOid,
            .oid_len = 13,
            .descr = "",
            .created = kNowText,
            .created_time = kNow,
            .disposition = row.disposition,
            .clear_cause_id = row.clear_cause_id,
            .cause = "",
            .code = 0,
            .clear_code = 0,
            .name = ""};
  }
};

TEST_F(CmcTest, EveryLineOfTheTable) {
  for (const ThresholdRow& row : kRows) expect(at(row), 0, of(row));
}

TEST_F(CmcTest, NoSensorIsExceptional) {
  for (const char* sensor : {"HDD_BP1_TEMP", "SB_NVME1_TEMP", "IOE_NVME1_TEMP", "IOE_NVME2_TEMP"}) {
    set_rows({named(sensor)});
    for (const ThresholdRow& row : kRows) expect(at(row, sensor), 0, of(row, sensor));
  }
}

TEST_F(CmcTest, UnknownSensorHasABlankRow) {
  host().timezone_file = "UTC";
  for (const char* sensor : {"SENSO", "SENSOR2", "sensor", "SENSOR ", "OTHER", ""}) {
    for (const ThresholdRow& row : kRows) {
      expect(at(row, sensor), row.state == 0 ? -1 : 0, blank(row));
    }
    for (const int offset : kOtherOffsets) {
      expect(at(offset, 1, sensor), 0, blank({offset, 1, 0, 0, 0, 0, ""}));
      expect(at(offset, 0, sensor), -1, blank({offset, 0, 0, 0, 0, 0, ""}));
    }
  }
}

TEST_F(CmcTest, NothingDependsOnEarlierEvents) {
  for (const int before : {0, 1, 4, 5, 6}) {
    for (const ThresholdRow& row : kRows) {
      EXPECT_EQ(send(at(118, before)).result, 0);
      EXPECT_EQ(send(at(118, before, "OTHER")).result, before == 0 ? -1 : 0);
      expect(at(row), 0, of(row));
    }
  }
}

// They are raised without words of their own, whatever the state.
TEST_F(CmcTest, LowerThresholdsAreNone) {
  host().timezone_file = "UTC";
  for (const int offset : {114, 115, 116}) {
    for (const int state : {1, 4, 5, 6, 100, -1, 0}) {
      expect(at(offset, state), 0, of({offset, state, 0, 3117, 0, 0, "UTC"}));
    }
  }
}

TEST_F(CmcTest, SensorNameIsReadToItsNul) {
  set_rows({named("ABCDEFGHIJKLMNOPQRST")});
  const Event longer{.sensor = "ABCDEFGHIJKLMNOPQRST", .offset = 117, .state = 1, .reading_type = 'Z'};
  expect(longer, 0, blank(table_.raise));
}

}  // namespace cmc_test
}  // namespace polaiga::test
