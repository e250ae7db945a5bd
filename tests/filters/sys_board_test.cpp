#include "filters/sys_board_fixture.h"

namespace polaiga::test {
namespace sys_board_test {

TEST_F(SysBoardTest, NullArguments) { expect_null_arguments_rejected(); }

TEST_F(SysBoardTest, UnknownSensorLeavesTheEventAndTheArcs) {
  for (const char* sensor : {"", "P12V_V_MOI", "P12V_V_MOINX", "p12v_v_moin", "P1CORE_TEMP", "KELDA_SEL_FULLNESS",
                             "P5V_AUX", "P3V_BAT_SCALED", "SEL_FULLNESSSEL_FULLNESS"}) {
    for (const int state : {0, 1, 4}) {
      expect({.sensor = sensor, .offset = 117, .state = state}, -1, {.oid = arcs()});
      expect({.sensor = sensor, .offset = 117, .state = state, .reading_type = 2}, -1, {.oid = arcs()});
    }
  }
}

TEST_F(SysBoardTest, ThresholdsOfATemperature) {
  // Codes of the row: 410, and 409, 411, 410, 409, 411.
  const Row rows[] = {
      {114, {0}, 410, 410, 4, 218, "lower non critical"},
      {114, {4}, 410, 0, 0, 0, "lower non-critical"},
      {114, {5}, 410, 0, 0, 0, ""},
      {114, {6}, 410, 0, 0, 0, "upper non-recoverable"},
      {114, {1, 2, 3, 7, 8, 100, -1, -4}, 410, 0, 0, 0, "a preset"},

      {115, {0}, 409, 409, 5, 218, ""},
      {115, {5}, 409, 411, 6, 214, "lower critical"},
      {115, {4}, 409, 410, 4, 218, "upper non-critical"},
      {115, {6}, 409, 410, 4, 218, "upper non-recoverable"},
      {115, {1, 2, 3, 7, 8, 100, -1, -5}, 409, 410, 4, 218, "a preset"},

      {116, {0}, 411, 411, 6, 214, ""},
      {116, {5}, 409, 411, 6, 214, "lower critical"},
      {116, {4}, 411, 409, 5, 218, "upper non-critical"},
      {116, {6}, 411, 409, 5, 218, "lower non-recoverable"},
      {116, {1, 2, 3, 7, 8, 100, -1, -5}, 411, 409, 5, 218, "a preset"},

      {117, {0}, 410, 410, 4, 218, "upper non critical"},
      {117, {1}, 410, 410, 1, 218, "a preset"},
      {117, {4}, 410, 0, 0, 0, "upper non-critical"},
      {117, {5}, 410, 0, 0, 0, ""},
      {117, {6}, 410, 0, 0, 0, "upper non-recoverable"},
      {117, {2, 3, 7, 8, 100, -1}, 410, 0, 0, 0, "a preset"},

      {118, {0}, 409, 409, 5, 218, ""},
      {118, {5}, 409, 410, 4, 214, "upper critical"},
      {118, {4}, 410, 409, 4, 218, "upper non-critical"},
      {118, {6}, 410, 409, 4, 218, "upper non-recoverable"},
      {118, {2, 3, 7, 8, 100, -1}, 410, 409, 4, 218, "a preset"},

      {119, {5}, 409, 411, 6, 214, "upper critical"},
      {119, {6}, 411, 409, 5, 218, "upper non-recoverable"},
      {119, {0}, 411, 409, 5, 218, ""},
      {119, {4}, 411, 409, 5, 218, "upper non-critical"},
      {119, {2, 3, 7, 8, 100, -1}, 411, 409, 5, 218, "a preset"},
  };
  expect_rows(kRiser, kRiserCleared, rows);
}

TEST_F(SysBoardTest, ThresholdsOfAVoltage) {
  // Codes of the row: 921, and 921, 919, 920, 920, 918.
  const Row rows[] = {
      {114, {0}, 921, 921, 4, 218, ""},
      {114, {4}, 921, 0, 0, 0, "lower non-critical"},
      {114, {5}, 921, 0, 0, 0, ""},
      {114, {6}, 921, 0, 0, 0, "upper non-recoverable"},
      {114, {1, 2, 3, 7, 8, 100, -1}, 921, 0, 0, 0, "a preset"},

      {115, {0}, 921, 921, 5, 218, "lower critical"},
      {115, {5}, 921, 919, 6, 214, "lower critical"},
      {115, {4}, 921, 921, 4, 218, "upper non-critical"},
      {115, {6}, 921, 921, 4, 218, "upper non-recoverable"},
      {115, {1, 2, 3, 7, 8, 100, -1}, 921, 921, 4, 218, "a preset"},

      {116, {0}, 919, 919, 6, 214, ""},
      {116, {5}, 921, 919, 6, 214, "lower critical"},
      {116, {4}, 919, 921, 5, 218, "upper non-critical"},
      {116, {6}, 919, 921, 5, 218, "lower non-recoverable"},
      {116, {1, 2, 3, 7, 8, 100, -1}, 919, 921, 5, 218, "a preset"},

      {117, {0}, 920, 920, 4, 218, ""},
      {117, {1}, 920, 920, 1, 218, "a preset"},
      {117, {4}, 920, 0, 0, 0, "upper non-critical"},
      {117, {5}, 920, 0, 0, 0, ""},
      {117, {6}, 920, 0, 0, 0, "upper non-recoverable"},
      {117, {2, 3, 7, 8, 100, -1}, 920, 0, 0, 0, "a preset"},

      {118, {0}, 920, 920, 5, 218, "upper critical"},
      {118, {5}, 920, 920, 4, 214, "upper critical"},
      {118, {4}, 920, 920, 4, 218, "upper non-critical"},
      {118, {6}, 920, 920, 4, 218, "upper non-recoverable"},
      {118, {2, 3, 7, 8, 100, -1}, 920, 920, 4, 218, "a preset"},

      {119, {5}, 920, 918, 6, 214, "upper critical"},
      {119, {6}, 918, 920, 5, 218, "upper non-recoverable"},
      {119, {0}, 918, 920, 5, 218, ""},
      {119, {4}, 918, 920, 5, 218, "upper non-critical"},
      {119, {2, 3, 7, 8, 100, -1}, 918, 920, 5, 218, "a preset"},
  };
  expect_rows(kVoltage, kVoltageCleared, rows);
}

TEST_F(SysBoardTest, ThresholdsOfTheBattery) {
  // Codes of the row: 424, and 424, 425, 424, 424, 425.
  const Row rows[] = {
      {114, {0}, 424, 424, 4, 218, "lower non critical"},
      {114, {4}, 424, 0, 0, 0, "lower non-critical"},
      {114, {6}, 424, 0, 0, 0, "upper non-recoverable"},
      {115, {0}, 424, 424, 5, 218, ""},
      {115, {5}, 424, 425, 6, 214, "lower critical"},
      {115, {6}, 424, 424, 4, 218, "upper non-recoverable"},
      {116, {0}, 425, 425, 6, 214, ""},
      {116, {5}, 424, 425, 6, 214, "lower critical"},
      {116, {6}, 425, 424, 5, 218, "lower non-recoverable. Possible loss of CMOS settings"},
      {116, {1}, 425, 424, 5, 218, "a preset"},
      {117, {0}, 424, 424, 4, 218, "upper non critical"},
      {117, {6}, 424, 0, 0, 0, "upper non-recoverable"},
      {118, {0}, 424, 424, 5, 218, ""},
      {118, {5}, 424, 424, 4, 214, "upper critical"},
      {118, {6}, 424, 424, 4, 218, "upper non-recoverable"},
      {119, {5}, 424, 425, 6, 214, "upper critical"},
      {119, {6}, 425, 424, 5, 218, "upper non-recoverable"},
      {119, {0}, 425, 424, 5, 218, ""},
  };
  expect_rows(kBattery, kBatteryCleared, rows);
}

TEST_F(SysBoardTest, ThresholdsOfTheEventLog) {
  // Codes of the row: 460, and 461, 462, 460, 461, 462. Words of state 1 are the log's own, and here it has none.
  const Row rows[] = {
      {114, {0}, 460, 460, 4, 218, ""},
      {114, {4}, 460, 0, 0, 0, "lower non-critical"},
      {114, {5}, 460, 0, 0, 0, ""},
      {114, {6}, 460, 0, 0, 0, "upper non-recoverable"},
      {114, {1, 2, 3, 7, 100, -1}, 460, 0, 0, 0, ""},

      {115, {0}, 461, 461, 5, 218, ""},
      {115, {5}, 461, 462, 6, 214, "lower critical"},
      {115, {4}, 461, 460, 4, 218, "upper non-critical"},
      {115, {1, 2, 3, 7, 100, -1}, 461, 460, 4, 218, ""},

      {116, {0}, 462, 462, 6, 214, ""},
      {116, {5}, 461, 462, 6, 214, "lower critical"},
      {116, {6}, 462, 461, 5, 218, "lower non-recoverable"},
      {116, {1, 2, 3, 7, 100, -1}, 462, 461, 5, 218, ""},

      {117, {4}, 460, 0, 0, 0, "upper non-critical"},
      {117, {5}, 460, 0, 0, 0, ""},
      {117, {6}, 460, 0, 0, 0, "upper non-recoverable"},
      {117, {2, 3, 7, 100, -1}, 460, 0, 0, 0, ""},

      {118, {0}, 461, 461, 5, 218, ""},
      {118, {5}, 460, 461, 1, 218, "upper critical"},

      {119, {5}, 461, 462, 6, 214, "upper critical"},
      {119, {6}, 461, 462, 1, 214, "upper non-recoverable"},
      {119, {0}, 462, 461, 1, 218, ""},
      {119, {4}, 462, 461, 1, 218, "upper non-critical"},
      {119, {2, 3, 7, 100, -1}, 462, 461, 1, 218, ""},
  };
  expect_rows(kLog, kLogCleared, rows);
}

TEST_F(SysBoardTest, EventLogEventsWithoutCodes) {
  expect_untouched_codes(at(kLog, 117, 0), kLog, "SEL_FULLNESS: Cleared");
  expect_untouched_codes(at(kLog, 118, 4), kLog, "SEL_FULLNESS: System Event log upper non-critical");
  expect_untouched_codes(at(kLog, 118, 6), kLog, "SEL_FULLNESS: System Event log upper non-recoverable");
  for (const int state : {2, 3, 7, 100, -1}) {
    expect_untouched_codes(at(kLog, 118, state), kLog, "SEL_FULLNESS: System Event log ");
  }
}

TEST_F(SysBoardTest, EventsWithoutCodesAreRememberedAsWell) {
  expect_untouched_codes(at(kLog, 118, 4), kLog, "SEL_FULLNESS: System Event log upper non-critical");
  expect(at(kLog, 0, 0), 0, of(kLogCleared, {0, {}, 460, 460, 4, 218, ""}));
}

TEST_F(SysBoardTest, CodesOfTheCallerAreWrittenWhole) {
  const struct {
    std::uint32_t code;
    const char* code_text;
    const char* fault_dn;
    const char* name;
  } cases[] = {
      {0, "F0000", "sys/rack-unit-1/mgmt/log-SEL-0/fault-F0000", "name of 0"},
      {7, "F0007", "sys/rack-unit-1/mgmt/log-SEL-0/fault-F0007", "name of 7"},
      {9999, "F9999", "sys/rack-unit-1/mgmt/log-SEL-0/fault-F9999", "name of 9999"},
      {12345, "F12345", "sys/rack-unit-1/mgmt/log-SEL-0/fault-F12345", "name of 12345"},
      {2147483647, "F2147483647", "sys/rack-unit-1/mgmt/log-SEL-0/fault-F2147483647", "name of 2147483647"},
      {4294967295, "F-001", "sys/rack-unit-1/mgmt/log-SEL-0/fault-F-001", "name of 4294967295"},
  };
  for (const auto& c : cases) {
    fe_fault_record record = patterned_record();
    record.code = c.code;
    const Outcome outcome = send(at(kLog, 117, 0), record);
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.record.code, c.code);
    EXPECT_STREQ(outcome.record.code_text, c.code_text);
    EXPECT_STREQ(outcome.record.fault_dn, c.fault_dn);
    EXPECT_STREQ(outcome.record.name, c.name);
  }
}

TEST_F(SysBoardTest, OtherOffsets) {
  for (const int offset : {0, 1, 108, 111, 113, 120, 121, 373, 65651, -117, -2147483647 - 1, 2147483647}) {
    const Row voltage_rows[] = {
        {offset, {4}, 921, 0, 0, 0, "upper non-critical"},
        {offset, {0}, 921, 921, 4, 218, ""},
        {offset, {5}, 921, 0, 0, 0, ""},
        {offset, {0}, 921, 921, 5, 218, ""},
        {offset, {6}, 921, 0, 0, 0, "upper non-recoverable"},
        {offset, {0}, 921, 921, 6, 218, ""},
        {offset, {0}, 921, 921, 0, 218, ""},
        {offset, {1, 2, 3, 7, 100, -1}, 921, 0, 0, 0, "a preset"},
        {offset, {0}, 921, 921, 255, 218, ""},
    };
    expect_rows(kVoltage, kVoltageCleared, voltage_rows);
    const Row riser_rows[] = {
        {offset, {4}, 410, 0, 0, 0, "upper non-critical"},
        {offset, {0}, 410, 410, 4, 218, ""},
        {offset, {5}, 410, 0, 0, 0, ""},
    };
    expect_rows(kRiser, kRiserCleared, riser_rows);
    const Row battery_rows[] = {{offset, {6}, 424, 0, 0, 0, "upper non-recoverable"}};
    expect_rows(kBattery, kBatteryCleared, battery_rows);
    const Row log_rows[] = {
        {offset, {5}, 460, 0, 0, 0, ""},
        {offset, {1}, 460, 0, 0, 0, ""},
        {offset, {0}, 460, 460, 1, 218, ""},
    };
    expect_rows(kLog, kLogCleared, log_rows);
  }
}

TEST_F(SysBoardTest, TwoOffsetsMoreHaveUpperCriticalWords) {
  for (const int offset : {109, 110}) {
    const Row voltage_rows[] = {
        {offset, {5}, 921, 0, 0, 0, "upper critical"},
        {offset, {4}, 921, 0, 0, 0, "upper non-critical"},
        {offset, {6}, 921, 0, 0, 0, "upper non-recoverable"},
        {offset, {0}, 921, 921, 6, 218, ""},
    };
    expect_rows(kVoltage, kVoltageCleared, voltage_rows);
    const Row rows0[] = {{offset, {5}, 410, 0, 0, 0, "upper critical"}};
    expect_rows(kRiser, kRiserCleared, rows0);
    const Row rows1[] = {{offset, {5}, 460, 0, 0, 0, "upper critical"}};
    expect_rows(kLog, kLogCleared, rows1);
  }
}

TEST_F(SysBoardTest, DispositionOfAClearIsTheLowByteOfTheLastState) {
  for (const int state : {1, 2, 3, 4, 5, 6, 7, 100, 255}) {
    EXPECT_EQ(send(at(kVoltage, 113, state)).result, 0);
    EXPECT_EQ(send(at(kVoltage, 113, 0)).record.disposition, state);
    EXPECT_EQ(send(at(kVoltage, 113, 0)).record.disposition, 0);
  }
  EXPECT_EQ(send(at(kVoltage, 113, 0x12345607)).result, 0);
  EXPECT_EQ(send(at(kVoltage, 113, 0)).record.disposition, 7);
  EXPECT_EQ(send(at(kVoltage, 113, -2)).result, 0);
  EXPECT_EQ(send(at(kVoltage, 113, 0)).record.disposition, 254);
}

TEST_F(SysBoardTest, EveryOffsetAndReadingTypeRemembersTheState) {
  for (const int offset : {0, 114, 115, 116, 117, 118, 119, 120}) {
    for (const std::uint32_t type : {0U, 1U, 2U, 111U}) {
      Event event = at(kRiser, offset, 3);
      event.reading_type = type;
      EXPECT_EQ(send(event).result, 0);
      EXPECT_EQ(send(at(kRiser, 200, 0)).record.disposition, 3) << offset << " " << type;
      send(event);
      event.state = 0;
      send(event);
      EXPECT_EQ(send(at(kRiser, 200, 0)).record.disposition, 0) << offset << " " << type;
    }
  }
}

TEST_F(SysBoardTest, EveryOtherReadingTypeIsDiscrete) {
  const Sensor raised{
      "BIOSPOST_TIMEOUT", 2, 24, 348, "BIOSPOST_TIMEOUT: BIOS POST Timeout occurred: Contact Kelda TAC", ""};
  const Sensor cleared{"BIOSPOST_TIMEOUT", 2, 24, 348, "BIOSPOST_TIMEOUT:  BIOS POST Timeout occurred: Cleared", ""};
  for (const std::uint32_t type : {0U, 2U, 3U, 111U, 257U, 0x01000000U, 0xFFFFFFFFU}) {
    for (const int offset : {0, 1, 109, 114, 115, 116, 117, 118, 119, 120, -1}) {
      for (const int state : {1, 2, 3, 4, 5, 6, 7, 100, -1}) {
        Event event = at(raised, offset, state);
        event.reading_type = type;
        expect(event, 0, of(raised, {offset, {}, 313, 0, 0, 0, ""}));
        event.state = 0;
        expect(event, 0, of(cleared, {offset, {}, 313, 313, static_cast<std::uint8_t>(state), 348, ""}));
        expect(event, 0, of(cleared, {offset, {}, 313, 313, 0, 348, ""}));
      }
    }
  }
}

TEST_F(SysBoardTest, TextOfADiscreteEventIsNoFormat) {
  // A threshold sensor that reports as a discrete one: the clear cause is that of its row.
  Event event = at(kVoltage, 118, 5);
  event.reading_type = 2;
  expect(event, 0, of(kVoltage, {118, {}, 921, 0, 0, 0, "%s"}));
  event.state = 0;
  expect(event, 0, of(kVoltageCleared, {118, {}, 921, 921, 5, 216, "%s"}));
  Event log = at(kLog, 117, 1);
  log.reading_type = 3;
  expect(log, 0, of(kLog, {117, {}, 460, 0, 0, 0, "%s"}));
  log.state = 0;
  expect(log, 0, of(kLogCleared, {117, {}, 460, 460, 1, 338, ""}));
}

TEST_F(SysBoardTest, DictionariesAreAskedForEveryText) {
  host().names = {{921, "of the code"}};
  host().causes = {{216, "of the cause"}, {0, "of none"}, {218, "of the clear cause"}};
  Written raised = of(kVoltage, {114, {}, 921, 0, 0, 0, "lower non-critical"});
  raised.name = "of the code";
  raised.cause = "of the cause";
  raised.clear_cause = "of none";
  expect(at(kVoltage, 114, 4), 0, raised);
  Written cleared = of(kVoltageCleared, {114, {}, 921, 921, 4, 218, ""});
  cleared.name = "of the code";
  cleared.cause = "of the cause";
  cleared.clear_cause = "of the clear cause";
  expect(at(kVoltage, 114, 0), 0, cleared);
}

TEST_F(SysBoardTest, MissingDictionaryEntriesAreEmpty) {
  host().names = {{921, nullptr}};
  host().causes = {{216, nullptr}, {0, nullptr}};
  Written written = of(kVoltage, {114, {}, 921, 0, 0, 0, "lower non-critical"});
  written.name = "";
  written.cause = "";
  written.clear_cause = "";
  expect(at(kVoltage, 114, 4), 0, written);
}

TEST_F(SysBoardTest, DictionaryTextsAreCutToTheirFields) {
  const std::string name(64, 'n');
  const std::string cause(32, 'c');
  const std::string clear_cause(200, 'd');
  host().names = {{921, name.c_str()}};
  host().causes = {{216, cause.c_str()}, {0, clear_cause.c_str()}};
  Written written = of(kVoltage, {114, {}, 921, 0, 0, 0, "lower non-critical"});
  written.name = std::string(63, 'n');
  written.cause = std::string(31, 'c');
  written.clear_cause = std::string(31, 'd');
  expect(at(kVoltage, 114, 4), 0, written);
}

TEST_F(SysBoardTest, StampUsesTheTimeZoneFile) {
  host().timezone_file = "Europe/Berlin\n";
  EXPECT_STREQ(send(at(kVoltage, 114, 4)).record.created, "2024-02-01T00:59:59");
}

// Every sensor is raised and cleared as in practice, and the whole texts are compared.
struct FieldCase {
  const char* sensor;
  int row;
  std::uint8_t subtype;
  std::uint32_t cause_id;
  std::uint32_t reading_type;
  Row raise;
  Row clear;
};

// clang-format off
const FieldCase kField[] = {
    {"SEL_FULLNESS", 1, 12, 338, 1,
     {117, {1}, 460, 460, 1, 218, "SEL_FULLNESS: System Event log capacity is low"},
     {117, {0}, 460, 460, 1, 218, "SEL_FULLNESS: Cleared"}},
    {"BIOSPOST_TIMEOUT", 2, 24, 348, 2,
     {0, {1}, 313, 0, 0, 0, "BIOSPOST_TIMEOUT: BIOS POST Timeout occurred: Contact Kelda TAC"},
     {0, {0}, 313, 313, 1, 348, "BIOSPOST_TIMEOUT:  BIOS POST Timeout occurred: Cleared"}},
    {"POWER_ON_FAIL", 3, 24, 344, 2,
     {0, {1}, 868, 0, 0, 0, "POWER_ON_FAIL: The server failed to power ON: Check Power Supply"},
     {0, {0}, 868, 868, 1, 344, "POWER_ON_FAIL:  The server failed to power ON: Cleared"}},
    {"RISER1_INLET_TMP", 4, 1, 215, 1,
     {117, {4}, 410, 0, 0, 0, "RISER1_INLET_TMP: Riser 1 inlet temperature has crossed upper non-critical threshold: Check device cooling"},
     {117, {0}, 410, 410, 4, 218, "RISER1_INLET_TMP:  Riser 1 inlet temperature has crossed upper non critical threshold: Cleared"}},
    {"RISER1_OUTLETTMP", 5, 1, 215, 1,
     {117, {4}, 410, 0, 0, 0, "RISER1_OUTLETTMP: Riser 1 outlet temperature has crossed upper non-critical threshold: Check device cooling"},
     {117, {0}, 410, 410, 4, 218, "RISER1_OUTLETTMP:  Riser 1 outlet temperature has crossed upper non critical threshold: Cleared"}},
    {"RISER2_INLET_TMP", 6, 1, 215, 1,
     {117, {4}, 410, 0, 0, 0, "RISER2_INLET_TMP: Riser 2 inlet temperature has crossed upper non-critical threshold: Check device cooling"},
     {117, {0}, 410, 410, 4, 218, "RISER2_INLET_TMP:  Riser 2 inlet temperature has crossed upper non critical threshold: Cleared"}},
    {"RISER2_OUTLETTMP", 7, 1, 215, 1,
     {117, {4}, 410, 0, 0, 0, "RISER2_OUTLETTMP: Riser 2 outlet temperature has crossed upper non-critical threshold: Check device cooling"},
     {117, {0}, 410, 410, 4, 218, "RISER2_OUTLETTMP:  Riser 2 outlet temperature has crossed upper non critical threshold: Cleared"}},
    {"P12V_STBY_V_MOIN", 8, 2, 216, 1,
     {118, {5}, 920, 920, 4, 214, "P12V_STBY_V_MOIN: Stand-by voltage (12V) to the motherboard is upper critical: Check the power supply"},
     {118, {0}, 920, 920, 5, 218, "P12V_STBY_V_MOIN:  Stand-by voltage (12V) to the motherboard is upper critical: Cleared"}},
    {"P12V_AUX_V_MOIN", 9, 2, 216, 1,
     {118, {5}, 920, 920, 4, 214, "P12V_AUX_V_MOIN: Auxiliary voltage (12V) to the motherboard is upper critical: Check the power supply"},
     {118, {0}, 920, 920, 5, 218, "P12V_AUX_V_MOIN:  Auxiliary voltage (12V) to the motherboard is upper critical: Cleared"}},
    {"P5V_AUX_V_MOIN", 10, 2, 216, 1,
     {118, {5}, 920, 920, 4, 214, "P5V_AUX_V_MOIN: Auxiliary voltage (5V) to the motherboard is upper critical: Check the power supply"},
     {118, {0}, 920, 920, 5, 218, "P5V_AUX_V_MOIN:  Auxiliary voltage (5V) to the motherboard is : Cleared"}},
    {"P12V_V_MOIN", 11, 2, 216, 1,
     {118, {5}, 920, 920, 4, 214, "P12V_V_MOIN: Motherboard voltage (12V) is upper critical: Check the power supply"},
     {118, {0}, 920, 920, 5, 218, "P12V_V_MOIN:  Motherboard voltage (12V) is upper critical: Cleared"}},
    {"P5V_V_MOIN", 12, 2, 216, 1,
     {118, {5}, 920, 920, 4, 214, "P5V_V_MOIN: Motherboard voltage (5V) is upper critical: Check the power supply"},
     {118, {0}, 920, 920, 5, 218, "P5V_V_MOIN:  Motherboard voltage (5V) is upper critical: Cleared"}},
    {"P3V3_V_MOIN", 13, 2, 216, 1,
     {118, {5}, 920, 920, 4, 214, "P3V3_V_MOIN: Motherboard voltage (3.3V) is upper critical: Check the power supply"},
     {118, {0}, 920, 920, 5, 218, "P3V3_V_MOIN:  Motherboard voltage (3.3V) is upper critical: Cleared"}},
    {"P1V5_SSB", 14, 2, 216, 1,
     {118, {5}, 920, 920, 4, 214, "P1V5_SSB: Motherboard IOH voltage (1.5V) is upper critical: Check the power supply"},
     {118, {0}, 920, 920, 5, 218, "P1V5_SSB:  Motherboard IOH voltage (1.5V) is : Cleared"}},
    {"P1V1_SSB", 15, 2, 216, 1,
     {118, {5}, 920, 920, 4, 214, "P1V1_SSB: Motherboard IOH voltage (1.1V) is upper critical: Check the power supply"},
     {118, {0}, 920, 920, 5, 218, "P1V1_SSB:  Motherboard IOH voltage (1.1V) is : Cleared"}},
    {"P3V3_BAT_V_MOIN", 16, 2, 216, 1,
     {116, {6}, 425, 424, 5, 218, "P3V3_BAT_V_MOIN: Battery voltage level is lower non-recoverable. Possible loss of CMOS settings: Replace battery"},
     {116, {0}, 425, 425, 6, 214, "P3V3_BAT_V_MOIN:  Battery voltage level is : Cleared"}},
    {"POWER_USAGE", 17, 8, 344, 1,
     {117, {4}, 1040, 0, 0, 0, "POWER_USAGE: Motherboard Power usage is upper non-critical: Check hardware"},
     {117, {0}, 1040, 1040, 4, 218, "POWER_USAGE:  Motherboard Power usage is upper non critical: Cleared"}},
    {"P3V3_AUX", 18, 2, 216, 1,
     {118, {5}, 920, 920, 4, 214, "P3V3_AUX: Auxiliary voltage (3.3V) to the motherboard is upper critical: Check the power supply"},
     {118, {0}, 920, 920, 5, 218, "P3V3_AUX:  Auxiliary voltage (3.3V) to the motherboard is upper critical: Cleared"}},
    {"P1V8_AUX", 19, 2, 216, 1,
     {118, {5}, 920, 920, 4, 214, "P1V8_AUX: Auxiliary voltage (1.8V) to the motherboard is upper critical: Check the power supply"},
     {118, {0}, 920, 920, 5, 218, "P1V8_AUX:  Auxiliary voltage (1.8V) to the motherboard is upper critical: Cleared"}},
    {"P1V5_AUX", 20, 2, 216, 1,
     {118, {5}, 920, 920, 4, 214, "P1V5_AUX: Auxiliary voltage (1.5V) to the motherboard is upper critical: Check the power supply"},
     {118, {0}, 920, 920, 5, 218, "P1V5_AUX:  Auxiliary voltage (1.5V) to the motherboard is upper critical: Cleared"}},
    {"P1V0_AUX", 21, 2, 216, 1,
     {118, {5}, 920, 920, 4, 214, "P1V0_AUX: Auxiliary voltage (1V) to the motherboard is upper critical: Check the power supply"},
     {118, {0}, 920, 920, 5, 218, "P1V0_AUX:  Auxiliary voltage (1V) to the motherboard is upper critical: Cleared"}},
    {"P1V1_AUX", 22, 2, 216, 1,
     {118, {5}, 920, 920, 4, 214, "P1V1_AUX: Auxiliary voltage (1.1V) to the motherboard is upper critical: Check the power supply"},
     {118, {0}, 920, 920, 5, 218, "P1V1_AUX:  Auxiliary voltage (1.1V) to the motherboard is : Cleared"}},
    {"P0V75_AUX", 23, 2, 216, 1,
     {118, {5}, 920, 920, 4, 214, "P0V75_AUX: Auxiliary voltage (0.75V) to the motherboard is upper critical: Check the power supply"},
     {118, {0}, 920, 920, 5, 218, "P0V75_AUX:  Auxiliary voltage (0.75V) to the motherboard is upper critical: Cleared"}},
    {"PCH_TEMP_SENS", 24, 1, 215, 1,
     {117, {4}, 869, 0, 0, 0, "PCH_TEMP_SENS: Motherboard chipset temperature is upper non-critical"},
     {117, {0}, 869, 869, 4, 218, "PCH_TEMP_SENS:  Motherboard chipset temperature is upper non critical: Cleared"}},
    {"PCH_THERMTRIP_N", 25, 7, 215, 2,
     {0, {1}, 869, 0, 0, 0, "PCH_THERMTRIP_N: Motherboard chipset inoperable due to high temperature"},
     {0, {0}, 869, 869, 1, 215, "PCH_THERMTRIP_N:  Motherboard chipset inoperable due to high temperature: Cleared"}},
};
// clang-format on

TEST_F(SysBoardTest, EverySensorRaisedAndCleared) {
  EXPECT_EQ(std::size(kField), 25U);
  for (const FieldCase& c : kField) {
    const Sensor sensor{c.sensor, c.row, c.subtype, c.cause_id, "", ""};
    for (const Row& row : {c.raise, c.clear}) {
      Event event = at(sensor, row.offset, row.states.at(0));
      event.reading_type = c.reading_type;
      expect(event, 0, of(sensor, row));
    }
  }
}

TEST_F(SysBoardTest, EverySensorHasItsOwnLastState) {
  for (const FieldCase& c : kField) EXPECT_EQ(send({.sensor = c.sensor, .state = 100 + c.row}).result, 0);
  for (const FieldCase& c : kField) EXPECT_EQ(send({.sensor = c.sensor, .state = 0}).record.disposition, 100 + c.row);
}

}  // namespace sys_board_test
}  // namespace polaiga::test
