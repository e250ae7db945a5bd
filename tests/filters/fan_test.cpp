#include "support/fault_row.h"

#include <cstddef>
#include <string>

namespace polaiga::test {
namespace fan_test {

const KnownFault kFaults[] = {
    {434, "F0434", "fltEquipmentFanMissing", 238, "equipment-missing"},
    {395, "F0395", "fltEquipmentFanPerfThresholdNonCritical", 381, "performance-problem"},
    {396, "F0396", "fltEquipmentFanPerfThresholdCritical", 381, "performance-problem"},
    {397, "F0397", "fltEquipmentFanPerfThresholdNonRecoverable", 381, "performance-problem"},
    {371, "F0371", "fltEquipmentFanDegraded", 218, "equipment-degraded"},
};

class FanTest : public FilterTest {
 protected:
  FanTest() : FilterTest("process_fan_fault") {}

  static constexpr const char* kSensor = "FAN3_TACH2";
  static constexpr int kModule = 3;

  static Event at(int offset, int state) {
    return {.sensor = kSensor, .offset = offset, .state = state, .instance = kModule};
  }

  // What every event of FAN3_TACH2 writes, whether or not it yields a fault.
  static Written framed() {
    return {.entity_instance = 6,
            .fault_key = 0x1D000653,
            .dn = "sys/rack-unit-1/fan-module-1-3/fan-2",
            .rn = "fan-module-1-3/fan-2",
            .oid = {{1, 3, 6, 1, 4, 1, 32473, 5, 100, 1, 15, 12, 1}},
            .oid_len = 13,
            .created = kNowText,
            .created_time = kNow};
  }

  static Written of(const FaultRow& row) { return written_by(row, kFaults, framed()); }

