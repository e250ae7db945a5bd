#include <array>
#include <limits>
#include <string>

#include "support/filter_test.h"

namespace polaiga::test {
namespace fw_bios_post_test {

class FwBiosPostTest : public FilterTest {
 protected:
  FwBiosPostTest() : FilterTest("process_fw_bios_post_fault") {}

  static Event at(int offset, int state) { return {.sensor = "BIOS_POST", .offset = offset, .state = state}; }

  // What every event writes, and what the record holds when a clear is handed to the engine.
  static Written framed() {
    return {.fault_key = 0x1D000153,
            .dn = "sys/rack-unit-1",
            .rn = "rack-1",
            .oid = {{1, 3, 6, 1, 4, 1, 32473, 5, 100, 1, 9, 35, 1}},
            .oid_len = 13,
            .created = kNowText,
            .created_time = kNow};
  }

  static Written with_fault(const std::string& descr) {
    Written written = framed();
    written.fault_dn = "sys/rack-unit-1/fault-F0517";
    written.code_text = "F0517";
    written.descr = descr;
    written.cause_id = 348;
    written.cause = "equipment-problem";
    written.code = 517;
    written.name = "fltComputePhysicalPostfailure";
    return written;
  }

  static Written raised(const std::string& sensor = "BIOS_POST") {
    Written written = with_fault(sensor + ": Bios Post Failed: Check hardware ");
    written.disposition = 0;
    written.clear_code = 0;
    written.clear_cause_id = 0;
    return written;
  }

  static Written cleared(const std::string& sensor = "BIOS_POST") {
    Written written = with_fault(sensor + ": Bios Post Failed:: Cleared");
    written.disposition = 6;
    written.clear_code = 517;
    written.clear_cause_id = 348;
    return written;
  }

  // Sends a clear, and checks that the engine was told of it once, before the fault was written.
  void expect_clear(const Event& event, const Written& handed_over, const Written& written) {
    host().cleaned_up.clear();
    host().cleanup_arguments.clear();
    expect(event, -1, written);
    ASSERT_EQ(host().cleaned_up.size(), 1U);
    EXPECT_EQ(host().cleanup_arguments.front(), (std::array<std::int32_t, 3>{0, 0, 0}));
    expect_record(event, handed_over, host().cleaned_up.front());
  }
};

TEST_F(FwBiosPostTest, NullArguments) {
  expect_null_arguments_rejected();
  EXPECT_TRUE(host().cleaned_up.empty());
}

TEST_F(FwBiosPostTest, FailureFillsTheRecordAndYieldsNoFault) {
  for (const int state : {1, 2, 3, 4, 5, 6, 7, 100, 256, -1}) expect(at(103, state), -1, raised());
  EXPECT_TRUE(host().cleaned_up.empty());
}

TEST_F(FwBiosPostTest, ClearIsHandedToTheEngine) { expect_clear(at(103, 0), framed(), cleared()); }

TEST_F(FwBiosPostTest, RemembersNothing) {
  for (int i = 0; i < 2; ++i) {
    expect_clear(at(103, 0), framed(), cleared());
    expect_clear(at(103, 0), framed(), cleared());
    expect(at(103, 1), -1, raised());
    expect(at(103, 1), -1, raised());
  }
}

TEST_F(FwBiosPostTest, OtherOffsetsLeaveAStampedRecord) {
  for (const int offset : {-1, 0, 1, 102, 104, 126, 256 + 103, 65536 + 103, std::numeric_limits<int>::min(),
                           std::numeric_limits<int>::max()}) {
    for (const int state : {0, 1, 5, -1}) expect(at(offset, state), -1, framed());
  }
  EXPECT_TRUE(host().cleaned_up.empty());
}

TEST_F(FwBiosPostTest, KeyTakesTheInstanceAndNamesDoNot) {
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
    const auto event = [&c](int state) {
      return Event{.sensor = "BIOS_POST",
                   .offset = 103,
                   .state = state,
                   .instance = c.instance,
                   .entity_id = 12,
                   .entity_subtype = 7};
    };
    Written raise = raised();
    raise.fault_key = c.key;
    expect(event(1), -1, raise);
    Written handed_over = framed();
    handed_over.fault_key = c.key;
    Written clear = cleared();
    clear.fault_key = c.key;
    expect_clear(event(0), handed_over, clear);
  }
}

TEST_F(FwBiosPostTest, StampFollowsTheTimeZoneFile) {
  host().timezone_file = "EST5EDT\n";
  Written handed_over = framed();
  handed_over.created = "2024-01-31T18:59:59";
  Written clear = cleared();
  clear.created = "2024-01-31T18:59:59";
  expect_clear(at(103, 0), handed_over, clear);
}

TEST_F(FwBiosPostTest, SensorNameIsReadToItsNul) {
  const struct {
    const char* sensor;
    const char* name;
  } cases[] = {{"", ""},
               {"A:B", "A:B"},
               {"%s%n%d", "%s%n%d"},
               {"ABCDEFGHIJKLMNOPQRS", "ABCDEFGHIJKLMNOPQRS"},
               {"ABCDEFGHIJKLMNOPQRST", "ABCDEFGHIJKLMNOPQRSTZ"}};  // goes on into the reading type
  for (const auto& c : cases) {
    expect({.sensor = c.sensor, .offset = 103, .state = 1, .reading_type = 'Z'}, -1, raised(c.name));
    expect_clear({.sensor = c.sensor, .offset = 103, .state = 0, .reading_type = 'Z'}, framed(), cleared(c.name));
  }
}

}  // namespace fw_bios_post_test
}  // namespace polaiga::test
