#include "filters/cpu_fixture.h"

namespace polaiga::test {
namespace cpu_test {

constexpr const char* kBoard = "sys/rack-unit-1/board";
constexpr const char* kCpu1 = "sys/rack-unit-1/board/cpu-1";
constexpr const char* kCpu2 = "sys/rack-unit-1/board/cpu-2";

constexpr std::array<std::uint32_t, 6> kInoperable{174, 174, 174, 174, 174, 174};
constexpr std::array<std::uint32_t, 6> kDisabled{842, 842, 842, 842, 842, 842};
constexpr std::array<std::uint32_t, 6> kThermal{175, 176, 177, 175, 176, 177};
constexpr std::array<std::uint32_t, 6> kVoltage{178, 179, 180, 178, 179, 180};

// clang-format off
const Sensor kSensors[] = {
    {"P_CATERR_N", 1, 7, kInoperable, 214, kBoard, "board", "A catastrophic fault has occurred on one of the processors", "", ": Please check the processors' status.", false, false},
    {"P1_PROCHOT", 2, 7, kInoperable, 214, kCpu1, "cpu-1", "Processor 1 is operating at a high temperature", "", ": Check cooling", false, false},
    {"P2_PROCHOT", 3, 7, kInoperable, 214, kCpu2, "cpu-2", "Processor 2 is operating at a high temperature", "", ": Check cooling", false, false},
    {"PVCCD_P1_VRHOT", 4, 7, kInoperable, 214, kCpu1, "cpu-1", "Processor 1 has asserted a Thermal problem", "", ": Check cooling", false, false},
    {"PVCCP_P1_VRHOT", 5, 7, kInoperable, 214, kCpu1, "cpu-1", "Processor 1 has asserted a Thermal problem", "", ": Check cooling", false, false},
    {"PVCCD_P2_VRHOT", 6, 7, kInoperable, 214, kCpu2, "cpu-2", "Processor 2 has asserted a Thermal problem", "", ": Check cooling", false, false},
    {"PVCCP_P2_VRHOT", 7, 7, kInoperable, 214, kCpu2, "cpu-2", "Processor 2 has asserted a Thermal problem", "", ": Check cooling", false, false},
    {"P1_MEM23_MEMHOT", 8, 7, kInoperable, 214, kCpu1, "cpu-1", "Temperature sensor corresponding to Processor 1 Memory 2/3 has asserted a Thermal Problem", "", ": Check server cooling", false, false},
    {"P1_MEM01_MEMHOT", 9, 7, kInoperable, 214, kCpu1, "cpu-1", "Temperature sensor corresponding to Processor 1 Memory 1 has asserted a Thermal Problem", "", ": Check server cooling", false, false},
    {"P2_MEM23_MEMHOT", 10, 7, kInoperable, 214, kCpu2, "cpu-2", "Temperature sensor corresponding to Processor 2 Memory 2/3 has asserted a Thermal Problem", "", ": Check server cooling", false, false},
    {"P2_MEM01_MEMHOT", 11, 7, kInoperable, 214, kCpu2, "cpu-2", "Temperature sensor corresponding to Processor 2 Memory 1 has asserted a Thermal Problem", "", ": Check server cooling", false, false},
    {"P1_PRESENT", 12, 37, kDisabled, 388, kCpu1, "cpu-1", "Processor 1 missing", "", ": Please reseat or replace Processor 1", false, false},
    {"P2_PRESENT", 13, 37, kDisabled, 388, kCpu2, "cpu-2", "Processor 2 missing", "", ": Please reseat or replace Processor 2", false, false},
    {"P1_TEMP_SENS", 14, 1, kThermal, 215, kCpu1, "cpu-1", "Processor 1 Thermal threshold has crossed ", " threshold", ": Check cooling", true, true},
    {"P2_TEMP_SENS", 15, 1, kThermal, 215, kCpu2, "cpu-2", "Processor 2 Thermal threshold has crossed ", " threshold", ": Check cooling", true, true},
    {"PVTT_DDR_AB", 16, 2, kVoltage, 216, kCpu1, "cpu-1", "Memory channel (AB) voltage is ", "", "", true, true},
    {"PVTT_DDR_CD", 17, 2, kVoltage, 216, kCpu1, "cpu-1", "Memory channel (CD) voltage is ", "", "", true, true},
    {"PVTT_DDR_EF", 18, 2, kVoltage, 216, kCpu2, "cpu-2", "Memory channel (EF) voltage is ", "", "", true, true},
    {"PVTT_DDR_GH", 19, 2, kVoltage, 216, kCpu2, "cpu-2", "Memory channel (GH) voltage is ", "", "", true, true},
    {"PVTT_P1", 20, 2, kVoltage, 216, kCpu1, "cpu-1", "Processor - 1 voltage is ", "", "", true, false},
    {"PVDDQ_AB", 21, 2, kVoltage, 216, kCpu1, "cpu-1", "Memory channel (AB) voltage is ", "", "", true, true},
    {"PVDDQ_CD", 22, 2, kVoltage, 216, kCpu1, "cpu-1", "Memory channel (CD) voltage is ", "", "", true, true},
    {"PVSA_P1", 23, 2, kVoltage, 216, kCpu1, "cpu-1", "Processor 1 voltage is ", "", "", true, false},
    {"PVPLL_P1", 24, 2, kVoltage, 216, kCpu1, "cpu-1", "Processor 1 voltage is ", "", "", true, false},
    {"PVCCP_P1", 25, 2, kVoltage, 216, kCpu1, "cpu-1", "Processor 1 voltage is ", "", "", true, false},
    {"PVTT_P2", 26, 2, kVoltage, 216, kCpu2, "cpu-2", "Processor 2 voltage is ", "", "", true, false},
    {"PVSA_P2", 27, 2, kVoltage, 216, kCpu2, "cpu-2", "Processor 2 voltage is ", "", "", true, false},
    {"PVCCP_P2", 28, 2, kVoltage, 216, kCpu2, "cpu-2", "Processor 2 voltage is ", "", "", true, false},
    {"PVDDQ_EF", 29, 2, kVoltage, 216, kCpu2, "cpu-2", "Memory channel (EF) voltage is ", "", "", true, true},
    {"PVDDQ_GH", 30, 2, kVoltage, 216, kCpu2, "cpu-2", "Memory channel (GH) voltage is ", "", "", true, true},
    {"PVPLL_P2", 31, 2, kVoltage, 216, kCpu2, "cpu-2", "Processor 2 voltage is ", "", "", true, false},
    {"P1_THERMTRIP_N", 32, 7, kInoperable, 214, kCpu1, "cpu-1", "Processor 1 is inoperable due to high temperature", "", ": Check cooling", false, false},
    {"P2_THERMTRIP_N", 33, 7, kInoperable, 214, kCpu2, "cpu-2", "Processor 2 is inoperable due to high temperature", "", ": Check cooling", false, false},
};
// clang-format on

const Sensor& kTrip = kSensors[32];
const Sensor& kTemperature = kSensors[13];

TEST_F(CpuTest, NullArguments) { expect_null_arguments_rejected(); }

TEST_F(CpuTest, DiscreteEventsOfEverySensor) {
  for (const Sensor& sensor : kSensors) expect_discrete_lines(sensor);
}

TEST_F(CpuTest, ThresholdEventsOfEverySensor) {
  for (const Sensor& sensor : kSensors) expect_threshold_lines(sensor);
}

TEST_F(CpuTest, OtherOffsetsOfEverySensor) {
  for (const Sensor& sensor : kSensors) expect_other_offsets(sensor);
}

TEST_F(CpuTest, TextsAsAWhole) {
  const struct {
    const char* sensor;
    std::uint32_t reading_type;
    int offset;
    int state;
    const char* descr;
  } cases[] = {
      {"P2_THERMTRIP_N", 3, 1, 1, "P2_THERMTRIP_N: Processor 2 is inoperable due to high temperature: Check cooling"},
      {"P2_THERMTRIP_N", 3, 1, 0, "P2_THERMTRIP_N:  Processor 2 is inoperable due to high temperature: Cleared"},
      {"P1_PRESENT", 0, 0, 0, "P1_PRESENT:  Processor 1 missing: Cleared"},
      {"P1_PRESENT", 1, 118, 6, "P1_PRESENT: Processor 1 missing: Please reseat or replace Processor 1"},
      {"P1_TEMP_SENS", 1, 118, 5,
       "P1_TEMP_SENS: Processor 1 Thermal threshold has crossed upper critical threshold: Check cooling"},
      {"P1_TEMP_SENS", 1, 117, 0, "P1_TEMP_SENS:  Processor 1 Thermal threshold has crossed  threshold: Cleared"},
      {"P1_TEMP_SENS", 2, 118, 5,
       "P1_TEMP_SENS: Processor 1 Thermal threshold has crossed %s threshold: Check cooling"},
      {"PVSA_P1", 1, 115, 4, "PVSA_P1: Processor 1 voltage is upper non-critical"},
      {"PVDDQ_AB", 1, 114, 0, "PVDDQ_AB:  Memory channel (AB) voltage is : Cleared"},
      {"PVTT_P1", 1, 118, 0, "PVTT_P1:  Processor - 1 voltage is : Cleared"},
      {"PVTT_P1", 0, 118, 0, "PVTT_P1:  Processor - 1 voltage is %s: Cleared"},
  };
  for (const auto& c : cases) {
    const Outcome outcome =
        send({.sensor = c.sensor, .offset = c.offset, .state = c.state, .reading_type = c.reading_type});
    EXPECT_EQ(outcome.result, 0);
    EXPECT_STREQ(outcome.record.descr, c.descr);
  }
}

TEST_F(CpuTest, ClearReportsTheStateBefore) {
  expect(discrete(kTrip, 1), 0, raised(kTrip));
  expect(discrete(kTrip, 0), 0, cleared(kTrip, 1));
  expect(discrete(kTrip, 0), 0, cleared(kTrip, 0));
  // Only the low byte of the state is written.
  expect(discrete(kTrip, 0x1234), 0, raised(kTrip));
  expect(discrete(kTrip, 0), 0, cleared(kTrip, 0x34));
  expect(discrete(kTrip, 256), 0, raised(kTrip));
  expect(discrete(kTrip, 0), 0, cleared(kTrip, 0));
  expect(discrete(kTrip, -1), 0, raised(kTrip));
  expect(discrete(kTrip, 0), 0, cleared(kTrip, 255));
}

TEST_F(CpuTest, EveryKindOfEventIsRemembered) {
  for (const Line& line : kLines) {
    for (const int state : line.states) {
      EXPECT_EQ(send(at(kTemperature, line.offset, state)).result, 0);
      expect(discrete(kTemperature, 0), 0, cleared(kTemperature, state & 0xFF));
    }
  }
  EXPECT_EQ(send(discrete(kTemperature, 9)).result, 0);
  expect(at(kTemperature, 0, 0), 0, of(kTemperature, kOtherLines[4], 0, 9));
}

TEST_F(CpuTest, EverySensorRemembersItsOwn) {
  int state = 40;
  for (const Sensor& sensor : kSensors) EXPECT_EQ(send(discrete(sensor, ++state)).result, 0);
  state = 40;
  for (const Sensor& sensor : kSensors) expect(discrete(sensor, 0), 0, cleared(sensor, ++state));
}

TEST_F(CpuTest, EveryReadingTypeButOneIsDiscrete) {
  for (const std::uint32_t reading_type : {0U, 2U, 3U, 0x101U, 0x01000000U, 0xFFFFFFFFU}) {
    Event event = at(kTemperature, 118, 5);
    event.reading_type = reading_type;
    expect(event, 0, raised(kTemperature));
  }
}

TEST_F(CpuTest, EntityIsTheRows) {
  for (const int instance : {0, 1, -1, 2147483647, -2147483647 - 1}) {
    Event event = discrete(kTrip, 1);
    event.instance = instance;
    event.entity_id = 0xFF;
    event.entity_subtype = 0xFF;
    expect(event, 0, raised(kTrip));
  }
}

TEST_F(CpuTest, UnknownSensorLeavesCopyAndArcs) {
  for (const char* sensor : {"P1_VCORE_TEMP", "P4_VCORE_TEMP", "PVCCIN_P1_V_MOIN", "PVPP_AB", "p1_present", "P1_PRESEN",
                             "P1_PRESENT ", "", "ABCDEFGHIJKLMNOPQRS", "ABCDEFGHIJKLMNOPQRST"}) {
    for (const std::uint32_t reading_type : {1U, 2U}) {
      for (const int state : {0, 4, 6}) {
        expect({.sensor = sensor, .offset = 118, .state = state, .reading_type = reading_type}, -1, rejected());
      }
    }
  }
}

TEST_F(CpuTest, DictionaryTexts) {
  host().names = {{174, "fltProcessorUnitInoperable"}, {842, nullptr}};
  host().causes = {{214, "equipment-inoperable"}, {0, ""}, {388, nullptr}};
  Written written = raised(kTrip);
  written.name = "fltProcessorUnitInoperable";
  written.cause = "equipment-inoperable";
  written.clear_cause = "";
  expect(discrete(kTrip, 1), 0, written);
  // A text that the host does not have counts as empty.
  const Sensor& presence = kSensors[11];
  written = cleared(presence, 0);
  written.name = "";
  written.cause = "";
  written.clear_cause = "";
  expect(discrete(presence, 0), 0, written);
}

TEST_F(CpuTest, LongDictionaryTextsAreCut) {
  const std::string longest(100, 'x');
  host().names = {{174, longest.c_str()}};
  host().causes = {{214, longest.c_str()}};
  Written written = cleared(kTrip, 0);
  written.name = std::string(63, 'x');
  written.cause = std::string(31, 'x');
  written.clear_cause = std::string(31, 'x');
  expect(discrete(kTrip, 0), 0, written);
}

}  // namespace cpu_test
}  // namespace polaiga::test
