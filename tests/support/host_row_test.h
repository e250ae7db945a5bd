// Tests of the filters over sensor rows that the host supplies. Each test brings
// the host's table, which takes the place of the library's, and describes it here.
#pragma once

#include <polaiga/tables.h>

#include <cstdint>
#include <string>
#include <vector>

#include "support/filter_test.h"
#include "support/table_image.h"

namespace polaiga::test {

// A line of such a filter's decision table, for the codes of the table's cells.
struct ThresholdRow {
  int offset;
  int state;
  std::uint8_t disposition;
  std::uint32_t code;
  std::uint32_t clear_code;
  std::uint32_t clear_cause_id;
  const char* words;
};

// A host table, and what its filter makes of one of its rows.
struct HostTable {
  const char* filter;
  fe_sensor_map_row* rows;
  std::int32_t* count;
  SensorRow cells;     // of a row, unless the test changes them; its sensor is SENSOR
  const char* says;    // what the description says between the sensor and the words
  std::uint32_t key;   // the fault key of such a row
  ThresholdRow raise;  // a line that raises a fault
  ThresholdRow clear;  // and the one that ends it
};

inline constexpr const char* kSensor = "SENSOR";
inline constexpr std::size_t kHostRows = 24;  // more than have a state that is remembered

HostTable drive_bp_table(fe_sensor_map_row (&rows)[kHostRows], std::int32_t& count);
HostTable cmc_table(fe_sensor_map_row (&rows)[kHostRows], std::int32_t& count);

// The arcs of the class that both filters report.
inline const std::vector<std::uint32_t> kHostRowOid = {1, 3, 6, 1, 4, 1, 32473, 5, 100, 1, 9, 6, 1};

class HostRowTest : public FilterTest {
 protected:
  // The table begins with one row, that of SENSOR.
  explicit HostRowTest(const HostTable& table);

  SensorRow named(const char* sensor) const;
  SensorRow with_format(const char* format) const;
  void set_rows(const std::vector<SensorRow>& rows) const;

  static Event at(int offset, int state, const char* sensor = kSensor) {
    return {.sensor = sensor, .offset = offset, .state = state, .instance = 7};
  }
  static Event at(const ThresholdRow& row, const char* sensor = kSensor) { return at(row.offset, row.state, sensor); }

  // What an event of a sensor with the table's cells leaves. State 0 clears.
  Written of(const ThresholdRow& row, const std::string& sensor = kSensor) const;

  // Sets the one row of the table and expects this description of its raise or its clear.
  void expect_raise(const SensorRow& row, const std::string& descr);
  void expect_clear(const SensorRow& row, std::int32_t result, const std::string& descr);

  HostTable table_;
};

}  // namespace polaiga::test
