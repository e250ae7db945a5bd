#include "support/filter_test.h"

namespace polaiga::test {
namespace chassis_test {

class ChassisTest : public FilterTest {
 protected:
  ChassisTest() : FilterTest("process_chassis_fault") {}

  // What every event writes, whether or not it yields a fault.
  static Written framed() {
    return {.fault_key = 0x1D000153,
            .dn = "sys/rack-unit-1",
            .rn = "rack-1",
            .oid = {{1, 3, 6, 1, 4, 1, 32473, 5, 100, 1, 15, 7, 1}},
            .oid_len = 13,
            .created = kNowText,
            .created_time = kNow};
  }

  static Written with_fault() {
    Written written = framed();
    written.fault_dn = "sys/rack-unit-1/fault-F0320";
    written.code_text = "F0320";
    written.cause_id = 348;
    written.cause = "equipment-problem";
    written.code = 320;
    written.name = "fltComputePhysicalUnidentified";
    return written;
  }

  static Written raised() {
    Written written = with_fault();
    written.descr = "CHASSIS_INTR: Chassis Intrusion detected: Please secure the server chassis ";
    written.disposition = 0;
    written.clear_code = 0;
    written.clear_cause_id = 0;
    return written;
  }
};

TEST_F(ChassisTest, NullArguments) { expect_null_arguments_rejected(); }

TEST_F(ChassisTest, Raise) {
  for (const int state : {1, 2, 4, -1}) expect({.sensor = "CHASSIS_INTR", .offset = 104, .state = state}, 0, raised());
}

TEST_F(ChassisTest, Clear) {
  Written written = with_fault();
  written.descr = "CHASSIS_INTR: Chassis Intrusion detected:: Cleared";
  written.disposition = 3;
  written.clear_code = 320;
  written.clear_cause_id = 348;
  expect({.sensor = "CHASSIS_INTR", .offset = 104, .state = 0}, 0, written);
}

TEST_F(ChassisTest, OtherOffsetsLeaveAStampedRecord) {
  for (const int offset : {-1, 0, 1, 103, 105, 126}) {
    expect({.sensor = "CHASSIS_INTR", .offset = offset, .state = 1}, -1, framed());
    expect({.sensor = "CHASSIS_INTR", .offset = offset, .state = 0}, -1, framed());
  }
}

TEST_F(ChassisTest, KeyTakesTheInstanceAndNamesDoNot) {
  Written written = raised();
  written.fault_key = 0x07000000 | 0x123456 << 8 | 0x18;
  expect({.sensor = "CHASSIS_INTR",
          .offset = 104,
          .state = 1,
          .instance = 0x7F123456,
          .entity_id = 7,
          .entity_subtype = 0x18},
         0, written);
}

TEST_F(ChassisTest, RemembersNothing) {
  for (int i = 0; i < 3; ++i) expect({.sensor = "CHASSIS_INTR", .offset = 104, .state = 1}, 0, raised());
}

}  // namespace chassis_test
}  // namespace polaiga::test
