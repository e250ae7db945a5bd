#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "support/fault_row.h"

namespace polaiga::test {
namespace ps_test {

const Fault kMissing{378, "F0378", "fltEquipmentPsuMissing"};
const Fault kInoperable{374, "F0374", "fltEquipmentPsuInoperable"};
const Fault kIdentity{407, "F0407", "fltEquipmentPsuIdentity"};
const Fault kVoltageCritical{389, "F0389", "fltEquipmentPsuVoltageThresholdCritical"};
const Fault kVoltageNonRecoverable{391, "F0391", "fltEquipmentPsuVoltageThresholdNonRecoverable"};
const Fault kCurrent{882, "F0882", "fltEquipmentPsuPowerThreshold"};
const Fault kPower{392, "F0392", "fltEquipmentPsuPerfThresholdNonCritical"};
const Fault kPowerCritical{393, "F0393", "fltEquipmentPsuPerfThresholdCritical"};
const Fault kPowerNonRecoverable{394, "F0394", "fltEquipmentPsuPerfThresholdNonRecoverable"};
const Fault kHot{381, "F0381", "fltEquipmentPsuThermalThresholdNonCritical"};
const Fault kHotCritical{383, "F0383", "fltEquipmentPsuThermalThresholdCritical"};
const Fault kHotNonRecoverable{385, "F0385", "fltEquipmentPsuThermalThresholdNonRecoverable"};
const Fault kRedundancy{743, "F0743", "fltPowerChassisMemberChassisPsuRedundanceFailure"};
const Fault kInputError{883, "F0883", "fltEquipmentPsuInputError"};

const Cause kCauseMissing{238, "equipment-missing"};
const Cause kCauseInoperable{214, "equipment-inoperable"};
const Cause kCauseIdentity{387, "fru-problem"};
const Cause kCauseVoltage{216, "voltage-problem"};
const Cause kCausePower{344, "power-problem"};
const Cause kCauseThermal{215, "thermal-problem"};
const Cause kCauseRedundancy{260, "psu-redundancy-fail"};

const Cleared kNothing{0, 0, ""};
const Cleared kNothingTextLeft{0, 0, {}};
const Cleared kMissingTextLeft{378, 238, {}};

// The texts are for the sensor PSX of power supply 6. The order keeps the
// supply present: a line that marks it missing is followed by one that ends it.
// clang-format off
const StatesRow kRows[] = {
    {30, {1, 2, 3, 4, 5, 6, 7, 100, -1, 256}, "PSX: Power Supply 6 missing: reseat or replace PS 6", kMissing, kCauseMissing, 0, kNothingTextLeft},
    {30, {0}, "PSX: Power Supply 6 missing: Cleared", kMissing, kCauseMissing, 3, kMissingTextLeft},
    {112, {1, 2, 3, 4, 5, 6, 7, 100, -1, 256}, "PSX: Main Power Supply missing, check AC/DC power input", kMissing, kCauseMissing, 0, kNothingTextLeft},
    {112, {0}, "PSX: Main Power missing: Cleared", kMissing, kCauseMissing, 3, kMissingTextLeft},

    {32, {1, 2, 3, 4, 5, 6, 7, 100, -1}, "PSX: Power Supply 6 has lost input or input is out of range : Check input to PS or replace PS 6", kInoperable, kCauseInoperable, 0, kNothing},
    {32, {0}, "PSX: Power Supply 6 input error: Cleared", kInoperable, kCauseInoperable, 5, {374, 214, "equipment-inoperable"}},
    {33, {1, 2, 3, 4, 5, 6, 7, 100, -1}, "PSX: Power Supply 6 has lost input or input is out of range : Check input to PS or replace PS 6", kInoperable, kCauseInoperable, 0, kNothing},
    {33, {0}, "PSX: Power Supply 6 input error: Cleared", kInoperable, kCauseInoperable, 5, {374, 214, "equipment-inoperable"}},
    {34, {1, 2, 3, 4, 5, 6, 7, 100, -1}, "PSX: Power Supply 6 has lost input or input is out of range : Check input to PS or replace PS 6", kInoperable, kCauseInoperable, 0, kNothing},
    {34, {0}, "PSX: Power Supply 6 input error: Cleared", kInoperable, kCauseInoperable, 5, {374, 214, "equipment-inoperable"}},

    {35, {1, 2, 3, 4, 5, 6, 7, 100, -1}, "PSX: Power Supply 6 Configuration Error - Vendor mismatch: Check or replace PSU 6, ensure all PSUs are the same type in the system", kIdentity, kCauseIdentity, 0, kNothing},
    {36, {1, 2, 3, 4, 5, 6, 7, 100, -1}, "PSX: Power Supply 6 Configuration Error - Revision mismatch: Check or replace PSU 6, ensure all PSUs are the same type in the system", kIdentity, kCauseIdentity, 0, kNothing},
    {37, {1, 2, 3, 4, 5, 6, 7, 100, -1}, "PSX: Power Supply 6 Configuration Error - Processor missing: Check or replace PSU 6, ensure all PSUs are the same type in the system", kIdentity, kCauseIdentity, 0, kNothing},
    {38, {1, 2, 3, 4, 5, 6, 7, 100, -1}, "PSX: Power Supply 6 Configuration Error - Power supply rating mismatch: Check or replace PSU 6, ensure all PSUs are the same type in the system", kIdentity, kCauseIdentity, 0, kNothing},
    {39, {1, 2, 3, 4, 5, 6, 7, 100, -1}, "PSX: Power Supply 6 Configuration Error - Voltage rating mismatch: Check or replace PSU 6, ensure all PSUs are the same type in the system", kIdentity, kCauseIdentity, 0, kNothing},
    {40, {1, 2, 3, 4, 5, 6, 7, 100, -1}, "PSX: Power Supply 6 Configuration Error - Unknown error: Check or replace PSU 6, ensure all PSUs are the same type in the system", kIdentity, kCauseIdentity, 0, kNothing},
    {35, {0}, "PSX: Power Supply 6 FRU configuration error: Cleared", kIdentity, kCauseIdentity, 6, {407, 387, "fru-problem"}},
    {36, {0}, "PSX: Power Supply 6 FRU configuration error: Cleared", kIdentity, kCauseIdentity, 6, {407, 387, "fru-problem"}},
    {37, {0}, "PSX: Power Supply 6 FRU configuration error: Cleared", kIdentity, kCauseIdentity, 6, {407, 387, "fru-problem"}},
    {38, {0}, "PSX: Power Supply 6 FRU configuration error: Cleared", kIdentity, kCauseIdentity, 6, {407, 387, "fru-problem"}},
    {39, {0}, "PSX: Power Supply 6 FRU configuration error: Cleared", kIdentity, kCauseIdentity, 6, {407, 387, "fru-problem"}},
    {40, {0}, "PSX: Power Supply 6 FRU configuration error: Cleared", kIdentity, kCauseIdentity, 6, {407, 387, "fru-problem"}},

    {45, {1, 2, 3, 4, 5, 6, 7, 100, -1}, "PSX: Power Supply 6 Voltage is upper critical : Reseat or replace Power Supply ", kVoltageCritical, kCauseVoltage, 0, kNothing},
    {45, {0}, "PSX: Power Supply 6 Voltage is upper critical : Cleared", kVoltageCritical, kCauseVoltage, 5, {389, 216, "voltage-problem"}},
    {46, {5}, "PSX: Power Supply 6 Voltage is upper critical : Reseat or replace Power Supply ", kVoltageCritical, kCauseVoltage, 6, {391, 216, "voltage-problem"}},
    {46, {0, 1, 2, 3, 4, 6, 7, 100, -1}, "PSX: Power Supply 6 Voltage is upper non Recoverable : Reseat or replace Power Supply ", kVoltageNonRecoverable, kCauseVoltage, 5, {389, 216, "voltage-problem"}},

    {48, {1, 2, 3, 4, 5, 6, 7, 100, -1}, "PSX: Power Supply 6 current is upper non critical : Reseat or replace Power Supply ", kCurrent, kCausePower, 0, kNothing},
    {48, {0}, "PSX: Power Supply 6 current is upper non critical: Cleared ", kCurrent, kCausePower, 4, {882, 344, "power-problem"}},
    {49, {4}, "PSX: Power Supply 6 Current is upper non critical : Reseat or replace Power Supply ", kCurrent, kCausePower, 5, {882, 344, "power-problem"}},
    {49, {0, 1, 2, 3, 5, 6, 7, 100, -1}, "PSX: Power Supply 6 Current is upper critical : Reseat or replace Power Supply ", kCurrent, kCausePower, 4, {882, 344, "power-problem"}},
    {50, {5}, "PSX: Power Supply 6 Current is upper critical : Reseat or replace Power Supply ", kCurrent, kCausePower, 6, {882, 344, "power-problem"}},
    {50, {0, 1, 2, 3, 4, 6, 7, 100, -1}, "PSX: Power Supply 6 Current is upper non recoverable : Reseat or replace Power Supply ", kCurrent, kCausePower, 5, {882, 344, "power-problem"}},

    {52, {1, 2, 3, 4, 5, 6, 7, 100, -1}, "PSX: Power Supply 6 input power is upper non critical : Reseat or replace Power Supply ", kPower, kCausePower, 0, kNothing},
    {52, {0}, "PSX: Power Supply 6 input power is upper non critical levels: Cleared ", kPower, kCausePower, 4, {392, 344, "power-problem"}},
    {53, {4}, "PSX: Power Supply 6 input power is upper non critical : Reseat or replace Power Supply ", kPower, kCausePower, 5, {393, 344, "power-problem"}},
    {53, {0, 1, 2, 3, 5, 6, 7, 100, -1}, "PSX: Power Supply 6 input power is upper critical : Reseat or replace Power Supply ", kPowerCritical, kCausePower, 4, {392, 344, "power-problem"}},
    {54, {5}, "PSX: Power Supply 6 input power is upper critical : Reseat or replace Power Supply ", kPowerCritical, kCausePower, 6, {394, 344, "power-problem"}},
    {54, {0, 1, 2, 3, 4, 6, 7, 100, -1}, "PSX: Power Supply 6 input power is upper non recoverable : Reseat or replace Power Supply ", kPowerNonRecoverable, kCausePower, 5, {393, 344, "power-problem"}},

    {56, {1, 2, 3, 4, 5, 6, 7, 100, -1}, "PSX: Power Supply 6 temperature is upper non critical : Check Power Supply Status", kHot, kCauseThermal, 0, kNothing},
    {56, {0}, "PSX: Power Supply 6 temperature is upper non critical: Cleared ", kHot, kCauseThermal, 4, {381, 215, "thermal-problem"}},
    {57, {4}, "PSX: Power Supply 6 temperature is upper non critical : Check Power Supply Status", kHot, kCauseThermal, 5, {383, 215, "thermal-problem"}},
    {57, {0, 1, 2, 3, 5, 6, 7, 100, -1}, "PSX: Power Supply 6 temperature is upper critical : Check Power Supply Status", kHotCritical, kCauseThermal, 4, {381, 215, "thermal-problem"}},
    {58, {5}, "PSX: Power Supply 6 temperature is upper critical : Check Power Supply Status", kHotCritical, kCauseThermal, 6, {385, 215, "thermal-problem"}},
    {58, {0, 1, 2, 3, 4, 6, 7, 100, -1}, "PSX: Power Supply 6 temperature is upper non recoverable : Check Power Supply Status", kHotNonRecoverable, kCauseThermal, 5, {383, 215, "thermal-problem"}},

    {60, {1, 2, 3, 4, 5, 6, 7, 100, -1}, "PSX: Power Supply redundancy is lost: Reseat or replace Power Supply ", kRedundancy, kCauseRedundancy, 0, kNothing},
    {61, {1, 2, 3, 4, 5, 6, 7, 100, -1}, "PSX: Power Supply redundancy is lost: Reseat or replace Power Supply ", kRedundancy, kCauseRedundancy, 0, kNothing},
    {62, {1, 2, 3, 4, 5, 6, 7, 100, -1}, "PSX: Power Supply redundancy degraded : Reseat or replace Power Supply ", kRedundancy, kCauseRedundancy, 0, kNothing},
    {60, {0}, "PSX: Power Supply redundancy is lost: Cleared", kRedundancy, kCauseRedundancy, 5, {743, 260, "psu-redundancy-fail"}},
    {61, {0}, "PSX: Power Supply redundancy is lost: Cleared", kRedundancy, kCauseRedundancy, 5, {743, 260, "psu-redundancy-fail"}},
    {62, {0}, "PSX: Power Supply redundancy is lost: Cleared", kRedundancy, kCauseRedundancy, 5, {743, 260, "psu-redundancy-fail"}},

    {883, {1, 2, 3, 4, 5, 6, 7, 100, -1}, "PSX: Power supply 6 is in a degraded state, or has bad input voltage: Check Power Supply status", kInputError, kCausePower, 0, kNothing},
    {883, {0}, "PSX: Power supply 6 is in a degraded state, or has bad input voltage: Cleared", kInputError, kCausePower, 6, {883, 344, "power-problem"}},
};
// clang-format on

// A line of the table of power readings: offsets 3 to 5, by the sensor's row.
struct ReadingRow {
  int offset;
  std::vector<int> states;
  std::uint32_t code;
  std::uint8_t disposition;
  std::uint32_t clear_code;
  std::uint32_t clear_cause_id;
};

const ReadingRow kReadingRows[] = {
    {3, {0}, 392, 4, 392, 344}, {3, {1, 2, 3, 4, 5, 6, 7, 100, -1}, 392, 0, 0, 0},  {4, {0}, 393, 5, 393, 344},
    {4, {5}, 393, 4, 392, 344}, {4, {1, 2, 3, 4, 6, 7, 100, -1}, 392, 5, 393, 344}, {5, {0}, 394, 6, 394, 344},
    {5, {5}, 393, 6, 394, 344}, {5, {1, 2, 3, 4, 6, 7, 100, -1}, 394, 5, 393, 344},
};

// The description has the sensor's name where the level would be expected: intended.
const struct {
  const char* sensor;
  int row;
  const char* dn;
  const char* raised;
  const char* cleared;
} kReadings[] = {
    {"PSU1_PIN", 1, "sys/rack-unit-1/psu-1", "Power Supply 1 input power is PSU1_PIN: Reseat or replace Power Supply",
     "Power Supply 1 input power is PSU1_PIN: Cleared"},
    {"PSU2_PIN", 2, "sys/rack-unit-1/psu-2", "Power Supply 2 input power is PSU2_PIN: Reseat or replace Power Supply",
     "Power Supply 2 input power is PSU2_PIN: Cleared"},
    {"PSU1_POUT", 3, "sys/rack-unit-1/psu-1",
     "Power Supply 1 output power is PSU1_POUT: Reseat or replace Power Supply",
     "Power Supply 1 output power is PSU1_POUT: Cleared"},
    {"PSU2_POUT", 4, "sys/rack-unit-1/psu-2",
     "Power Supply 2 output power is PSU2_POUT: Reseat or replace Power Supply",
     "Power Supply 2 output power is PSU2_POUT: Cleared"},
};

constexpr int kLeast = -2147483647 - 1;
constexpr int kMost = 2147483647;

// The code in a patterned record. An event that yields no fault leaves it there.
constexpr std::uint32_t kCodeBefore = 0xA5A5A5A5;

// Instances of which nothing is remembered.
const int kOutside[] = {-1, -2, 256, 257, 65536, 16777217, kLeast, kMost};

class PsTest : public FilterTest {
 protected:
  PsTest() : FilterTest("process_ps_fault") {}

