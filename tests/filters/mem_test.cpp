#include <string>
#include <vector>

#include "support/fault_row.h"

namespace polaiga::test {
namespace mem_test {

const Fault kMissing{502, "F0502", "fltMemoryUnitIdentityUnestablishable"};
const Fault kHot{186, "F0186", "fltMemoryUnitThermalThresholdNonCritical"};
const Fault kHotCritical{187, "F0187", "fltMemoryUnitThermalThresholdCritical"};
const Fault kHotNonRecoverable{188, "F0188", "fltMemoryUnitThermalThresholdNonRecoverable"};
const Fault kVoltageCritical{190, "F0190", "fltMemoryArrayVoltageThresholdCritical"};
const Fault kVoltageNonRecoverable{191, "F0191", "fltMemoryArrayVoltageThresholdNonRecoverable"};
const Fault kInoperable{185, "F0185", "fltMemoryUnitInoperable"};
const Fault kDegraded{184, "F0184", "fltMemoryUnitDegraded"};
const Fault kDisabled{844, "F0844", "fltMemoryUnitDisabled"};

const Cause kEquipmentMissing{238, "equipment-missing"};
const Cause kThermal{215, "thermal-problem"};
const Cause kVoltage{216, "voltage-problem"};
const Cause kEquipmentInoperable{214, "equipment-inoperable"};
const Cause kEquipmentDisabled{388, "equipment-disabled"};

const Cleared kNothing{0, 0, ""};
const Cleared kNothingTextLeft{0, 0, {}};
const Cleared kMissingTextLeft{502, 238, {}};

// The texts are for the sensor MEM_S of unit or riser 3.
// clang-format off
const StatesRow kRows[] = {
    {64, {1, 2, 3, 4, 5, 6, 7, 100, -1}, "MEM_S: Memory Unit 3 missing: reseat or replace physical memory 3", kMissing, kEquipmentMissing, 0, kNothingTextLeft},
    {64, {0}, "MEM_S: Memory Unit 3 missing: Cleared", kMissing, kEquipmentMissing, 3, kMissingTextLeft},
    {90, {1, 2, 3, 4, 5, 6, 7, 100, -1}, "MEM_S: Memory Riser 3 missing: reseat or replace memory riser 3", kMissing, kEquipmentMissing, 0, kNothingTextLeft},
    {90, {0}, "MEM_S: Memory Riser 3 missing: Cleared", kMissing, kEquipmentMissing, 3, kMissingTextLeft},

    {66, {1, 2, 3, 4, 5, 6, 7, 100, -1}, "MEM_S: Memory Unit 3 temperature is upper non critical", kHot, kThermal, 0, kNothing},
    {66, {0}, "MEM_S: Memory Unit 3 temperature is upper non critical: Cleared ", kHot, kThermal, 1, {186, 215, "thermal-problem"}},
    {67, {1}, "MEM_S: Memory Unit 3 temperature is upper non critical", kHot, kThermal, 5, {187, 215, "thermal-problem"}},
    {67, {0, 2, 3, 4, 5, 6, 7, 100, -1, 257}, "MEM_S: Memory Unit 3 temperature is upper critical", kHotCritical, kThermal, 1, {186, 215, "thermal-problem"}},
    {68, {5}, "MEM_S: Memory Unit 3 temperature is upper critical", kHotCritical, kThermal, 6, {188, 215, "thermal-problem"}},
    {68, {0, 1, 2, 3, 4, 6, 7, 100, -1, 261}, "MEM_S: Memory Unit 3 temperature is upper non recoverable", kHotNonRecoverable, kThermal, 5, {187, 215, "thermal-problem"}},

    {72, {1, 2, 3, 4, 5, 6, 7, 100, -1}, "MEM_S: DIMM 3 is inoperable : Check or replace DIMM", kInoperable, kEquipmentInoperable, 0, {184, 218, "equipment-degraded"}},
    {72, {0}, "MEM_S: DIMM 3 is inoperable : Cleared", kDegraded, kEquipmentInoperable, 5, {185, 214, "equipment-inoperable"}},

    {75, {1, 2, 3, 4, 5, 6, 7, 100, -1}, "MEM_S: Memory riser 3 Thermal Threshold at upper non critical levels: Check Cooling ", kHot, kThermal, 0, kNothing},
    {75, {0}, "MEM_S: Memory riser 3 Thermal Threshold at upper non critical levels: Cleared ", kHot, kThermal, 1, {186, 215, "thermal-problem"}},
    {76, {1}, "MEM_S: Memory riser 3 Thermal Threshold at upper non critical levels: Check Cooling ", kHot, kThermal, 5, {187, 215, "thermal-problem"}},
    {76, {0, 2, 3, 4, 5, 6, 7, 100, -1, 257}, "MEM_S: Memory riser 3 Thermal Threshold at upper critical levels: Check Cooling ", kHotCritical, kThermal, 1, {186, 215, "thermal-problem"}},
    {77, {5}, "MEM_S: Memory riser 3 Thermal Threshold at upper critical levels: Check Cooling ", kHotCritical, kThermal, 6, {188, 215, "thermal-problem"}},
    {77, {0, 1, 2, 3, 4, 6, 7, 100, -1, 261}, "MEM_S: Memory riser 3 Thermal Threshold at upper non recoverable levels: Check Cooling ", kHotNonRecoverable, kThermal, 5, {187, 215, "thermal-problem"}},

    {85, {1, 2, 3, 4, 5, 6, 7, 100, -1}, "MEM_S: Memory riser 3 has been disabled due to a mixed or invalid memory riser configuration: Remove the riser and make sure the host CPU type supports the Memory Riser DDR type that is installed.", kDisabled, kEquipmentDisabled, 0, kNothing},
    {85, {0}, "MEM_S: Memory riser 3 has been disabled due to a mixed or invalid memory riser configuration: Cleared", kDisabled, kEquipmentDisabled, 6, {844, 388, "equipment-disabled"}},

    {96, {1, 2, 3, 4, 5, 6, 7, 100, -1}, "MEM_S: Memory riser 3 Voltage Threshold at lower critical levels: Check Power Supply; reseat power connectors on the motherboard", kVoltageCritical, kVoltage, 0, kNothing},
    {96, {0}, "MEM_S: Memory riser 3 Voltage Threshold at lower critical levels: Cleared ", kVoltageCritical, kVoltage, 5, {190, 216, "voltage-problem"}},
    {97, {5}, "MEM_S: Memory riser 3 Voltage Threshold at lower critical levels: Check Power Supply; reseat power connectors on the motherboard", kVoltageCritical, kVoltage, 6, {191, 216, "voltage-problem"}},
    {97, {0, 1, 2, 3, 4, 6, 7, 100, -1, 261}, "MEM_S: Memory riser 3 Voltage Threshold at lower non recoverable levels: Check Power Supply; reseat power connectors on the motherboard ", kVoltageNonRecoverable, kVoltage, 5, {190, 216, "voltage-problem"}},
    {99, {1, 2, 3, 4, 5, 6, 7, 100, -1}, "MEM_S: Memory riser 3 Voltage Threshold at upper critical levels: Check Power Supply; reseat power connectors on the motherboard", kVoltageCritical, kVoltage, 0, kNothing},
    {99, {0}, "MEM_S: Memory riser 3 Voltage Threshold at upper critical levels: Cleared ", kVoltageCritical, kVoltage, 5, {190, 216, "voltage-problem"}},
    {100, {5}, "MEM_S: Memory riser 3 Voltage Threshold at upper critical levels: Check Power Supply; reseat power connectors on the motherboard", kVoltageCritical, kVoltage, 6, {191, 216, "voltage-problem"}},
    {100, {0, 1, 2, 3, 4, 6, 7, 100, -1, 261}, "MEM_S: Memory riser 3 Voltage Threshold at upper non recoverable levels: Check Power Supply; reseat power connectors on the motherboard ", kVoltageNonRecoverable, kVoltage, 5, {190, 216, "voltage-problem"}},
};
// clang-format on

class MemTest : public FilterTest {
 protected:
  MemTest() : FilterTest("process_mem_fault") {}

