#include <limits>
#include <string>

#include "support/fault_row.h"

namespace polaiga::test {
namespace front_panel_test {

const char* const kNonCritical =
    "FP_AMBIENT: Front Panel Thermal Threshold at upper non critical levels: Check Cooling ";
const char* const kNonCriticalCleared =
    "FP_AMBIENT: Front Panel Thermal Threshold at upper non critical levels: Cleared ";
const char* const kCritical = "FP_AMBIENT: Front Panel Thermal Threshold at upper critical levels: Check Cooling ";
const char* const kNonRecoverable =
    "FP_AMBIENT: Front Panel Thermal Threshold at upper non recoverable levels: Check Cooling ";

const FaultRow kRows[] = {
    {105, 1, kNonCritical, 154, 0, 0, 0, ""},
    {105, 2, kNonCritical, 154, 0, 0, 0, ""},
    {105, 4, kNonCritical, 154, 0, 0, 0, ""},
    {105, 5, kNonCritical, 154, 0, 0, 0, ""},
    {105, 6, kNonCritical, 154, 0, 0, 0, ""},
    {105, 3, kNonCritical, 154, 0, 0, 0, ""},
    {105, 7, kNonCritical, 154, 0, 0, 0, ""},
    {105, 100, kNonCritical, 154, 0, 0, 0, ""},
    {105, 256, kNonCritical, 154, 0, 0, 0, ""},
    {105, -1, kNonCritical, 154, 0, 0, 0, ""},
    {105, 0, kNonCriticalCleared, 154, 4, 154, 215, "thermal-problem"},

    {106, 4, kNonCritical, 154, 5, 153, 215, "thermal-problem"},
    {106, 0, kCritical, 153, 4, 154, 215, "thermal-problem"},
    {106, 1, kCritical, 153, 4, 154, 215, "thermal-problem"},
    {106, 2, kCritical, 153, 4, 154, 215, "thermal-problem"},
    {106, 3, kCritical, 153, 4, 154, 215, "thermal-problem"},
    {106, 5, kCritical, 153, 4, 154, 215, "thermal-problem"},
    {106, 6, kCritical, 153, 4, 154, 215, "thermal-problem"},
    {106, 7, kCritical, 153, 4, 154, 215, "thermal-problem"},
    {106, 100, kCritical, 153, 4, 154, 215, "thermal-problem"},
    {106, -1, kCritical, 153, 4, 154, 215, "thermal-problem"},
    {106, 260, kCritical, 153, 4, 154, 215, "thermal-problem"},

    {107, 5, kCritical, 153, 6, 155, 215, "thermal-problem"},
    {107, 0, kNonRecoverable, 155, 3, 153, 215, "thermal-problem"},
    {107, 1, kNonRecoverable, 155, 3, 153, 215, "thermal-problem"},
    {107, 2, kNonRecoverable, 155, 3, 153, 215, "thermal-problem"},
    {107, 3, kNonRecoverable, 155, 3, 153, 215, "thermal-problem"},
    {107, 4, kNonRecoverable, 155, 3, 153, 215, "thermal-problem"},
    {107, 6, kNonRecoverable, 155, 3, 153, 215, "thermal-problem"},
    {107, 7, kNonRecoverable, 155, 3, 153, 215, "thermal-problem"},
    {107, 100, kNonRecoverable, 155, 3, 153, 215, "thermal-problem"},
    {107, -1, kNonRecoverable, 155, 3, 153, 215, "thermal-problem"},
    {107, 261, kNonRecoverable, 155, 3, 153, 215, "thermal-problem"},
};

const KnownFault kFaults[] = {
    {153, "F0153", "fltEquipmentChassisThermalThresholdCritical", 215, "thermal-problem"},
    {154, "F0154", "fltEquipmentChassisThermalThresholdNonCritical", 215, "thermal-problem"},
    {155, "F0155", "fltEquipmentChassisThermalThresholdNonRecoverable", 215, "thermal-problem"},
};

class FrontPanelTest : public FilterTest {
 protected:
  FrontPanelTest() : FilterTest("process_front_panel_fault") {}

  static Event at(int offset, int state) { return {.sensor = "FP_AMBIENT", .offset = offset, .state = state}; }

  // What every event writes, whether or not it yields a fault.
  static Written framed() {
    return {.fault_key = 0x1D000153,
            .dn = "sys/rack-unit-1",
            .rn = "rack-unit-1",
            .oid = {{1, 3, 6, 1, 4, 1, 32473, 5, 100, 1, 15, 7, 1}},
            .oid_len = 13,
            .created = kNowText,
            .created_time = kNow};
  }

  static Written of(const FaultRow& row) { return written_by(row, kFaults, framed()); }
};

TEST_F(FrontPanelTest, NullArguments) { expect_null_arguments_rejected(); }

TEST_F(FrontPanelTest, EveryLineOfTheTable) {
  for (const FaultRow& row : kRows) expect(at(row.offset, row.state), 0, of(row));
}

TEST_F(FrontPanelTest, OtherOffsetsLeaveAStampedRecord) {
  for (const int offset : {-1, 0, 1, 103, 104, 108, 117, 118, 126, 256 + 105, 65536 + 106,
                           std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
    for (const int state : {0, 1, 4, 5}) expect(at(offset, state), -1, framed());
  }
}

TEST_F(FrontPanelTest, RemembersNothing) {
  for (const FaultRow& before : kRows) {
    for (const FaultRow& row : kRows) {
      EXPECT_EQ(send(at(before.offset, before.state)).result, 0);
      expect(at(row.offset, row.state), 0, of(row));
    }
  }
}

TEST_F(FrontPanelTest, KeyTakesTheInstanceAndNamesDoNot) {
  const struct {
    int instance;
    std::uint32_t key;
  } cases[] = {{0, 0x0C000007},
               {1, 0x0C000107},
               {-1, 0xFFFFFF07},
               {2147483647, 0xFFFFFF07},
               {-2147483647 - 1, 0x0C000007},
               {0x7F123456, 0x1E345607}};
  for (const auto& c : cases) {
    Written written = of(kRows[0]);
    written.fault_key = c.key;
    expect({.sensor = "FP_AMBIENT",
            .offset = 105,
            .state = 1,
            .instance = c.instance,
            .entity_id = 12,
            .entity_subtype = 7},
           0, written);
  }
}

TEST_F(FrontPanelTest, StampFollowsTheTimeZoneFile) {
  host().timezone_file = "EST5EDT\n";
  Written written = of(kRows[0]);
  written.created = "2024-01-31T18:59:59";
  expect(at(105, 1), 0, written);
}

TEST_F(FrontPanelTest, SensorNameIsReadToItsNul) {
  const struct {
    const char* sensor;
    const char* name;
  } cases[] = {{"", ""},
               {"%s%n%d", "%s%n%d"},
               {"ABCDEFGHIJKLMNOPQRS", "ABCDEFGHIJKLMNOPQRS"},
               {"ABCDEFGHIJKLMNOPQRST", "ABCDEFGHIJKLMNOPQRSTZ"}};  // goes on into the reading type
  for (const auto& c : cases) {
    for (const FaultRow& row : kRows) {
      Written written = of(row);
      written.descr = c.name + std::string(*row.descr).substr(std::string("FP_AMBIENT").size());
      expect({.sensor = c.sensor, .offset = row.offset, .state = row.state, .reading_type = 'Z'}, 0, written);
    }
  }
}

}  // namespace front_panel_test
}  // namespace polaiga::test