  static Event at(int offset, int state, int instance = 6) {
    return {.sensor = "PSX", .offset = offset, .state = state, .instance = instance};
  }

  static bool is_redundancy(int offset) { return offset >= 60 && offset <= 62; }

  // What an event of PSX leaves that yields no fault.
  static Written framed() {
    return {.fault_key = 0x1D000653 + kCodeBefore,
            .dn = "sys/rack-unit-1/psu-6",
            .rn = "psu-6",
            .oid = {{1, 3, 6, 1, 4, 1, 32473, 5, 100, 1, 15, 56, 1}},
            .oid_len = 13,
            .created = kNowText,
            .created_time = kNow};
  }

  static Written of(const StatesRow& row) {
    Written written = framed();
    written.fault_key = 0x1D000653 + row.fault.code;
    if (is_redundancy(row.offset)) written.dn = "sys/rack-unit-1";
    return written_by(row, written);
  }

  static const StatesRow& row_of(int offset, int state) {
    for (const StatesRow& row : kRows) {
      for (const int other : row.states) {
        if (row.offset == offset && other == state) return row;
      }
    }
    ADD_FAILURE() << "no line for offset " << offset << ", state " << state;
    return kRows[0];
  }

  // A redundancy event writes a DN over that of the supply, which is longer, so that the end
  // of the longer one may remain behind the NUL.
  void expect_written(const Event& event, const Written& written) {
    fe_fault_record before = patterned_record();
    if (is_redundancy(event.offset)) {
      std::snprintf(before.dn, sizeof before.dn, "sys/rack-unit-1/psu-%d", event.instance);
    }
    expect(event, 0, written, before);
  }

