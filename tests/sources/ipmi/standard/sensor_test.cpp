// Bytes are written by hand after tables 43-1, 43-2, 43-3 and 35-15 of IPMI 2.0.
#include "standard/sensor.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

namespace polaiga::ipmi {
namespace sensor_test {

using Bytes = std::vector<std::uint8_t>;

Bytes full() {
  return {0x07, 0x00, 0x51, 0x01, 0x2F,                    // id, version, type, 47 bytes follow
          0x20, 0x00, 0x31,                                // owner, LUN, number
          0x1D, 0x82, 0x7F, 0x68, 0x04, 0x01,              // entity, logical instance 2, ..., fan, threshold
          0x05, 0x02, 0x05, 0x02, 0x1B, 0x1B,              // masks
          0x00, 0x12, 0x00, 0x00, 0x32, 0x00, 0x00, 0x00,  // units, linearisation, M, B
          0x00, 0x00, 0x00, 0x50, 0x60, 0x40, 0xFF, 0x00,  // accuracy, exponents, nominal and so on
          0x00, 0x00, 0x00, 0x08, 0x0A, 0x0C, 0x02, 0x02,  // thresholds, hysteresis
          0x00, 0x00, 0x00,                                // reserved, OEM
          0xC4, 'F',  'A',  'N',  '1'};
}

Bytes compact(std::uint8_t sharing_1, std::uint8_t sharing_2, const std::string& name) {
  Bytes bytes = {0x08,
                 0x00,
                 0x51,
                 0x02,
                 static_cast<std::uint8_t>(27 + name.size()),
                 0x20,
                 0x01,
                 0x40,  // owner, LUN 1, number
                 0x0A,
                 0x01,
                 0x01,
                 0x00,
                 0x08,
                 0x6F,  // entity, instance, ..., power supply, sensor-specific
                 0x01,
                 0x00,
                 0x01,
                 0x00,
                 0x01,
                 0x00,  // masks
                 0x00,
                 0x00,
                 0x00,  // units
                 sharing_1,
                 sharing_2,
                 0x00,
                 0x00,
                 0x00,
                 0x00,
                 0x00,
                 0x00,  // hysteresis, reserved, OEM
                 static_cast<std::uint8_t>(0xC0 + name.size())};
  bytes.insert(bytes.end(), name.begin(), name.end());
  return bytes;
}

Bytes event_only(std::uint8_t sharing_1, std::uint8_t sharing_2) {
  return {0x09,      0x00,      0x51, 0x03, 0x10, 0x41, 0x00, 0xFE,  // a software's id, LUN, number
          0x22,      0x05,      0x0F, 0x6F,  // BIOS, instance 5, system firmware, sensor-specific
          sharing_1, sharing_2, 0x00, 0x00, 0xC4, 'P',  'O',  'S',  'T'};
}

Sensor only(const Bytes& bytes) {
  const auto sensors = parse_sdr(bytes);
  EXPECT_EQ(sensors.size(), 1);
  return sensors.at(0);
}

TEST(Sensor, OfAFullRecord) {
  const auto sensor = only(full());
  EXPECT_EQ(sensor.key, (SensorKey{0x20, 0, 0x31}));
  EXPECT_EQ(sensor.name, "FAN1");
  EXPECT_EQ(sensor.entity_id, 0x1D);
  EXPECT_EQ(sensor.entity_instance, 2);
  EXPECT_EQ(sensor.sensor_type, 0x04);
  EXPECT_EQ(sensor.reading_type, kThresholdReading);
  EXPECT_FALSE(sensor.is_event_only);
}

TEST(Sensor, OfACompactRecord) {
  const auto sensor = only(compact(0x01, 0x00, "PSU1_STATUS"));
  EXPECT_EQ(sensor.key, (SensorKey{0x20, 1, 0x40}));
  EXPECT_EQ(sensor.name, "PSU1_STATUS");
  EXPECT_EQ(sensor.entity_id, 0x0A);
  EXPECT_EQ(sensor.entity_instance, 1);
  EXPECT_EQ(sensor.sensor_type, 0x08);
  EXPECT_EQ(sensor.reading_type, kSensorSpecificReading);
  EXPECT_FALSE(sensor.is_event_only);
}

TEST(Sensor, OfAnEventOnlyRecord) {
  const auto sensor = only(event_only(0x01, 0x00));
  EXPECT_EQ(sensor.key, (SensorKey{0x41, 0, 0xFE}));
  EXPECT_EQ(sensor.name, "POST");
  EXPECT_EQ(sensor.entity_id, 0x22);
  EXPECT_EQ(sensor.entity_instance, 5);
  EXPECT_EQ(sensor.sensor_type, 0x0F);
  EXPECT_EQ(sensor.reading_type, kSensorSpecificReading);
  EXPECT_TRUE(sensor.is_event_only);
}

TEST(Sensor, SharesARecordWithNumbers) {
  // Three sensors; numbers from 5; instances count.
  const auto sensors = parse_sdr(compact(0x03, 0x85, "Temp "));
  ASSERT_EQ(sensors.size(), 3);
  EXPECT_EQ(sensors[0].name, "Temp 5");
  EXPECT_EQ(sensors[0].key, (SensorKey{0x20, 1, 0x40}));
  EXPECT_EQ(sensors[0].entity_instance, 1);
  EXPECT_EQ(sensors[2].name, "Temp 7");
  EXPECT_EQ(sensors[2].key, (SensorKey{0x20, 1, 0x42}));
  EXPECT_EQ(sensors[2].entity_instance, 3);
  EXPECT_EQ(sensors[2].sensor_type, 0x08);
}

TEST(Sensor, SharesARecordWithLetters) {
  // Two sensors; letters from the 26th on, which is Z; one instance.
  const auto sensors = parse_sdr(compact(0x12, 0x19, "T"));
  ASSERT_EQ(sensors.size(), 2);
  EXPECT_EQ(sensors[0].name, "TZ");
  EXPECT_EQ(sensors[1].name, "TAA");
  EXPECT_EQ(sensors[1].entity_instance, 1);
  // The direction of the sensors, in the two highest bits, is not meant.
  EXPECT_EQ(parse_sdr(compact(0xD2, 0x00, "T")).at(1).name, "TB");
}

TEST(Sensor, SharesAnEventOnlyRecord) {
  Bytes bytes = event_only(0x02, 0x01);
  bytes[7] = 0x10;
  const auto sensors = parse_sdr(bytes);
  ASSERT_EQ(sensors.size(), 2);
  EXPECT_EQ(sensors[1].name, "POST2");
  EXPECT_EQ(sensors[1].key.number, 0x11);
  EXPECT_TRUE(sensors[1].is_event_only);
}

TEST(Sensor, AloneHasNoModifierAndNoBlanksAtItsEnd) {
  EXPECT_EQ(only(compact(0x01, 0x05, "Temp  ")).name, "Temp");
  EXPECT_EQ(only(compact(0x00, 0x05, "Temp")).name, "Temp");
  EXPECT_EQ(only(compact(0x00, 0x05, "")).name, "");
}

TEST(Sensor, NumbersOfSharedRecordsEndAt255) {
  Bytes bytes = compact(0x03, 0x00, "T");
  bytes[7] = 0xFD;
  EXPECT_EQ(parse_sdr(bytes).at(2).key.number, 0xFF);
  bytes[7] = 0xFE;
  EXPECT_THROW(parse_sdr(bytes), BadRecord);
}

TEST(Sensor, OtherRecordsHaveNone) {
  for (const int type : {0x00, 0x08, 0x09, 0x10, 0x11, 0x12, 0x13, 0x14, 0xC0}) {
    EXPECT_TRUE(parse_sdr(Bytes{0x01, 0x00, 0x51, static_cast<std::uint8_t>(type), 0x02, 0x00, 0x00}).empty()) << type;
  }
}

TEST(Sensor, NoPartOfARecordMayBeMissing) {
  for (const auto& whole : {full(), compact(0x01, 0x00, "PS"), event_only(0x01, 0x00)}) {
    EXPECT_NO_THROW(parse_sdr(whole));
    for (std::size_t size = 0; size < whole.size(); ++size) {
      EXPECT_THROW(parse_sdr(std::span(whole).first(size)), BadRecord) << size;
    }
    // Neither when the header agrees: its last byte is then the length of a name which is not there.
    for (std::size_t size = 5; size < whole.size(); ++size) {
      Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
      cut[4] = static_cast<std::uint8_t>(size - 5);
      EXPECT_THROW(parse_sdr(cut), BadRecord) << size;
    }
    // What follows a record is not its own.
    Bytes more = whole;
    more.push_back('X');
    EXPECT_EQ(only(more).name, only(whole).name);
  }
}

TEST(Sensor, ErrorsSayWhatIsWrong) {
  try {
    parse_sdr(Bytes{0x01, 0x00, 0x51, 0x01, 0x05, 0x20});
    FAIL();
  } catch (const BadRecord& error) {
    EXPECT_STREQ(error.what(), "1 bytes follow its header, which says 5");
  }
}

SensorState state(std::uint8_t reading_type, const Bytes& answer) {
  Sensor sensor;
  sensor.reading_type = reading_type;
  return parse_sensor_state(sensor, answer);
}

TEST(SensorState, OfThresholds) {
  struct Case {
    std::uint8_t status;
    std::uint16_t asserted;
  };
  const Case cases[] = {
      {0xC0, 0},          // nothing; the two highest bits are always set
      {0xC1, 1U << 0U},   // at or below lower non-critical
      {0xC2, 1U << 2U},   // lower critical
      {0xC4, 1U << 4U},   // lower non-recoverable
      {0xC8, 1U << 7U},   // at or above upper non-critical
      {0xD0, 1U << 9U},   // upper critical
      {0xE0, 1U << 11U},  // upper non-recoverable
      {0xD8, 0x0280},
  };
  for (const auto& [status, asserted] : cases) {
    EXPECT_EQ(state(kThresholdReading, {0x55, 0xC0, status}), (SensorState{true, asserted})) << int{status};
  }
  EXPECT_EQ(state(kThresholdReading, {0x55, 0xC0, 0xC1, 0x80}), (SensorState{true, 1}));
}

TEST(SensorState, OfDiscreteSensors) {
  EXPECT_EQ(state(kSensorSpecificReading, {0x00, 0xC0, 0x89, 0x81}), (SensorState{true, 0x0189}));
  EXPECT_EQ(state(0x03, {0x00, 0xC0, 0x02}), (SensorState{true, 0x0002}));
  EXPECT_EQ(state(0x03, {0x00, 0xC0, 0x00, 0xFF}), (SensorState{true, 0x7F00})) << "the highest bit is always set";
}

TEST(SensorState, IsNotAvailable) {
  EXPECT_EQ(state(kThresholdReading, {0x00, 0xE0, 0xC1}), SensorState{}) << "it has no reading yet";
  EXPECT_EQ(state(kThresholdReading, {0x00, 0x80, 0xC1}), SensorState{}) << "it is not scanned";
  EXPECT_EQ(state(kThresholdReading, {0x00, 0xC0}), SensorState{}) << "its states are not told";
  EXPECT_EQ(state(kSensorSpecificReading, {0x00, 0xC0}), SensorState{});
  EXPECT_TRUE(state(kThresholdReading, {0x00, 0x40, 0xC0}).is_available) << "only its event messages are off";
}

TEST(SensorState, MustHaveItsFlags) {
  EXPECT_THROW(state(kThresholdReading, {}), BadRecord);
  EXPECT_THROW(state(kThresholdReading, {0x55}), BadRecord);
}

}  // namespace sensor_test
}  // namespace polaiga::ipmi
