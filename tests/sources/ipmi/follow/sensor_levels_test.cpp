#include "follow/sensor_levels.h"

#include <gtest/gtest.h>

#include "support/rows.h"

namespace polaiga::ipmi {
namespace sensor_levels_test {

using test::Texts;

constexpr std::uint8_t kSpecific = kSensorSpecificReading;

Sensor sensor(std::uint8_t number, const char* name, std::uint8_t type = 0x01,
              std::uint8_t reading = kThresholdReading) {
  return {.key = {0x20, 0, number},
          .name = name,
          .entity_id = 7,
          .entity_instance = 1,
          .sensor_type = type,
          .reading_type = reading,
          .is_event_only = false};
}

const Sensor kTemp = sensor(1, "TEMP1");
const Sensor kSupply = sensor(2, "PS1", 0x08, kSpecific);
const Sensor kSupplyTemp = sensor(3, "PS1TEMP");
const Sensor kMemory = sensor(4, "ECC1", 0x0C, kSpecific);

constexpr std::uint16_t bits(std::initializer_list<int> offsets) {
  unsigned all = 0;
  for (const int offset : offsets) all |= 1U << static_cast<unsigned>(offset);
  return static_cast<std::uint16_t>(all);
}

class SensorLevelsTest : public ::testing::Test {
 protected:
  SensorLevelsTest() {
    levels_.use_rows(test::rows(), send());
    levels_.use_sensors({kTemp, kSupply, kSupplyTemp, kMemory, sensor(9, "OTHER")}, true, send());
  }

  SensorLevels::Send send() {
    return [this](const Target& target, const Step& step) { sent_.push_back(test::text_of(target, step)); };
  }
  Texts taken() { return std::exchange(sent_, {}); }

  // What the record of an event makes of it.
  Texts record(const Sensor& of, std::uint8_t offset, bool is_deasserted = false,
               std::array<std::uint8_t, 3> data = {}) {
    levels_.record({.key = of.key,
                    .sensor_type = of.sensor_type,
                    .reading_type = of.reading_type,
                    .is_deasserted = is_deasserted,
                    .offset = offset,
                    .data = data},
                   send());
    return taken();
  }
  Texts gone(const Sensor& of, std::uint8_t offset) { return record(of, offset, true); }
  Texts reading(const Sensor& of, std::initializer_list<int> offsets, bool is_available = true) {
    levels_.reading(of, {.is_available = is_available, .asserted = bits(offsets)}, send());
    return taken();
  }
  Texts sensors(std::vector<Sensor> some, bool are_all = true) {
    levels_.use_sensors(std::move(some), are_all, send());
    return taken();
  }