  void expect_line(int offset, int state) { expect_written(at(offset, state), of(row_of(offset, state))); }

  bool is_suppressed(int offset, int state, int instance) { return send(at(offset, state, instance)).result == -1; }
};

TEST_F(PsTest, NullArguments) {
  expect_null_arguments_rejected();
  EXPECT_TRUE(host().log.empty());
}

TEST_F(PsTest, EveryLineOfTheTable) {
  for (const StatesRow& row : kRows) {
    for (const int state : row.states) expect_written(at(row.offset, state), of(row));
  }
}

TEST_F(PsTest, OtherOffsetsLeaveAStampedRecord) {
  for (const int offset : {-1,  0,   1,   2,    6,   7,   29,  31,  41,  42,         43,          44,    47,    51,
                           55,  59,  63,  64,   111, 113, 114, 115, 116, 117,        118,         119,   259,   286,
                           368, 882, 884, 1139, -30, 374, 378, 392, 743, 65536 + 30, 65536 + 883, kMost, kLeast}) {
    for (const int state : {0, 1, 5}) expect(at(offset, state), -1, framed());
  }
}

TEST_F(PsTest, MissingSupplyRaisesNothingElse) {
  for (const int presence : {30, 112}) {
    expect_line(presence, 1);
    for (const StatesRow& row : kRows) {
      if (row.offset == 30 || row.offset == 112) continue;
      for (const int state : row.states) {
        if (state == 0) {
          expect_written(at(row.offset, 0), of(row));
        } else {
          expect(at(row.offset, state), -1, framed());
        }
      }
    }
    expect(at(41, 1), -1, framed());
    expect(at(41, 0), -1, framed());
    expect_line(30, 1);  // presence itself is never suppressed
    expect_line(112, 1);
    expect_line(presence, 0);
    for (const StatesRow& row : kRows) {
      for (const int state : row.states) expect_written(at(row.offset, state), of(row));
    }
  }
}

TEST_F(PsTest, BothPresenceOffsetsShareOneBit) {
  EXPECT_FALSE(is_suppressed(30, 1, 6));
  EXPECT_FALSE(is_suppressed(112, 0, 6));
  EXPECT_FALSE(is_suppressed(45, 1, 6));
  EXPECT_FALSE(is_suppressed(112, 1, 6));
  EXPECT_TRUE(is_suppressed(45, 1, 6));
  EXPECT_FALSE(is_suppressed(30, 0, 6));
  EXPECT_FALSE(is_suppressed(45, 1, 6));
}

TEST_F(PsTest, AnyStateButZeroMarksMissing) {
  for (const int state : {1, 2, 256, -1, kLeast}) {
    EXPECT_FALSE(is_suppressed(30, state, 6));
    EXPECT_TRUE(is_suppressed(45, 1, 6)) << state;
    EXPECT_FALSE(is_suppressed(30, 0, 6));
    EXPECT_FALSE(is_suppressed(45, 1, 6)) << state;
  }
}

TEST_F(PsTest, OnlyTheMissingSupplyIsSuppressed) {
  for (const int missing : {0, 1, 2, 7, 8, 9, 127, 128, 254, 255}) {
    EXPECT_FALSE(is_suppressed(30, 1, missing));
    for (int other = 0; other <= 255; ++other) {
      EXPECT_EQ(is_suppressed(883, 1, other), other == missing) << other << " while missing is " << missing;
    }
    EXPECT_FALSE(is_suppressed(30, 0, missing));
  }
}

TEST_F(PsTest, SuppliesOutsideTheStateAreRejected) {
  for (const int instance : kOutside) {
    Written written = framed();
    const std::string number = std::to_string(instance);
    written.dn = "sys/rack-unit-1/psu-" + number;
    written.rn = "psu-" + number;
    written.fault_key = (0x1D000053U | (static_cast<std::uint32_t>(instance) << 8)) + kCodeBefore;
    for (const StatesRow& row : kRows) {
      for (const int state : {0, 1, 4, 5}) expect(at(row.offset, state, instance), -1, written);
    }
    expect(at(31, 1, instance), -1, written);
  }
  for (const int instance : {0, 255}) {
    for (const StatesRow& row : kRows) {
      for (const int state : row.states) {
        EXPECT_EQ(send(at(row.offset, state, instance)).result, 0) << instance << ", offset " << row.offset;
      }
    }
  }
}

TEST_F(PsTest, RejectedSupplyOutsideTheStateMarksNobody) {
  for (const int instance : kOutside) EXPECT_TRUE(is_suppressed(30, 1, instance));
  for (int other = 0; other <= 255; ++other) EXPECT_FALSE(is_suppressed(45, 1, other)) << other;
}

TEST_F(PsTest, InstanceInNamesAndKey) {
  const struct {
    int instance;
    std::uint32_t key;
    const char* dn;
    const char* rn;
    const char* descr;
  } cases[] = {
      {0, 0x1D000053 + 378, "sys/rack-unit-1/psu-0", "psu-0", "PSX: Power Supply 0 missing: reseat or replace PS 0"},
      {1, 0x1D000153 + 378, "sys/rack-unit-1/psu-1", "psu-1", "PSX: Power Supply 1 missing: reseat or replace PS 1"},
      {255, 0x1D00FF53 + 378, "sys/rack-unit-1/psu-255", "psu-255",
       "PSX: Power Supply 255 missing: reseat or replace PS 255"},
  };
  for (const auto& c : cases) {
    Written written = of(kRows[0]);
    written.fault_key = c.key;
    written.dn = c.dn;
    written.rn = c.rn;
    written.fault_dn = std::string(c.dn) + "/fault-F0378";
    written.descr = c.descr;
    expect(at(30, 1, c.instance), 0, written);
  }
}

TEST_F(PsTest, KeyAdditionWraps) {
  Written written = of(row_of(45, 1));
  written.fault_key = 0xFF0006FF + 389;
  Event event = at(45, 1);
  event.entity_id = 0xFF;
  event.entity_subtype = 0xFF;
  expect(event, 0, written);
  // The key has the number of the row and the entity of the event.
  event = {.sensor = "PSU2_POUT", .offset = 3, .state = 1, .instance = -1, .entity_id = 0xFF, .entity_subtype = 0xFF};
  EXPECT_EQ(send(event).record.fault_key, 0xFF0004FF + 392U);
}

TEST_F(PsTest, KeyOfARejectedEventHasTheCallersCodeOnTop) {
  EXPECT_FALSE(is_suppressed(30, 1, 6));
  const struct {
    Event event;
    std::uint32_t code;
    std::uint32_t key;
  } cases[] = {
      {at(31, 1), 0, 0x1D000653},                // unknown offset
      {at(31, 0), 378, 0x1D0007CD},              // 378 is 0x17A
      {at(45, 1), 389, 0x1D0007D8},              // suppressed; 389 is 0x185
      {at(45, 1), 0xFFFFFFFF, 0x1D000652},       // the addition wraps
      {at(30, 1, 256), 0x01000000, 0x1E010053},  // a supply without state
      {at(3, 1), 392, 0x1D0007DB},               // a power reading of an unknown sensor; 392 is 0x188
      {{.sensor = "PSU2_PIN", .offset = 31, .state = 1, .instance = 6}, 1, 0x1D000254},
  };
  for (const auto& c : cases) {
    fe_fault_record before = patterned_record();
    before.code = c.code;
    const Outcome outcome = send(c.event, before);
    EXPECT_EQ(outcome.result, -1) << c.event.sensor << " offset " << c.event.offset;
    EXPECT_EQ(outcome.record.code, c.code);
    EXPECT_EQ(outcome.record.fault_key, c.key) << c.event.sensor << " offset " << c.event.offset;
  }
}

TEST_F(PsTest, RedundancyIsOfTheRackUnit) {
  Written written = of(row_of(61, 1));
  written.dn = "sys/rack-unit-1";
  written.fault_dn = "sys/rack-unit-1/fault-F0743";
  written.rn = "psu-2";
  written.fault_key = 0x1D000253 + 743;
  expect_written(at(61, 1, 2), written);
}

TEST_F(PsTest, PowerReadings) {
  for (const auto& reading : kReadings) {
    for (const ReadingRow& row : kReadingRows) {
      for (const int state : row.states) {
        const std::string code_text = std::string("F0").append(std::to_string(row.code));
        const Written written{.entity_instance = reading.row,
                              .fault_key = 0x1D000053 + (static_cast<std::uint32_t>(reading.row) << 8) + row.code,
                              .dn = reading.dn,
                              .fault_dn = std::string(reading.dn) + "/fault-" + code_text,
                              .rn = "psu-9",
                              .code_text = code_text,
                              .oid = {{1, 3, 6, 1, 4, 1, 32473, 5, 100, 1, 15, 56, 1}},
                              .oid_len = 13,
                              .descr = state == 0 ? reading.cleared : reading.raised,
                              .created = kNowText,
                              .created_time = kNow,
                              .disposition = row.disposition,
                              .clear_cause_id = row.clear_cause_id,
                              .cause = "power-problem",
                              .code = row.code,
                              .clear_code = row.clear_code,
                              .name = "fltEquipmentPsuPerfThresholdNonCritical",
                              .descr_was_longer = state == 0};
        expect({.sensor = reading.sensor, .offset = row.offset, .state = state, .instance = 9}, 0, written);
      }
    }
  }
}

// The raise text is written first and then cut, so that its end remains behind the NUL.
TEST_F(PsTest, ClearedPowerReadingHasTheEndOfTheRaiseTextBehindItsNul) {
  const Outcome outcome = send({.sensor = "PSU1_PIN", .offset = 3, .state = 0, .instance = 1});
  const std::string text(std::begin(outcome.record.descr), std::end(outcome.record.descr));
  const std::string whole =
      std::string("Power Supply 1 input power is PSU1_PIN: Cleared") + '\0' + "r replace Power Supply" + '\0';
  EXPECT_EQ(text, whole + std::string(FE_DESCR_SIZE - whole.size(), '\xA5'));
}

TEST_F(PsTest, PowerReadingsAreNeverSuppressed) {
  for (const int instance : {1, 2, 3, 4}) EXPECT_FALSE(is_suppressed(30, 1, instance));
  for (const auto& reading : kReadings) {
    for (const ReadingRow& row : kReadingRows) {
      for (const int state : row.states) {
        for (const int instance : {1, 2, 3, 4, 0, -1, 256, kLeast, kMost}) {
          const Outcome outcome =
              send({.sensor = reading.sensor, .offset = row.offset, .state = state, .instance = instance});
          EXPECT_EQ(outcome.result, 0) << reading.sensor << " of " << instance;
          EXPECT_EQ(outcome.record.code, row.code);
          EXPECT_EQ(outcome.record.event.entity_instance, reading.row);
          EXPECT_EQ(outcome.record.rn, std::string("psu-").append(std::to_string(instance)));
        }
      }
    }
  }
}

TEST_F(PsTest, PowerReadingOfAnUnknownSensorIsRejected) {
  for (const char* sensor : {"PSU3_PIN", "psu1_pin", "PSU1_PI", "PSU1_PINX", "PSU1_POUT ", ""}) {
    for (const int offset : {3, 4, 5}) {
      for (const int state : {0, 1, 5}) {
        expect({.sensor = sensor, .offset = offset, .state = state, .instance = 6}, -1, framed());
      }
    }
  }
}

// Names and memory follow the instance of the event; the record's instance is the sensor's row.
TEST_F(PsTest, OtherEventsOfAPowerReadingSensor) {
  Written missing = of(kRows[0]);
  missing.entity_instance = 3;
  missing.fault_key = 0x1D000353 + 378;
  missing.descr = "PSU1_POUT: Power Supply 6 missing: reseat or replace PS 6";
  expect({.sensor = "PSU1_POUT", .offset = 30, .state = 1, .instance = 6}, 0, missing);
  EXPECT_FALSE(is_suppressed(45, 1, 3));
  EXPECT_TRUE(is_suppressed(45, 1, 6));

  Written rejected = framed();
  rejected.entity_instance = 3;
  rejected.fault_key = 0x1D000353 + kCodeBefore;
  expect({.sensor = "PSU1_POUT", .offset = 52, .state = 1, .instance = 6}, -1, rejected);
  expect({.sensor = "PSU1_POUT", .offset = 51, .state = 0, .instance = 6}, -1, rejected);

  Written cleared = of(row_of(52, 0));
  cleared.entity_instance = 3;
  cleared.fault_key = 0x1D000353 + 392;
  cleared.descr = "PSU1_POUT: Power Supply 6 output power is upper non critical levels: Cleared ";
  expect({.sensor = "PSU1_POUT", .offset = 52, .state = 0, .instance = 6}, 0, cleared);
}

TEST_F(PsTest, InputOrOutputPower) {
  const struct {
    const char* sensor;
    const char* descr;  // of offset 53, state 4
  } cases[] = {
      {"PSU1_PIN", "PSU1_PIN: Power Supply 6 input power is upper non critical : Reseat or replace Power Supply "},
      {"PSU1_POUT", "PSU1_POUT: Power Supply 6 output power is upper non critical : Reseat or replace Power Supply "},
      {"POUT", "POUT: Power Supply 6 output power is upper non critical : Reseat or replace Power Supply "},
      {"APPOUTB", "APPOUTB: Power Supply 6 output power is upper non critical : Reseat or replace Power Supply "},
      {"Pout", "Pout: Power Supply 6 input power is upper non critical : Reseat or replace Power Supply "},
      {"P_OUT", "P_OUT: Power Supply 6 input power is upper non critical : Reseat or replace Power Supply "},
      {"POU", "POU: Power Supply 6 input power is upper non critical : Reseat or replace Power Supply "},
      {"", ": Power Supply 6 input power is upper non critical : Reseat or replace Power Supply "},
  };
  for (const auto& c : cases) {
    EXPECT_STREQ(send({.sensor = c.sensor, .offset = 53, .state = 4, .instance = 6}).record.descr, c.descr);
  }
  const std::pair<int, int> events[] = {{52, 1}, {52, 0}, {53, 1}, {54, 5}, {54, 6}};
  const char* const texts[] = {
      "PSU_POUT: Power Supply 6 output power is upper non critical : Reseat or replace Power Supply ",
      "PSU_POUT: Power Supply 6 output power is upper non critical levels: Cleared ",
      "PSU_POUT: Power Supply 6 output power is upper critical : Reseat or replace Power Supply ",
      "PSU_POUT: Power Supply 6 output power is upper critical : Reseat or replace Power Supply ",
      "PSU_POUT: Power Supply 6 output power is upper non recoverable : Reseat or replace Power Supply ",
  };
  for (std::size_t i = 0; i < std::size(events); ++i) {
    const auto [offset, state] = events[i];
    EXPECT_STREQ(send({.sensor = "PSU_POUT", .offset = offset, .state = state, .instance = 6}).record.descr, texts[i]);
  }
}

TEST_F(PsTest, EveryEventIsLogged) {
  const struct {
    Event event;
    const char* line;
  } cases[] = {
      {{.sensor = "PSX", .offset = 45, .state = 1, .instance = 6},
       "sensor: PSX id: 29 instance: 6 type: 83 Index: 486540883\n"},
      {{.sensor = "PSX", .offset = 31, .state = 1, .instance = 6},
       "sensor: PSX id: 29 instance: 6 type: 83 Index: 486540883\n"},
      {{.sensor = "PSU2_POUT", .offset = 3, .state = 0, .instance = 2},
       "sensor: PSU2_POUT id: 29 instance: 2 type: 83 Index: 486540371\n"},
      {{.sensor = "", .offset = 4, .state = 0, .instance = -5, .entity_id = 0x8A, .entity_subtype = 0xFF},
       "sensor:  id: 138 instance: -5 type: 255 Index: -1025\n"},
      {{.sensor = "%s%n", .offset = 30, .state = 1, .instance = 1, .entity_id = 0x80, .entity_subtype = 0},
       "sensor: %s%n id: 128 instance: 1 type: 0 Index: -2147483392\n"},
  };
  for (const auto& c : cases) {
    host().log.clear();
    send(c.event);
    EXPECT_EQ(host().log, std::vector<std::string>{c.line});
  }
}

TEST_F(PsTest, SensorNames) {
  EXPECT_STREQ(send({.sensor = "", .offset = 112, .state = 1, .instance = 6}).record.descr,
               ": Main Power Supply missing, check AC/DC power input");
  EXPECT_STREQ(send({.sensor = "%s%n:%d", .offset = 112, .state = 0, .instance = 6}).record.descr,
               "%s%n:%d: Main Power missing: Cleared");
  EXPECT_STREQ(send({.sensor = "ABCDEFGHIJKLMNOPQRS", .offset = 32, .state = 0, .instance = 6}).record.descr,
               "ABCDEFGHIJKLMNOPQRS: Power Supply 6 input error: Cleared");
  // Twenty characters fill the field without a NUL, so the name goes on into the reading type.
  const Event full{.sensor = "ABCDEFGHIJKLMNOPQPOU", .offset = 52, .state = 0, .instance = 6, .reading_type = 0x54};
  EXPECT_STREQ(send(full).record.descr,
               "ABCDEFGHIJKLMNOPQPOUT: Power Supply 6 output power is upper non critical levels: Cleared ");
}

TEST_F(PsTest, LongestDescriptionFits) {
  const Outcome outcome = send({.sensor = "ABCDEFGHIJKLMNOPQRS", .offset = 38, .state = 1, .instance = 255});
  EXPECT_STREQ(outcome.record.descr,
               "ABCDEFGHIJKLMNOPQRS: Power Supply 255 Configuration Error - Power supply rating mismatch: Check or "
               "replace PSU 255, ensure all PSUs are the same type in the system");
}

TEST_F(PsTest, ReadingTypeIsNotAsked) {
  for (const std::uint32_t reading_type : {0U, 2U, 0xFFFFFFFFU}) {
    Event event = at(53, 4);
    event.reading_type = reading_type;
    expect(event, 0, of(row_of(53, 4)));
    EXPECT_STREQ(
        send({.sensor = "PSU1_PIN", .offset = 4, .state = 1, .instance = 1, .reading_type = reading_type}).record.descr,
        "Power Supply 1 input power is PSU1_PIN: Reseat or replace Power Supply");
  }
}

TEST_F(PsTest, DictionariesAreNotAsked) {
  host().names = {{389, "a name"}, {392, "a name"}};
  host().causes = {{216, "a cause"}, {344, "a cause"}, {0, "no cause"}};
  expect_line(45, 1);
  expect_line(45, 0);
  const Outcome outcome = send({.sensor = "PSU1_PIN", .offset = 3, .state = 0, .instance = 1});
  EXPECT_STREQ(outcome.record.cause, "power-problem");
  EXPECT_STREQ(outcome.record.name, "fltEquipmentPsuPerfThresholdNonCritical");
}

}  // namespace ps_test
}  // namespace polaiga::test