  static Event at(int offset, int state) {
    return {.sensor = "MEM_S", .offset = offset, .state = state, .instance = 3};
  }

  // Risers are addressed through their array. Offset 85 is a riser's, but is not addressed so.
  static bool is_of_the_array(int offset) {
    for (const int riser : {75, 76, 77, 87, 88, 89, 90, 96, 97, 99, 100}) {
      if (offset == riser) return true;
    }
    return false;
  }

  // What every event of MEM_S writes, whether or not it yields a fault.
  static Written framed(int offset) {
    const bool array = is_of_the_array(offset);
    return {.entity_instance = 0x0B0C0D03,  // the group 0x0A0B0C0D, shifted, and 3
            .fault_key = 0x1D000353,
            .dn = array ? "sys/rack-unit-1/board/memarray-1" : "sys/rack-unit-1/board/memarray-1/mem-3",
            .rn = array ? "memarray-1" : "memarray-1/mem-3",
            .oid = {{1, 3, 6, 1, 4, 1, 32473, 5, 100, 1, 30, array ? 1U : 11U, 1}},
            .oid_len = 13,
            .created = kNowText,
            .created_time = kNow};
  }

  static Written of(const StatesRow& row) { return written_by(row, framed(row.offset)); }

  void expect_every_line() {
    for (const StatesRow& row : kRows) {
      for (const int state : row.states) expect(at(row.offset, state), 0, of(row));
    }
  }
};

TEST_F(MemTest, NullArguments) { expect_null_arguments_rejected(); }

TEST_F(MemTest, EveryLineOfTheTable) { expect_every_line(); }

TEST_F(MemTest, OtherOffsetsLeaveAStampedRecord) {
  for (const int offset : {65,  69,  70,  71,  73,  74,    78,    79,  80,          81,         82,  83,  84,  86,
                           87,  88,  89,  91,  92,  93,    94,    95,  98,          -1,         0,   1,   62,  63,
                           101, 102, 115, 118, 320, 65600, 65626, -64, -2147483647, 2147483647, 256, 346, 355, 356}) {
    for (const int state : {0, 1, 5}) expect(at(offset, state), -1, framed(offset));
  }
}

// A missing unit or riser is reported and not remembered: intended.
TEST_F(MemTest, MissingMemorySuppressesNothing) {
  for (const int offset : {64, 90}) {
    for (const int state : {1, 2, -1}) EXPECT_EQ(send(at(offset, state)).result, 0);
    expect_every_line();
    EXPECT_EQ(send(at(offset, 0)).result, 0);
    expect_every_line();
  }
}

TEST_F(MemTest, EveryInstanceIsAccepted) {
  for (const int instance : {-2147483647 - 1, -1, 0, 1, 24, 25, 96, 255, 256, 257, 65536, 2147483647}) {
    for (const int missing : {1, 0}) {
      EXPECT_EQ(send({.sensor = "M", .offset = 64, .state = missing, .instance = instance}).result, 0) << instance;
      EXPECT_EQ(send({.sensor = "M", .offset = 90, .state = missing, .instance = instance}).result, 0) << instance;
      for (const StatesRow& row : kRows) {
        EXPECT_EQ(send({.sensor = "M", .offset = row.offset, .state = 5, .instance = instance}).result, 0) << instance;
      }
    }
  }
}

TEST_F(MemTest, InstanceInNamesAndKey) {
  const struct {
    int instance;
    std::int32_t left;  // with the group
    std::uint32_t key;
    const char* number;
  } cases[] = {
      {1, 0x0B0C0D01, 0x1D000153, "1"},
      {0, 0x0B0C0D00, 0x1D000053, "0"},
      {-1, -1, 0xFFFFFF53, "-1"},
      {2147483647, 2147483647, 0xFFFFFF53, "2147483647"},
      {-2147483647 - 1, -1962144512, 0x1D000053, "-2147483648"},  // 0x8B0C0D00
      {0x01020304, 0x0B0E0F04, 0x1F030453, "16909060"},
  };
  for (const auto& c : cases) {
    const std::string number = c.number;
    Written unit = of(kRows[0]);
    unit.entity_instance = c.left;
    unit.fault_key = c.key;
    unit.dn = "sys/rack-unit-1/board/memarray-1/mem-" + number;
    unit.rn = "memarray-1/mem-" + number;
    unit.fault_dn = "sys/rack-unit-1/board/memarray-1/mem-" + number + "/fault-F0502";
    unit.descr = "MEM_S: Memory Unit " + number + " missing: reseat or replace physical memory " + number;
    expect({.sensor = "MEM_S", .offset = 64, .state = 1, .instance = c.instance}, 0, unit);
    Written riser = of(kRows[2]);
    riser.entity_instance = c.left;
    riser.fault_key = c.key;
    riser.descr = "MEM_S: Memory Riser " + number + " missing: reseat or replace memory riser " + number;
    expect({.sensor = "MEM_S", .offset = 90, .state = 1, .instance = c.instance}, 0, riser);
  }
}

TEST_F(MemTest, GroupGoesIntoTheInstance) {
  const struct {
    std::int32_t group;
    std::int32_t instance;
    std::int32_t left;
  } cases[] = {
      {2, 5, 517}, {0, 3, 3},     {1, 0x0100, 0x0100}, {-1, 5, -251}, {0x01000000, 7, 7}, {0x00FFFFFF, 0x12, -238},
      {3, -1, -1}, {1, 257, 257},
  };
  for (const auto& c : cases) {
    for (const int offset : {64, 85, 90, 65, 87}) {
      const Outcome outcome =
          send({.sensor = "M", .offset = offset, .state = 1, .instance = c.instance, .group = c.group});
      EXPECT_EQ(outcome.record.event.entity_instance, c.left) << c.group << " and " << c.instance;
      EXPECT_EQ(outcome.record.event.group_instance, c.group);
    }
  }
}

TEST_F(MemTest, EntityAndReadingTypeAreTheEvents) {
  Written written = of(kRows[0]);
  written.fault_key = 0xFE0003FF;
  for (const std::uint32_t reading_type : {0U, 1U, 2U, 0xFFFFFFFFU}) {
    expect({.sensor = "MEM_S",
            .offset = 64,
            .state = 1,
            .instance = 3,
            .entity_id = 0xFE,
            .entity_subtype = 0xFF,
            .reading_type = reading_type},
           0, written);
  }
}

TEST_F(MemTest, SensorNames) {
  EXPECT_STREQ(send({.sensor = "", .offset = 64, .state = 0, .instance = 3}).record.descr,
               ": Memory Unit 3 missing: Cleared");
  EXPECT_STREQ(send({.sensor = "%s%n:%d", .offset = 72, .state = 0, .instance = 3}).record.descr,
               "%s%n:%d: DIMM 3 is inoperable : Cleared");
  EXPECT_STREQ(send({.sensor = "ABCDEFGHIJKLMNOPQRS", .offset = 64, .state = 0, .instance = 3}).record.descr,
               "ABCDEFGHIJKLMNOPQRS: Memory Unit 3 missing: Cleared");
  // Twenty characters fill the field without a NUL, so the name goes on into the reading type.
  const Event full{.sensor = "ABCDEFGHIJKLMNOPQRST", .offset = 64, .state = 0, .instance = 3, .reading_type = 0x5A};
  EXPECT_STREQ(send(full).record.descr, "ABCDEFGHIJKLMNOPQRSTZ: Memory Unit 3 missing: Cleared");
}

TEST_F(MemTest, LongestDescriptionFits) {
  const Outcome outcome = send({.sensor = "ABCDEFGHIJKLMNOPQRS", .offset = 85, .state = 1, .instance = 4});
  EXPECT_STREQ(outcome.record.descr,
               "ABCDEFGHIJKLMNOPQRS: Memory riser 4 has been disabled due to a mixed or invalid memory riser "
               "configuration: Remove the riser and make sure the host CPU type supports the Memory Riser DDR type "
               "that is installed.");
}

TEST_F(MemTest, DictionariesAreNotAsked) {
  host().names = {{502, "a name"}};
  host().causes = {{238, "a cause"}, {0, "no cause"}};
  expect(at(64, 1), 0, of(kRows[0]));
  expect(at(64, 0), 0, of(kRows[1]));
  EXPECT_TRUE(host().log.empty());
}

}  // namespace mem_test
}  // namespace polaiga::test
