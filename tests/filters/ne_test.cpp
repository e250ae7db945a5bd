#include <cstddef>
#include <cstring>
#include <limits>
#include <string>

#include "support/filter_test.h"

namespace polaiga::test {
namespace ne_test {

class NeTest : public FilterTest {
 protected:
  NeTest() : FilterTest("process_ne_fault") {}

  static Event at(int offset, int state) { return {.sensor = "MGMT_LINK", .offset = offset, .state = state}; }

  // What every event writes, except the code text and the fault DN.
  static Written framed() {
    return {.fault_key = 0x1D000153,
            .dn = "sys/rack-unit-1/mgmt/if-1",
            .rn = "if-1",
            .created = kNowText,
            .created_time = kNow};
  }

  static Written with_fault(const char* descr) {
    Written written = framed();
    written.fault_dn = "sys/rack-unit-1/mgmt/if-1/fault-F0717";
    written.code_text = "F0717";
    written.oid = {{1, 3, 6, 1, 4, 1, 32473, 5, 100, 1, 31, 9, 1}};
    written.oid_len = 13;
    written.descr = descr;
    written.cause_id = 242;
    written.cause = "link-missing";
    written.code = 717;
    written.clear_code = 0;
    written.name = "fltMgmtIfMissing";
    return written;
  }

  static Written raised() {
    return with_fault("Management Interface Link Down : MGMT_LINK Check the network cable connection");
  }

  static Written cleared() { return with_fault("Management Interface Link Down : MGMT_LINK: Cleared"); }

  // Any other offset, with a code that the record held before.
  static Written rejected(const char* code_text) {
    Written written = framed();
    written.code_text = code_text;
    written.fault_dn = std::string("sys/rack-unit-1/mgmt/if-1/fault-") + code_text;
    return written;
  }