  // What is remembered of a fan can be seen only by the events that are then suppressed.
  bool is_suppressed(const Event& event) { return send(event).result == -1; }
};

const std::optional<std::string> kLeftAlone;
const std::optional<std::string> kEmpty = "";
const std::optional<std::string> kPerformance = "performance-problem";

const char* const kMissing = "FAN3_TACH2: Fan 6 missing: reseat or replace fan 6";
const char* const kPresent = "FAN3_TACH2: Fan 6 missing: Cleared";
const char* const kNonCritical =
    "FAN3_TACH2: Fan speed for fan-6 is lower non critical : Check the air intake to the server ";
const char* const kNonCriticalCleared = "FAN3_TACH2: Fan speed for fan-6 is lower non critical : Cleared ";
const char* const kCritical = "FAN3_TACH2: Fan speed for fan-6 is lower critical : Check the air intake to the server ";
const char* const kCriticalCleared = "FAN3_TACH2: Fan speed for fan-6 is lower critical : Cleared ";
const char* const kNonRecoverable =
    "FAN3_TACH2: Fan speed for fan-6 is lower non recoverable : Check the air intake to the server ";
const char* const kPredictive = "FAN3_TACH2: Fan 6 has asserted a predictive failure: reseat or replace fan 6";
const char* const kPredictiveCleared = "FAN3_TACH2: Fan 6 predictive failure: Cleared";

// Every line of the table with the states that fall under it. The texts are for
// FAN3_TACH2, which is fan 6. The order keeps
// the fan present: a line that marks it missing is followed by one that ends it.
const FaultRow kRows[] = {
    {1, 1, kMissing, 434, 0, 0, 0, kLeftAlone},
    {1, 0, kPresent, 434, 3, 434, 238, kLeftAlone},
    {2, 1, kMissing, 434, 0, 0, 0, kLeftAlone},
    {2, 0, kPresent, 434, 3, 434, 238, kLeftAlone},
    {1, 5, kMissing, 434, 0, 0, 0, kLeftAlone},
    {2, 0, kPresent, 434, 3, 434, 238, kLeftAlone},
    {2, -1, kMissing, 434, 0, 0, 0, kLeftAlone},
    {1, 0, kPresent, 434, 3, 434, 238, kLeftAlone},

    {3, 4, kNonCritical, 395, 0, 0, 0, kEmpty},
    {3, 1, kNonCritical, 395, 0, 0, 0, kEmpty},
    {3, 7, kNonCritical, 395, 0, 0, 0, kEmpty},
    {3, 0, kNonCriticalCleared, 395, 4, 395, 381, kPerformance},

    {4, 4, kNonCritical, 395, 5, 396, 381, kPerformance},
    {4, 5, kCritical, 396, 4, 395, 381, kPerformance},
    {4, 1, kCritical, 396, 4, 395, 381, kPerformance},
    {4, 3, kCritical, 396, 4, 395, 381, kPerformance},
    {4, 6, kCritical, 396, 4, 395, 381, kPerformance},
    {4, 100, kCritical, 396, 4, 395, 381, kPerformance},
    {4, -4, kCritical, 396, 4, 395, 381, kPerformance},
    {4, 0, kCriticalCleared, 396, 4, 395, 381, kPerformance},

    {5, 5, kCritical, 396, 6, 397, 381, kPerformance},
    {5, 6, kNonRecoverable, 397, 5, 396, 381, kPerformance},
    {5, 4, kNonRecoverable, 397, 5, 396, 381, kPerformance},
    {5, 1, kNonRecoverable, 397, 5, 396, 381, kPerformance},
    {5, -5, kNonRecoverable, 397, 5, 396, 381, kPerformance},
    {5, 0, kNonRecoverable, 397, 5, 396, 381, kPerformance},

    {9, 1, kPredictive, 371, 0, 0, 0, kEmpty},
    {9, 0, kPredictiveCleared, 371, 3, 371, 218, "equipment-degraded"},
    {10, 4, kPredictive, 371, 0, 0, 0, kEmpty},
    {10, 0, kPredictiveCleared, 371, 3, 371, 218, "equipment-degraded"},
};

TEST_F(FanTest, NullArguments) { expect_null_arguments_rejected(); }

TEST_F(FanTest, EveryLineOfTheTable) {
  for (const FaultRow& row : kRows) expect(at(row.offset, row.state), 0, of(row));
}

TEST_F(FanTest, OtherOffsetsLeaveAStampedRecord) {
  for (const int offset : {-1, 0, 6, 7, 8, 11, 12, 104, 115, 65537}) {
    expect(at(offset, 1), -1, framed());
    expect(at(offset, 0), -1, framed());
  }
}

TEST_F(FanTest, MissingFanRaisesNothingElse) {
  expect(at(1, 1), 0, of(kRows[0]));
  for (const int offset : {3, 4, 5, 9, 10}) {
    for (const int state : {0, 1, 4, 5, 6}) expect(at(offset, state), -1, framed());
  }
  expect(at(1, 1), 0, of(kRows[0]));  // presence is never suppressed
  expect(at(2, 0), 0, of(kRows[1]));
  for (const FaultRow& row : kRows) {
    if (row.offset > 2) expect(at(row.offset, row.state), 0, of(row));
  }
}

TEST_F(FanTest, OnlyTheMissingFanIsSuppressed) {
  expect(at(1, 1), 0, of(kRows[0]));
  EXPECT_FALSE(is_suppressed({.sensor = "FAN3_TACH1", .offset = 3, .state = 4, .instance = 3}));  // fan 5
  EXPECT_FALSE(is_suppressed({.sensor = "FAN4_TACH1", .offset = 3, .state = 4, .instance = 4}));  // fan 7
  EXPECT_TRUE(is_suppressed({.sensor = "FAN3_TACH2", .offset = 3, .state = 4, .instance = 3}));   // fan 6
}

TEST_F(FanTest, UnlistedSensorOfAMissingFanIsSuppressed) {
  expect(at(1, 1), 0, of(kRows[0]));
  for (const int offset : {3, 4, 5, 9, 10}) {
    for (const int state : {0, 4, 5}) {
      const Event event{.sensor = "XTACH2", .offset = offset, .state = state, .instance = kModule};
      EXPECT_TRUE(is_suppressed(event)) << offset << " " << state;
    }
  }
}

TEST_F(FanTest, SpeedBitsSuppressNothing) {
  for (const FaultRow& set : {kRows[8], kRows[13], kRows[21]}) expect(at(set.offset, set.state), 0, of(set));
  for (const FaultRow& row : kRows) expect(at(row.offset, row.state), 0, of(row));
}

TEST_F(FanTest, SpeedSensorSharesTheStateOfTheFanOfItsNumber) {
  // FAN6_SPEED has the number of its module, so that it shares fan 6 with FAN3_TACH2.
  expect(at(1, 1), 0, of(kRows[0]));
  EXPECT_TRUE(is_suppressed({.sensor = "FAN6_SPEED", .offset = 3, .state = 4, .instance = 6}));
  EXPECT_FALSE(is_suppressed({.sensor = "FAN3_SPEED", .offset = 3, .state = 4, .instance = 3}));
}

TEST_F(FanTest, Renumbering) {
  struct {
    const char* sensor;
    int module;
    int fan;
    const char* dn;
    const char* rn;
    const char* descr;
  } const cases[] = {
      {"FAN3_TACH1", 3, 5, "sys/rack-unit-1/fan-module-1-3/fan-1", "fan-module-1-3/fan-1",
       "FAN3_TACH1: Fan 5 missing: reseat or replace fan 5"},
      {"FAN2_TACH2", 2, 4, "sys/rack-unit-1/fan-module-1-2/fan-2", "fan-module-1-2/fan-2",
       "FAN2_TACH2: Fan 4 missing: reseat or replace fan 4"},
      {"FAN1_TACH1", 1, 1, "sys/rack-unit-1/fan-module-1-1/fan-1", "fan-module-1-1/fan-1",
       "FAN1_TACH1: Fan 1 missing: reseat or replace fan 1"},
      {"FAN10_TACH2", 10, 20, "sys/rack-unit-1/fan-module-1-10/fan-2", "fan-module-1-10/fan-2",
       "FAN10_TACH2: Fan 20 missing: reseat or replace fan 20"},
      {"FAN4_SPEED", 4, 4, "sys/rack-unit-1/fan-module-1-4/fan-1", "fan-module-1-4/fan-1",
       "FAN4_SPEED: Fan 4 missing: reseat or replace fan 4"},
      {"TACH2_TACH1", 2, 3, "sys/rack-unit-1/fan-module-1-2/fan-1", "fan-module-1-2/fan-1",
       "TACH2_TACH1: Fan 3 missing: reseat or replace fan 3"},
      {"fan1_tach2", 2, 2, "sys/rack-unit-1/fan-module-1-2/fan-1", "fan-module-1-2/fan-1",
       "fan1_tach2: Fan 2 missing: reseat or replace fan 2"},
      {"", 9, 9, "sys/rack-unit-1/fan-module-1-9/fan-1", "fan-module-1-9/fan-1",
       ": Fan 9 missing: reseat or replace fan 9"},
  };
  for (const auto& c : cases) {
    Written written = of(kRows[0]);
    written.entity_instance = c.fan;
    written.fault_key = 0x1D000053U | static_cast<std::uint32_t>(c.fan) << 8;
    written.dn = c.dn;
    written.rn = c.rn;
    written.fault_dn = std::string(c.dn) + "/fault-F0434";
    written.descr = c.descr;
    expect({.sensor = c.sensor, .offset = 1, .state = 1, .instance = c.module}, 0, written);
  }
}

TEST_F(FanTest, CriticalClearOfAnUnlistedSensorLeavesTheDescription) {
  FaultRow row{4, 0, kLeftAlone, 396, 4, 395, 381, kPerformance};
  for (const char* sensor : {"FAN7_TACH2", "fan3_TACH2", "XTACH2"}) {
    expect({.sensor = sensor, .offset = 4, .state = 0, .instance = kModule}, 0, of(row));
  }
}

TEST_F(FanTest, CriticalClearOfEveryListedSensorHasItsText) {
  for (int module = 1; module <= 6; ++module) {
    const std::string fan = "FAN" + std::to_string(module);
    const struct {
      std::string sensor;
      int number;
    } sensors[] = {{fan + "_TACH1", 2 * module - 1}, {fan + "_TACH2", 2 * module}, {fan + "_SPEED", module}};
    for (const auto& [sensor, number] : sensors) {
      const Outcome outcome = send({.sensor = sensor.c_str(), .offset = 4, .state = 0, .instance = module});
      EXPECT_EQ(outcome.result, 0);
      EXPECT_EQ(outcome.record.descr,
                sensor + ": Fan speed for fan-" + std::to_string(number) + " is lower critical : Cleared ");
    }
  }
}

TEST_F(FanTest, FansOutsideTheStateAreNeverSuppressed) {
  for (const int instance : {0, -1, 21, 256, 1000000, -2147483647 - 1, 2147483647}) {
    const Event missing{.sensor = "FANS", .offset = 1, .state = 1, .instance = instance};
    EXPECT_EQ(send(missing).result, 0);
    EXPECT_FALSE(is_suppressed({.sensor = "FANS", .offset = 3, .state = 4, .instance = instance})) << instance;
  }
  for (const int instance : {1, 20}) {
    EXPECT_EQ(send({.sensor = "FANS", .offset = 1, .state = 1, .instance = instance}).result, 0);
    EXPECT_TRUE(is_suppressed({.sensor = "FANS", .offset = 3, .state = 4, .instance = instance})) << instance;
  }
}

TEST_F(FanTest, ModuleNumbersAtTheEndsOfTheirRange) {
  // Twice the module's number does not fit into 32 bits and wraps around.
  const Outcome least = send({.sensor = "TACH1", .offset = 1, .state = 1, .instance = -2147483647 - 1});
  EXPECT_EQ(least.record.event.entity_instance, -1);
  EXPECT_STREQ(least.record.dn, "sys/rack-unit-1/fan-module-1--2147483648/fan-1");
  EXPECT_STREQ(least.record.rn, "fan-module-1--2147483648/fan-1");
  const Outcome most = send({.sensor = "TACH2", .offset = 1, .state = 1, .instance = 2147483647});
  EXPECT_EQ(most.record.event.entity_instance, -2);
  EXPECT_STREQ(most.record.descr, "TACH2: Fan -2 missing: reseat or replace fan -2");
}

TEST_F(FanTest, SensorNameIsReadToItsNul) {
  // Twenty characters fill the field without a NUL, so the name goes on into the reading type.
  const Outcome outcome =
      send({.sensor = "ABCDEFGHIJKLMNO_TACH2", .offset = 2, .state = 1, .instance = 1, .reading_type = 0x5A});
  EXPECT_STREQ(outcome.record.descr, "ABCDEFGHIJKLMNO_TACHZ: Fan 1 missing: reseat or replace fan 1");
}

}  // namespace fan_test
}  // namespace polaiga::test
