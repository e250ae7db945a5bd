#include "adapter/check_report.h"

#include <gtest/gtest.h>

#include "support/rows.h"

namespace polaiga::ipmi {
namespace check_report_test {

using test::Texts;

Sensor sensor(std::uint8_t number, const char* name, std::uint8_t type, std::uint8_t reading) {
  return {.key = {0x20, 0, number},
          .name = name,
          .entity_id = 7,
          .entity_instance = 1,
          .sensor_type = type,
          .reading_type = reading,
          .is_event_only = false};
}

TEST(CheckReportTest, EachSensorWithItsRows) {
  const std::vector<Sensor> sensors = {sensor(1, "TEMP1", 1, 1),      sensor(2, "TEMP2", 1, 1),
                                       sensor(3, "ECC3", 0x0C, 0x6F), sensor(4, "", 1, 1),
                                       sensor(5, "LEFT", 1, 1),       sensor(6, "TEMP6\x1b", 1, 1)};
  const auto state = [](const Sensor& of) -> std::optional<SensorState> {
    if (of.key.number == 2) return std::nullopt;
    return SensorState{.is_available = true, .asserted = static_cast<std::uint16_t>(of.key.number == 1 ? 0x0280 : 0)};
  };
  EXPECT_EQ(
      check_report(sensors, test::rows(), state),
      (Texts{
          "TEMP1\tnumber 01h, sensor type 01h, event/reading type 01h\tline 1, upper\tsys_board TEMP1 1\tlevel 2 of 3, "
          "would send offset/state 117/4, 118/5",
          "TEMP2\tnumber 02h, sensor type 01h, event/reading type 01h\tline 1, upper\tsys_board TEMP2 2\tits state "
          "cannot be read now",
          "ECC3\tnumber 03h, sensor type 0Ch, event/reading type 6Fh\tline 1, ecc\tmem ECC3 3\ttold by log records "
          "alone",
          "(no name)\tnumber 04h, sensor type 01h, event/reading type 01h\tno row",
          "LEFT\tnumber 05h, sensor type 01h, event/reading type 01h\tleft out by line 7",
          "TEMP6?\tnumber 06h, sensor type 01h, event/reading type 01h\tline 1, upper\tsys_board TEMP6? 6\tlevel 0 of "
          "3",
          "6 sensors, 1 without a row"}));
}

}  // namespace check_report_test
}  // namespace polaiga::ipmi
