#include "support/host_row_test.h"

#include <cstring>

namespace polaiga::test {

HostTable drive_bp_table(fe_sensor_map_row (&rows)[kHostRows], std::int32_t& count) {
  return {.filter = "process_drive_bp_fault",
          .rows = rows,
          .count = &count,
          .cells = {kSensor,
                    15,
                    201,
                    33,
                    99,
                    1114,
                    2215,
                    "fltStorageBackplaneTemp",
                    "backplane-problem",
                    "sys/rack-unit-1/bp-1",
                    "bp-1",
                    "%s: Backplane is %s: Check cooling",
                    {1115, 1116, 1117, 1118, 1119}},
          .says = ": Backplane is ",
          .key = 0x0F00C921,
          .raise = {114, 1, 0, 1114, 0, 0, "lower non-critical"},
          .clear = {114, 0, 4, 1114, 1114, 2215, "lower non-critical"}};
}

HostTable cmc_table(fe_sensor_map_row (&rows)[kHostRows], std::int32_t& count) {
  return {.filter = "process_cmc_fault",
          .rows = rows,
          .count = &count,
          .cells = {kSensor,
                    23,
                    202,
                    34,
                    99,
                    3117,
                    2216,
                    "fltChassisControllerTemp",
                    "controller-problem",
                    "sys/rack-unit-1/cmc-1",
                    "cmc-1",
                    "%s: Controller is %s: Check cooling",
                    {4115, 4116, 4117, 4118, 4119}},
          .says = ": Controller is ",
          .key = 0x1700CA22,
          .raise = {117, 1, 0, 3117, 0, 0, "upper non-critical"},
          .clear = {117, 0, 4, 3117, 3117, 215, "upper non-critical"}};
}

HostRowTest::HostRowTest(const HostTable& table) : FilterTest(table.filter), table_(table) { set_rows({table_.cells}); }

SensorRow HostRowTest::named(const char* sensor) const {
  SensorRow row = table_.cells;
  row.sensor_name = sensor;
  return row;
}

SensorRow HostRowTest::with_format(const char* format) const {
  SensorRow row = table_.cells;
  row.descr_format = format;
  return row;
}

void HostRowTest::set_rows(const std::vector<SensorRow>& rows) const {
  ASSERT_LE(rows.size(), kHostRows);
  std::memset(table_.rows, 0, kHostRows * kSensorRowSize);
  for (std::size_t i = 0; i < rows.size(); ++i) {
    std::memcpy(&table_.rows[i], image_of(rows[i]).data(), kSensorRowSize);
  }
  *table_.count = static_cast<std::int32_t>(rows.size());
}

Written HostRowTest::of(const ThresholdRow& row, const std::string& sensor) const {
  const std::string code = "F" + std::to_string(row.code);
  const std::string dn = table_.cells.dn;
  return {.entity_id = table_.cells.entity_id,
          .entity_subtype = table_.cells.subtype,
          .entity_instance = table_.cells.row_number,
          .event_state = row.state,
          .fault_key = table_.key,
          .dn = dn,
          .fault_dn = dn + "/fault-" + code,
          .rn = table_.cells.rn,
          .code_text = code,
          .oid = kHostRowOid,
          .oid_len = 13,
          .descr = sensor + table_.says + row.words + (row.state == 0 ? ": Cleared" : ": Check cooling"),
          .created = kNowText,
          .created_time = kNow,
          .disposition = row.disposition,
          .clear_cause_id = row.clear_cause_id,
          .cause = table_.cells.cause,
          .code = row.code,
          .clear_code = row.clear_code,
          .name = table_.cells.fault_name,
          .descr_was_longer = row.state == 0};
}

void HostRowTest::expect_raise(const SensorRow& row, const std::string& descr) {
  set_rows({row});
  Written written = of(table_.raise);
  written.descr = descr;
  expect(at(table_.raise), 0, written);
}

void HostRowTest::expect_clear(const SensorRow& row, std::int32_t result, const std::string& descr) {
  set_rows({row});
  Written written = of(table_.clear);
  written.descr = descr;
  written.descr_was_longer = result == 0;
  expect(at(table_.clear), result, written);
}

}  // namespace polaiga::test
