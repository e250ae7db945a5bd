#include "support/host_row_test.h"

fe_sensor_map_row ent_drive_bp_map[polaiga::test::kHostRows];
std::int32_t ent_drive_bp_map_sz;

namespace polaiga::test {
namespace drive_bp_test {

// The lines that hold for exceptional and for other sensors.
const ThresholdRow kRows[] = {
    {114, 1, 0, 1114, 0, 0, "lower non-critical"},
    {114, 4, 0, 1114, 0, 0, "lower non-critical"},
    {114, 5, 0, 1114, 0, 0, "lower non-critical"},
    {114, 2, 0, 1114, 0, 0, "lower non-critical"},
    {114, 3, 0, 1114, 0, 0, "lower non-critical"},
    {114, 6, 0, 1114, 0, 0, "lower non-critical"},
    {114, 7, 0, 1114, 0, 0, "lower non-critical"},
    {114, 100, 0, 1114, 0, 0, "lower non-critical"},
    {114, -1, 0, 1114, 0, 0, "lower non-critical"},
    {114, 0, 4, 1114, 1114, 2215, "lower non-critical"},

    {115, 0, 5, 1115, 1115, 2215, "lower critical"},
    {115, 5, 4, 1115, 1117, 2215, "lower critical"},
    {115, 4, 5, 1117, 1115, 2215, "lower non-critical"},
    {115, 1, 5, 1117, 1115, 2215, "lower non-critical"},
    {115, 2, 5, 1117, 1115, 2215, "lower non-critical"},
    {115, 3, 5, 1117, 1115, 2215, "lower non-critical"},
    {115, 6, 5, 1117, 1115, 2215, "lower non-critical"},
    {115, 7, 5, 1117, 1115, 2215, "lower non-critical"},
    {115, 100, 5, 1117, 1115, 2215, "lower non-critical"},
    {115, -1, 5, 1117, 1115, 2215, "lower non-critical"},
    {115, 261, 5, 1117, 1115, 2215, "lower non-critical"},

    {116, 5, 6, 1115, 1116, 2215, "lower critical"},
    {116, 0, 6, 1116, 1116, 2215, "lower non-recoverable"},
    {116, 6, 5, 1116, 1115, 2215, "lower non-recoverable"},
    {116, 1, 5, 1116, 1115, 2215, "lower non-recoverable"},
    {116, 4, 5, 1116, 1115, 2215, "lower non-recoverable"},
    {116, 2, 5, 1116, 1115, 2215, "lower non-recoverable"},
    {116, 3, 5, 1116, 1115, 2215, "lower non-recoverable"},
    {116, 7, 5, 1116, 1115, 2215, "lower non-recoverable"},
    {116, 100, 5, 1116, 1115, 2215, "lower non-recoverable"},
    {116, -1, 5, 1116, 1115, 2215, "lower non-recoverable"},

    {117, 1, 0, 1114, 0, 0, "upper non-critical"},
    {117, 3, 0, 1114, 0, 0, "upper non-critical"},
    {117, 4, 0, 1114, 0, 0, "upper non-critical"},
    {117, 5, 0, 1114, 0, 0, "upper non-critical"},
    {117, 2, 0, 1114, 0, 0, "upper non-critical"},
    {117, 6, 0, 1114, 0, 0, "upper non-critical"},
    {117, 7, 0, 1114, 0, 0, "upper non-critical"},
    {117, -1, 0, 1114, 0, 0, "upper non-critical"},
    {117, 100, 0, 1114, 0, 0, "upper non-critical"},
    {117, 0, 4, 1114, 1114, 2215, "upper non-critical"},

    {118, 0, 5, 1118, 1118, 2215, "upper critical"},
    {118, 5, 4, 1118, 1117, 2215, "upper critical"},

    {119, 5, 6, 1118, 1119, 2215, "upper critical"},
    {119, 0, 6, 1119, 1119, 2215, "upper non-recoverable"},
    {119, 6, 5, 1119, 1118, 2215, "upper non-recoverable"},
    {119, 1, 5, 1119, 1118, 2215, "upper non-recoverable"},
    {119, 2, 5, 1119, 1118, 2215, "upper non-recoverable"},
    {119, 4, 5, 1119, 1118, 2215, "upper non-recoverable"},
    {119, 3, 5, 1119, 1118, 2215, "upper non-recoverable"},
    {119, 100, 5, 1119, 1118, 2215, "upper non-recoverable"},
    {119, 7, 5, 1119, 1118, 2215, "upper non-recoverable"},
    {119, -1, 5, 1119, 1118, 2215, "upper non-recoverable"},
};

// Upper critical with a state of neither 0 nor 5.
const int kOtherStates[] = {1, 2, 3, 4, 6, 7, 100, -1, 256};

// The table's sensor, SENSOR, is not one of the exceptional ones.
class DriveBpTest : public HostRowTest {
 protected:
  DriveBpTest() : HostRowTest(drive_bp_table(ent_drive_bp_map, ent_drive_bp_map_sz)) {}
};

TEST_F(DriveBpTest, EveryLineOfTheTable) {
  for (const ThresholdRow& row : kRows) expect(at(row), 0, of(row));
}

TEST_F(DriveBpTest, EveryLineOfTheTableForListedSensors) {
  for (const char* sensor : {"HDD_BP1_TEMP", "SB_NVME1_TEMP", "IOE_NVME1_TEMP", "IOE_NVME2_TEMP"}) {
    set_rows({named(sensor)});
    for (const ThresholdRow& row : kRows) expect(at(row, sensor), 0, of(row, sensor));
  }
}

TEST_F(DriveBpTest, UpperCriticalOfAListedSensorClears) {
  for (const char* sensor : {"HDD_BP1_TEMP", "SB_NVME1_TEMP", "IOE_NVME1_TEMP", "IOE_NVME2_TEMP"}) {
    set_rows({named(sensor)});
    for (const int state : kOtherStates) {
      expect(at(118, state, sensor), 0, of({118, 0, 5, 1118, 1118, 218, "upper critical"}, sensor));
    }
  }
}

TEST_F(DriveBpTest, UpperCriticalOfAnUnlistedSensorEscalates) {
  for (const char* sensor : {"HDD_BP2_TEMP", "SB_NVME2_TEMP", "IOE_NVME3_TEMP", "IOE_NVME", "hdd_bp1_temp",
                             "HDD_BP1_TEMP ", "HDD_BP1_TEM", "SB_NVME1_TEMP2"}) {
    set_rows({named(sensor)});
    for (const int state : kOtherStates) {
      expect(at(118, state, sensor), 0, of({118, state, 5, 1117, 1118, 2215, "upper non-critical"}, sensor));
    }
  }
}

TEST_F(DriveBpTest, UpperCriticalOfAListedSensorWithoutAColonYieldsNoFault) {
  SensorRow cells = named("SB_NVME1_TEMP");
  cells.descr_format = "%s is %s";
  set_rows({cells});
  Written written = of({118, 0, 5, 1118, 1118, 218, "upper critical"});
  written.descr = "SB_NVME1_TEMP is upper critical";
  written.descr_was_longer = false;
  expect(at(118, 4, "SB_NVME1_TEMP"), -1, written);
}

TEST_F(DriveBpTest, UnknownSensorLeavesACopyAndTheOid) {
  set_rows({table_.cells, named("HDD_BP1_TEMP"), named("")});
  for (const char* sensor : {"SENSO", "SENSOR2", "sensor", "SENSOR ", " "}) {
    for (const int state : {0, 1}) expect(at(118, state, sensor), -1, {.oid = kHostRowOid, .oid_len = 13});
  }
}

TEST_F(DriveBpTest, NothingDependsOnEarlierEvents) {
  for (const int before : {0, 1, 4, 5, 6}) {
    for (const ThresholdRow& row : kRows) {
      EXPECT_EQ(send(at(118, before)).result, 0);
      expect(at(row), 0, of(row));
    }
  }
}

TEST_F(DriveBpTest, SensorNameIsReadToItsNul) {
  set_rows({named("ABCDEFGHIJKLMNOPQRST")});
  const Event longer{.sensor = "ABCDEFGHIJKLMNOPQRST", .offset = 117, .state = 1, .reading_type = 'Z'};
  expect(longer, -1, {.oid = kHostRowOid, .oid_len = 13});
}

}  // namespace drive_bp_test
}  // namespace polaiga::test