  // A record of the caller's with a description and a code in it.
  static fe_fault_record holding(const std::string& descr, std::uint32_t code = 7) {
    fe_fault_record record = patterned_record();
    std::memcpy(record.descr, descr.c_str(), descr.size() + 1);
    record.code = code;
    return record;
  }
};

const int kOtherOffsets[] = {
    -1, 0, 1, 104, 125, 127, 256 + 126, 65536 + 126, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()};

TEST_F(NeTest, NullArguments) { expect_null_arguments_rejected(); }

TEST_F(NeTest, Raise) {
  for (const int state : {1, 2, 3, 4, 5, 6, 7, 100, 256, -1}) expect(at(126, state), 0, raised());
}

TEST_F(NeTest, Clear) { expect(at(126, 0), 0, cleared()); }

TEST_F(NeTest, RemembersNothing) {
  for (int i = 0; i < 2; ++i) {
    expect(at(126, 0), 0, cleared());
    expect(at(126, 1), 0, raised());
    expect(at(126, 1), 0, raised());
  }
}

TEST_F(NeTest, OtherOffsetsTakeTheCodeThatTheRecordHolds) {
  const struct {
    std::uint32_t code;
    const char* code_text;
  } cases[] = {{0, "F0000"}, {7, "F0007"}, {717, "F0717"}, {12345, "F12345"}, {0xA5A5A5A5, "F-1515870811"}};
  for (const auto& c : cases) {
    fe_fault_record record = patterned_record();
    record.code = c.code;
    for (const int offset : kOtherOffsets) {
      for (const int state : {0, 1, 4, -1}) expect(at(offset, state), -1, rejected(c.code_text), record);
    }
  }
}

TEST_F(NeTest, OtherOffsetsRejectAClearAndCutWhatTheRecordHolds) {
  const struct {
    const char* held;
    const char* left;
  } cases[] = {{"Some: thing: else", "Some: thing: Cleared"}, {"Some:", "Some: Cleared"}, {":", ": Cleared"}};
  for (const auto& c : cases) {
    Written written = rejected("F0007");
    written.descr = c.left;
    written.descr_was_longer = true;
    for (const int offset : kOtherOffsets) expect(at(offset, 0), -1, written, holding(c.held));
  }
}

TEST_F(NeTest, OtherOffsetsLeaveADescriptionWithoutAColonOrOfARaise) {
  for (const char* held : {"", "nothing to cut"}) expect(at(125, 0), -1, rejected("F0007"), holding(held));
  for (const int state : {1, 5, -1}) expect(at(125, state), -1, rejected("F0007"), holding("Some: thing"));
}

TEST_F(NeTest, OtherOffsetsCutNoFurtherThanTheDescription) {
  // The time stamp behind the description has colons, too, but they are not part of it.
  expect(at(125, 0), -1, rejected("F-1515870811"));
  Written written = rejected("F0007");
  written.descr = std::string(215, 'x') + ": Cleare";
  expect(at(125, 0), -1, written, holding(std::string(215, 'x') + ":abcdefg"));
}

TEST_F(NeTest, KeyTakesTheInstanceAndNamesDoNot) {
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
    Event event{
        .sensor = "MGMT_LINK", .offset = 126, .state = 1, .instance = c.instance, .entity_id = 12, .entity_subtype = 7};
    Written written = raised();
    written.fault_key = c.key;
    expect(event, 0, written);
    event.offset = 125;
    written = rejected("F-1515870811");
    written.fault_key = c.key;
    expect(event, -1, written);
  }
}

TEST_F(NeTest, StampFollowsTheTimeZoneFile) {
  host().timezone_file = "EST5EDT\n";
  Written written = raised();
  written.created = "2024-01-31T18:59:59";
  expect(at(126, 1), 0, written);
  written = rejected("F-1515870811");
  written.created = "2024-01-31T18:59:59";
  expect(at(125, 1), -1, written);
}

TEST_F(NeTest, SensorNameIsReadToItsNul) {
  const struct {
    const char* sensor;
    const char* raise;
    const char* clear;
  } cases[] = {
      {"", "Management Interface Link Down :  Check the network cable connection",
       "Management Interface Link Down : : Cleared"},
      {"A:B", "Management Interface Link Down : A:B Check the network cable connection",
       "Management Interface Link Down : A:B: Cleared"},
      {"%s%n%d", "Management Interface Link Down : %s%n%d Check the network cable connection",
       "Management Interface Link Down : %s%n%d: Cleared"},
      {"ABCDEFGHIJKLMNOPQRS", "Management Interface Link Down : ABCDEFGHIJKLMNOPQRS Check the network cable connection",
       "Management Interface Link Down : ABCDEFGHIJKLMNOPQRS: Cleared"},
      {"ABCDEFGHIJKLMNOPQRST",  // goes on into the reading type
       "Management Interface Link Down : ABCDEFGHIJKLMNOPQRSTZ Check the network cable connection",
       "Management Interface Link Down : ABCDEFGHIJKLMNOPQRSTZ: Cleared"},
  };
  for (const auto& c : cases) {
    expect({.sensor = c.sensor, .offset = 126, .state = 1, .reading_type = 'Z'}, 0, with_fault(c.raise));
    expect({.sensor = c.sensor, .offset = 126, .state = 0, .reading_type = 'Z'}, 0, with_fault(c.clear));
  }
}

// A sensor name that goes on behind the event.
struct LongEvent {
  fe_sensor_event event;
  char more[300];
};

TEST_F(NeTest, LongTextsAreCut) {
  const struct {
    std::size_t name;
    int state;
    std::string descr;
  } cases[] = {
      {155, 1, std::string(155, 'L') + " Check the network cable connection"},
      {156, 1, std::string(156, 'L') + " Check the network cable connectio"},
      {190, 1, std::string(190, 'L')},
      {191, 1, std::string(190, 'L')},
      {181, 0, std::string(181, 'L') + ": Cleared"},
  };
  for (const auto& c : cases) {
    LongEvent sent{};
    sent.event = bytes_of(at(126, c.state));
    char* const name = reinterpret_cast<char*>(&sent) + offsetof(fe_sensor_event, sensor_name);
    std::memset(name, 'L', c.name);
    name[c.name] = '\0';
    fe_fault_record record = patterned_record();
    fe_fault_record* out = &record;
    EXPECT_EQ(filter()(&sent.event, &out), 0);
    EXPECT_EQ(std::string(record.descr, strnlen(record.descr, sizeof record.descr)),
              "Management Interface Link Down : " + c.descr)
        << c.name;
    EXPECT_STREQ(record.created, kNowText) << "what follows the description is its own";
  }
}

}  // namespace ne_test
}  // namespace polaiga::test
