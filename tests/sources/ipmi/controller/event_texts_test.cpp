#include "controller/event_texts.h"

#include <gtest/gtest.h>

namespace polaiga::ipmi {
namespace event_texts_test {

std::optional<std::uint8_t> offset(std::uint8_t sensor_type, std::uint8_t reading_type, std::string_view text) {
  Sensor sensor;
  sensor.sensor_type = sensor_type;
  sensor.reading_type = reading_type;
  return event_offset(sensor, text);
}

TEST(EventTexts, GoWithTheTypesOfTheSensor) {
  EXPECT_EQ(offset(0x01, 0x01, "Lower Non-critical - going low"), 0);
  EXPECT_EQ(offset(0x04, 0x01, "Lower Critical - going low"), 2);
  EXPECT_EQ(offset(0x02, 0x01, "Lower Non-recoverable - going low"), 4);
  EXPECT_EQ(offset(0x02, 0x01, "Upper Non-critical - going high"), 7);
  EXPECT_EQ(offset(0x02, 0x01, "Upper Critical - going high"), 9);
  EXPECT_EQ(offset(0x02, 0x01, "Upper Non-recoverable - going high"), 11);
  EXPECT_EQ(offset(0x08, 0x01, "Predictive Failure"), std::nullopt);
  EXPECT_EQ(offset(0x0F, 0x03, "State Asserted"), 1);
  EXPECT_EQ(offset(0x04, 0x08, "Device Removed/Device Absent"), 0);
  EXPECT_EQ(offset(0x08, 0x0B, "Redundancy Lost"), 1);
  // The same words mean different offsets of different sensors.
  EXPECT_EQ(offset(0x08, 0x6F, "Predictive Failure"), 2);
  EXPECT_EQ(offset(0x09, 0x6F, "Predictive Failure"), 7);
  EXPECT_EQ(offset(0x08, 0x6F, "Presence detected"), 0);
  EXPECT_EQ(offset(0x0C, 0x6F, "Presence detected"), 6);
  EXPECT_EQ(offset(0x07, 0x6F, "Presence detected"), std::nullopt);
  EXPECT_EQ(offset(0x07, 0x6F, "Processor Presence detected"), 7);
  EXPECT_EQ(offset(0x0D, 0x6F, "Rebuild/Remap Aborted"), 8);
}

TEST(EventTexts, WithoutNamesTellTheOffset) {
  EXPECT_EQ(offset(0xC0, 0x70, "Event Offset = 0Ch"), 12);
  EXPECT_EQ(offset(0x01, 0x01, "Event Offset = 00h"), 0);
  for (const auto* text :
       {"Event Offset = 10h", "Event Offset = 0Gh", "Event Offset = 0C", "Event Offset = 0Chh", "", "0Ch"}) {
    EXPECT_EQ(offset(0xC0, 0x70, text), std::nullopt) << text;
  }
}

}  // namespace event_texts_test
}  // namespace polaiga::ipmi