  State state_;
  Texts told_;
  SensorLevels levels_{state_, [this](const std::string& text) { told_.push_back(text); }};
  Texts sent_;
};

TEST_F(SensorLevelsTest, EachRungIsSentOnTheWayUpAndDown) {
  EXPECT_EQ(record(kTemp, 7), (Texts{"TEMP1 117/4"}));
  EXPECT_EQ(record(kTemp, 11), (Texts{"TEMP1 118/5", "TEMP1 119/6"}));
  EXPECT_EQ(record(kTemp, 9), Texts{});
  // Not in the order of the levels.
  EXPECT_EQ(gone(kTemp, 7), Texts{});
  EXPECT_EQ(gone(kTemp, 11), (Texts{"TEMP1 119/5"}));
  EXPECT_EQ(gone(kTemp, 9), (Texts{"TEMP1 118/4", "TEMP1 117/0"}));
  EXPECT_TRUE(state_.delivered.empty());
}

TEST_F(SensorLevelsTest, NothingIsTwice) {
  EXPECT_EQ(record(kTemp, 7).size(), 1U);
  EXPECT_EQ(record(kTemp, 7), Texts{});
  EXPECT_EQ(reading(kTemp, {7}), Texts{});
  EXPECT_EQ(gone(kTemp, 7).size(), 1U);
  EXPECT_EQ(gone(kTemp, 7), Texts{});
}

TEST_F(SensorLevelsTest, AMissedDeassertionIsMadeGoodByAReading) {
  record(kTemp, 7);
  record(kTemp, 9);
  EXPECT_EQ(reading(kTemp, {}), (Texts{"TEMP1 118/4", "TEMP1 117/0"}));
}

TEST_F(SensorLevelsTest, ReadingsThatAreUnavailableChangeNothing) {
  record(kTemp, 7);
  EXPECT_EQ(reading(kTemp, {}, false), Texts{});
  EXPECT_EQ(reading(kTemp, {9}, false), Texts{});
  EXPECT_EQ(gone(kTemp, 7), (Texts{"TEMP1 117/0"}));
}

TEST_F(SensorLevelsTest, OfARecordAloneASensorIsNotKnownToBeMissing) {
  EXPECT_EQ(record(kSupply, 1), (Texts{"PS1 883/1"}));
}

TEST_F(SensorLevelsTest, SeveralBitsAtOnce) {
  EXPECT_EQ(reading(kSupply, {0, 1}), (Texts{"PS1 883/1"}));
  EXPECT_EQ(record(kSupply, 6, false, {0xF6, 0xFF, 0x02}), (Texts{"PS1 37/1"}));
  EXPECT_EQ(gone(kSupply, 1), (Texts{"PS1 883/0"}));
  // A reading does not tell which configuration error it is, and takes nothing from what is known of it.
  EXPECT_EQ(reading(kSupply, {0, 6}), Texts{});
  // Another one takes its place. What ends comes first.
  EXPECT_EQ(record(kSupply, 6, false, {0xF6, 0xFF, 0x01}), (Texts{"PS1 37/0", "PS1 36/1"}));
  EXPECT_EQ(reading(kSupply, {0}), (Texts{"PS1 36/0"}));
}

TEST_F(SensorLevelsTest, EventDataThreeThatMeansNothingIsNotTaken) {
  EXPECT_EQ(record(kSupply, 6, false, {0x06, 0xFF, 0x02}), Texts{});
}

TEST_F(SensorLevelsTest, WhileAUnitIsMissingItsOtherEventsWait) {
  reading(kSupply, {0});
  record(kSupplyTemp, 7);
  record(kSupply, 1);
  EXPECT_EQ(gone(kSupply, 0), (Texts{"PS1 30/1"}));
  EXPECT_EQ(record(kSupplyTemp, 9), Texts{});
  EXPECT_EQ(record(kSupplyTemp, 11), Texts{});
  EXPECT_EQ(gone(kSupplyTemp, 11), Texts{});
  EXPECT_EQ(gone(kSupply, 1), Texts{});
  EXPECT_EQ(reading(kSupplyTemp, {7, 9}), Texts{});
  // First that it is back, then what ended, then what began.
  EXPECT_EQ(record(kSupply, 0), (Texts{"PS1 30/0", "PS1 883/0", "PS1TEMP 118/5"}));
}

TEST_F(SensorLevelsTest, AUnitThatIsBackWithTheSameFaultsTellsNothingOfThem) {
  reading(kSupply, {0});
  record(kSupplyTemp, 7);
  reading(kSupply, {});
  EXPECT_EQ(reading(kSupply, {0}), (Texts{"PS1 30/0"}));
}

TEST_F(SensorLevelsTest, ReadingsSayNothingOfWhatOnlyRecordsTell) {
  EXPECT_EQ(record(kMemory, 1), (Texts{"ECC1 72/1"}));
  EXPECT_EQ(reading(kMemory, {}), Texts{});
  EXPECT_EQ(gone(kMemory, 1), (Texts{"ECC1 72/0"}));
  EXPECT_EQ(reading(kMemory, {1}), Texts{});
}

TEST_F(SensorLevelsTest, AReadingEndsWhatAMissedRecordWouldHaveEndedAndRaisesNothing) {
  const Sensor disk = sensor(5, "DISK1", 0x0D, kSpecific);
  levels_.use_sensors({disk}, true, send());
  taken();
  EXPECT_EQ(reading(disk, {}), Texts{});  // an empty slot
  EXPECT_EQ(record(disk, 0, true), (Texts{"DISK1 21/1"}));
  EXPECT_EQ(reading(disk, {}), Texts{});
  EXPECT_EQ(reading(disk, {0}), (Texts{"DISK1 21/0"}));
  EXPECT_EQ(reading(disk, {}), Texts{});
}

TEST_F(SensorLevelsTest, WhatSaysThatAUnitIsMissingIsTakenBackFirst) {
  const Sensor hot = sensor(1, "PS1TEMP");
  const Sensor supply = sensor(2, "PS1", 0x08, kSpecific);
  levels_.use_sensors({hot, supply}, true, send());
  reading(hot, {7});
  EXPECT_EQ(record(supply, 0, true), (Texts{"PS1 30/1"}));
  taken();
  levels_.use_sensors({kTemp}, true, send());
  EXPECT_EQ(taken(), (Texts{"PS1 30/0", "PS1TEMP 117/0"}));
}

TEST_F(SensorLevelsTest, OnlySensorsWhoseStateMattersAreRead) {
  std::vector<std::string> names;
  for (const Sensor& some : levels_.readable()) names.push_back(some.name);
  EXPECT_EQ(names, (std::vector<std::string>{"TEMP1", "PS1", "PS1TEMP"}));
  Sensor silent = kTemp;
  silent.is_event_only = true;
  sensors({silent});
  EXPECT_TRUE(levels_.readable().empty());
}

TEST_F(SensorLevelsTest, ASensorWithoutARowIsToldOnce) {
  EXPECT_EQ(levels_.without_row(), 1U);
  EXPECT_EQ(record(sensor(9, "OTHER"), 7), Texts{});
  EXPECT_EQ(record(sensor(9, "OTHER"), 9), Texts{});
  EXPECT_EQ(told_,
            (Texts{"no row of the mapping takes the records of the sensor 'OTHER' (number 09h of 20h, sensor type "
                   "01h, event/reading type 01h), so they are left out"}));
}

TEST_F(SensorLevelsTest, ASensorThatTheMappingLeavesOutIsNotToldOf) {
  sensors({sensor(10, "LEFT")});
  record(sensor(10, "LEFT"), 7);
  EXPECT_EQ(told_, Texts{});
  EXPECT_EQ(levels_.without_row(), 0U);
}

TEST_F(SensorLevelsTest, AGeneratorWithoutSdrGoesByItsTypeAndNumber) {
  Sensor unknown = sensor(0x77, "", 0xC5, kSpecific);
  unknown.key.owner = 0x41;
  EXPECT_EQ(record(unknown, 0), (Texts{"NAMELESS 116/6"}));
  // It stays known when the SDR is read anew, which does not describe it.
  EXPECT_EQ(sensors({kTemp}), Texts{});
  EXPECT_EQ(gone(unknown, 0), (Texts{"NAMELESS 116/5"}));
  unknown.sensor_type = 0xC6;
  unknown.key.number = 0x78;
  EXPECT_EQ(record(unknown, 0), Texts{});
  EXPECT_EQ(told_, (Texts{"no row of the mapping takes the records of the sensor without a name (number 78h of 41h, "
                          "sensor type C6h, event/reading type 6Fh), so they are left out"}));
}

TEST_F(SensorLevelsTest, AControllerThatMakesUpSensorsFillsNoMemory) {
  for (unsigned i = 0; i < SensorLevels::kMostUndescribed + 100; ++i) {
    Sensor unknown = sensor(static_cast<std::uint8_t>(i), "", 0xC5, kSpecific);
    unknown.key.owner = static_cast<std::uint8_t>(0x41 + i / 256);
    record(unknown, 0);
  }
  EXPECT_EQ(state_.memory.size(), SensorLevels::kMostUndescribed);
  EXPECT_EQ(told_, (Texts{"the log names more than 500 sensors that no SDR describes; the others are left out"}));
}

TEST_F(SensorLevelsTest, SensorsThatComeAndGoWithTheSdr) {
  record(kTemp, 7);
  record(kTemp, 9);
  record(kMemory, 1);
  EXPECT_EQ(sensors({kMemory, sensor(5, "TEMP5")}), (Texts{"TEMP1 118/4", "TEMP1 117/0"}));
  EXPECT_EQ(told_,
            (Texts{"the sensor 'TEMP1' is gone from the controller or from the mapping, so what was told of it is "
                   "taken back"}));
  EXPECT_EQ(reading(sensor(5, "TEMP5"), {7}), (Texts{"TEMP5 117/4"}));
  EXPECT_EQ(sensors({kTemp, kMemory, sensor(5, "TEMP5")}), Texts{});
  EXPECT_EQ(reading(kTemp, {7}), (Texts{"TEMP1 117/4"}));
}

TEST_F(SensorLevelsTest, AnSdrThatCouldNotBeReadInWholeTakesNothingBack) {
  record(kTemp, 7);
  EXPECT_EQ(sensors({kMemory}, false), Texts{});
  EXPECT_EQ(sensors({}), Texts{});
  EXPECT_EQ(sensors({kTemp}), Texts{});
  EXPECT_EQ(gone(kTemp, 7), (Texts{"TEMP1 117/0"}));
}

TEST_F(SensorLevelsTest, ASensorOfTheSameNumberAndAnotherNameIsAnotherOne) {
  record(kTemp, 7);
  EXPECT_EQ(sensors({sensor(1, "HOT1")}), (Texts{"TEMP1 117/0"}));
  EXPECT_EQ(reading(sensor(1, "HOT1"), {7}), (Texts{"HOT1 117/4"}));
}

TEST_F(SensorLevelsTest, AnotherMappingTakesBackWhatItDoesNotTell) {
  record(kTemp, 7);
  record(kTemp, 9);
  record(kMemory, 1);
  const auto other = [](const Sensor& some) -> std::vector<Mapped> {
    if (some.name != "TEMP1") return {};
    Ladder ladder = test::upper();
    ladder.rungs[0].down = {{117, 3}};
    return {test::mapped("sys_board", some, 1, ladder)};
  };
  levels_.use_rows({.of = other}, send());
  EXPECT_EQ(taken(), (Texts{"TEMP1 118/4", "TEMP1 117/0", "ECC1 72/0", "TEMP1 117/4", "TEMP1 118/5"}));
}

TEST_F(SensorLevelsTest, TheSameMappingReadAnewTellsNothing) {
  record(kTemp, 7);
  record(kSupply, 1);
  levels_.use_rows(test::rows(), send());
  EXPECT_EQ(taken(), Texts{});
}

TEST_F(SensorLevelsTest, AfterARestartOnlyTheDifferenceIsSent) {
  record(kTemp, 7);
  record(kMemory, 1);
  reading(kSupply, {});
  State state = state_;
  SensorLevels again(state, [](const std::string&) {});
  again.use_rows(test::rows(), send());
  again.use_sensors({kTemp, kSupply, kSupplyTemp, kMemory}, true, send());
  taken();
  again.reading(kTemp, {true, bits({7, 9})}, send());
  EXPECT_EQ(taken(), (Texts{"TEMP1 118/5"}));
  again.reading(kSupply, {true, bits({0})}, send());
  EXPECT_EQ(taken(), (Texts{"PS1 30/0"}));
}

TEST_F(SensorLevelsTest, OneSensorOnTheSameLadderForTwoTargets) {
  const auto two = [](const Sensor& some) -> std::vector<Mapped> {
    Mapped first = test::mapped("fan", some, 1, test::upper());
    Mapped second = first;
    second.target.sensor = "SECOND";
    return {first, second};
  };
  levels_.use_rows({.of = two}, send());
  EXPECT_EQ(reading(kTemp, {7}), (Texts{"TEMP1 117/4", "SECOND 117/4"}));
  EXPECT_EQ(reading(kTemp, {}), (Texts{"TEMP1 117/0", "SECOND 117/0"}));
}

}  // namespace sensor_levels_test
}  // namespace polaiga::ipmi
