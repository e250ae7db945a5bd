#include <polaiga/tables.h>

#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "support/filter_test.h"
#include "support/table_image.h"

// The host's table: it takes the place of the library's.
fe_nm_map_row ent_nm_map[24];
std::int32_t ent_nm_map_sz;

namespace polaiga::test {
namespace nm_test {

// The cells of a row, in the order of their bytes.
struct Cells {
  std::uint32_t offset;
  std::uint8_t entity_id = 46;
  std::uint8_t instance = 203;
  std::uint8_t subtype = 35;
  std::uint8_t reserved = 99;
  std::uint32_t code = 5151;
  std::uint32_t cause_id = 2217;
  std::string name = "fltNodeManagerPolicy";
  std::string cause = "policy-problem";
  std::string dn = "sys/rack-unit-1/nm-1";
  std::string rn = "nm-1";
  std::string descr = "Node Manager: Policy not met: Check load";
};

constexpr std::size_t kRowSize = 468;

Bytes image_of(const Cells& cells) {
  Bytes image(kRowSize);
  place(image, 0, cells.offset);
  image[4] = cells.entity_id;
  image[5] = cells.instance;
  image[6] = cells.subtype;
  image[7] = cells.reserved;
  place(image, 8, cells.code);
  place(image, 12, cells.cause_id);
  place(image, 16, cells.name.c_str());
  place(image, 80, cells.cause.c_str());
  place(image, 112, cells.dn.c_str());
  place(image, 192, cells.rn.c_str());
  place(image, 224, cells.descr.c_str());
  return image;
}

const std::vector<std::uint32_t> kOid = {1, 3, 6, 1, 4, 1, 32473, 5, 100, 1, 39, 1, 1, 2};

class NmTest : public FilterTest {
 protected:
  NmTest() : FilterTest("process_nm_fault") { set_rows({{.offset = 8}}); }

  static void set_rows(const std::vector<Cells>& rows) {
    std::memset(ent_nm_map, 0, sizeof ent_nm_map);
    for (std::size_t i = 0; i < rows.size(); ++i) std::memcpy(&ent_nm_map[i], image_of(rows[i]).data(), kRowSize);
    ent_nm_map_sz = static_cast<std::int32_t>(rows.size());
  }

  static Event at(int offset, int state) {
    return {.sensor = "NM_EVENT", .offset = offset, .state = state, .instance = 7};
  }

  // What every event of a row with the cells' defaults leaves.
  static Written framed(std::uint32_t code) {
    return {.entity_id = 46,
            .entity_subtype = 35,
            .entity_instance = 203,
            .fault_key = 0x2E00CB23,
            .dn = "sys/rack-unit-1/nm-1",
            .fault_dn = "sys/rack-unit-1/nm-1/fault-F" + std::to_string(code),
            .rn = "nm-1",
            .code_text = "F" + std::to_string(code),
            .oid = kOid,
            .created = kNowText,
            .created_time = kNow,
            .cause = "policy-problem",
            .code = code,
            .name = "fltNodeManagerPolicy"};
  }

  static Written raised(std::uint32_t code = 5151) {
    Written written = framed(code);
    written.descr = "Node Manager: Policy not met: Check load";
    written.disposition = 0;
    written.clear_cause_id = 0;
    written.clear_code = 0;
    return written;
  }

  static Written cleared(std::uint8_t disposition, std::uint32_t code = 5151) {
    Written written = framed(code);
    written.descr = "Node Manager: Cleared";
    written.disposition = disposition;
    written.clear_cause_id = 2217;
    written.clear_code = code;
    written.descr_was_longer = true;
    return written;
  }

  void expect_descr(const std::string& in_row, int state, std::int32_t result, const std::string& descr) {
    set_rows({{.offset = 8, .descr = in_row}});
    Written written = state == 0 ? cleared(0) : raised();
    written.descr = descr;
    written.descr_was_longer = state == 0 && result == 0;
    expect(at(8, state), result, written);
    EXPECT_EQ(send(at(8, 0)).record.disposition, state) << "the next event finds the state remembered";
  }
};

TEST_F(NmTest, NullArguments) {
  expect_null_arguments_rejected();
  ent_nm_map_sz = 0;
  expect_null_arguments_rejected();
}

TEST_F(NmTest, Raise) {
  for (const int state : {1, 2, 3, 4, 5, 6, 7, 100, 256, -1}) expect(at(8, state), 0, raised());
}

TEST_F(NmTest, ClearBeforeAnyRaise) { expect(at(8, 0), 0, cleared(0)); }

TEST_F(NmTest, ClearReportsTheStateBefore) {
  const struct {
    int state;
    std::uint8_t disposition;
  } cases[] = {{1, 1},     {2, 2},     {3, 3},   {4, 4},         {5, 5},    {6, 6},   {7, 7},
               {100, 100}, {255, 255}, {256, 0}, {0x1234, 0x34}, {-1, 255}, {-2, 254}};
  for (const auto& c : cases) {
    expect(at(8, c.state), 0, raised());
    expect(at(8, 0), 0, cleared(c.disposition));
    expect(at(8, 0), 0, cleared(0));  // a clear is remembered too
  }
}

TEST_F(NmTest, ClearReportsTheLastOfSeveralRaises) {
  for (const int state : {3, 6, 5}) expect(at(8, state), 0, raised());
  expect(at(8, 0), 0, cleared(5));
}

TEST_F(NmTest, EveryRowHasItsOwnState) {
  set_rows({{.offset = 8, .code = 1001}, {.offset = 9, .code = 1002}, {.offset = 10, .code = 1003}});
  expect(at(8, 4), 0, raised(1001));
  expect(at(10, 6), 0, raised(1003));
  expect(at(9, 0), 0, cleared(0, 1002));
  expect(at(8, 0), 0, cleared(4, 1001));
  expect(at(10, 0), 0, cleared(6, 1003));
}

TEST_F(NmTest, StateBelongsToThePlaceInTheTable) {
  set_rows({{.offset = 8, .code = 1001}, {.offset = 9, .code = 1002}});
  expect(at(8, 3), 0, raised(1001));
  expect(at(9, 5), 0, raised(1002));
  set_rows({{.offset = 9, .code = 1002}, {.offset = 12, .code = 1003}});
  expect(at(9, 0), 0, cleared(3, 1002));
  expect(at(12, 0), 0, cleared(5, 1003));
}

TEST_F(NmTest, TwentyRowsAreRemembered) {
  std::vector<Cells> rows;
  for (std::uint32_t i = 0; i < 24; ++i) rows.push_back({.offset = 100 + i, .code = 2000 + i});
  set_rows(rows);
  for (int i = 0; i < 24; ++i) expect(at(100 + i, i + 1), 0, raised(2000 + static_cast<std::uint32_t>(i)));
  for (int i = 0; i < 24; ++i) {
    const auto state = static_cast<std::uint8_t>(i < 20 ? i + 1 : 0);
    expect(at(100 + i, 0), 0, cleared(state, 2000 + static_cast<std::uint32_t>(i)));
  }
}

TEST_F(NmTest, ClearWithoutAColonYieldsNoFaultAndIsRemembered) {
  const Cells without{.offset = 8, .descr = "Policy not met. Check load"};
  set_rows({without});
  Written written = raised();
  written.descr = without.descr;
  expect(at(8, 6), 0, written);
  written = cleared(6);
  written.descr = without.descr;
  written.descr_was_longer = false;
  expect(at(8, 0), -1, written);
  written.disposition = 0;
  expect(at(8, 0), -1, written);
}

TEST_F(NmTest, OffsetWithoutARowLeavesACopyAndTheArcs) {
  set_rows({{.offset = 8}, {.offset = 12}});
  for (const int offset : {-1, 0, 1, 7, 9, 11, 13, 256 + 8, 65536 + 8}) {
    for (const int state : {0, 1, 5}) expect(at(offset, state), -1, {.oid = kOid});
  }
  expect(at(8, 0), 0, cleared(0));
  expect(at(12, 0), 0, cleared(0));
}

TEST_F(NmTest, RejectedEventIsNotRemembered) {
  expect(at(8, 4), 0, raised());
  expect(at(9, 6), -1, {.oid = kOid});
  ent_nm_map_sz = 0;
  EXPECT_EQ(send(at(8, 5)).result, -1);
  ent_nm_map_sz = 1;
  expect(at(8, 0), 0, cleared(4));
}

TEST_F(NmTest, KeysOfEveryValue) {
  for (const int offset : {0, -1, 118, 2147483647, -2147483647 - 1}) {
    set_rows({{.offset = static_cast<std::uint32_t>(offset)}});
    expect(at(offset, 1), 0, raised());
  }
}

TEST_F(NmTest, EmptyTableRejectsEveryEvent) {
  const std::int32_t counts[] = {0, -1, -2, std::numeric_limits<std::int32_t>::min()};
  for (const std::int32_t count : counts) {
    ent_nm_map_sz = count;
    for (const int state : {0, 1, 5}) {
      const Outcome outcome = send(at(8, state));
      EXPECT_EQ(outcome.result, -1) << count;
      const fe_fault_record untouched = patterned_record();
      EXPECT_EQ(std::memcmp(&outcome.record, &untouched, sizeof untouched), 0) << count;
    }
  }
}

TEST_F(NmTest, LaterOfTwoRowsOfAKeyCounts) {
  set_rows({{.offset = 8, .code = 1001}, {.offset = 8, .code = 1002}, {.offset = 9}});
  expect(at(8, 3), 0, raised(1002));
  ent_nm_map_sz = 1;
  expect(at(8, 0), 0, cleared(0, 1001));
  ent_nm_map_sz = 3;
  expect(at(8, 0), 0, cleared(3, 1002));
}

TEST_F(NmTest, IdentityComesFromTheRow) {
  const struct {
    std::uint8_t id, instance, subtype;
    std::uint32_t key;
  } cases[] = {{0, 0, 0, 0}, {255, 255, 255, 0xFF00FFFF}, {4, 1, 128, 0x04000180}, {128, 127, 0, 0x80007F00}};
  for (const auto& c : cases) {
    set_rows({{.offset = 8, .entity_id = c.id, .instance = c.instance, .subtype = c.subtype}});
    Written written = raised();
    written.entity_id = c.id;
    written.entity_instance = c.instance;
    written.entity_subtype = c.subtype;
    written.fault_key = c.key;
    for (const int instance : {0, -1, 2147483647, -2147483647 - 1}) {
      expect({.sensor = "ABCDEFGHIJKLMNOPQRST", .offset = 8, .state = 1, .instance = instance}, 0, written);
    }
  }
}

TEST_F(NmTest, CodesOfAnyLength) {
  const struct {
    std::uint32_t code;
    const char* text;
  } cases[] = {{0, "F0000"}, {7, "F0007"}, {999, "F0999"}, {12345, "F12345"}, {4294967295U, "F-001"}};
  for (const auto& c : cases) {
    set_rows({{.offset = 8, .code = c.code}});
    Written written = raised(c.code);
    written.code_text = c.text;
    written.fault_dn = std::string("sys/rack-unit-1/nm-1/fault-") + c.text;
    expect(at(8, 1), 0, written);
  }
}

TEST_F(NmTest, StampFollowsTheTimeZoneFile) {
  host().timezone_file = "EST5EDT\n";
  Written written = raised();
  written.created = "2024-01-31T18:59:59";
  expect(at(8, 1), 0, written);
}

TEST_F(NmTest, DescriptionIsNoFormat) {
  for (const char* descr : {"%n%n %s", "%x %d %c", "%% 100%", "%s%s%s%s%s", "%", ""}) {
    expect_descr(descr, 1, 0, descr);
  }
  expect_descr("%s%n: %d: %", 0, 0, "%s%n: Cleared");
}

TEST_F(NmTest, ClearCutsAtTheFirstColon) {
  const struct {
    const char* in_row;
    const char* descr;
  } cases[] = {
      {"A: b: c: d", "A: Cleared"}, {"A:", "A: Cleared"}, {":", ": Cleared"},
      {"::", ": Cleared"},          {":a:", ": Cleared"}, {"A : b", "A : Cleared"},
  };
  for (const auto& c : cases) expect_descr(c.in_row, 0, 0, c.descr);
  for (const char* descr : {"", "no colon", "semicolon; only"}) expect_descr(descr, 0, -1, descr);
}

TEST_F(NmTest, DescriptionsThatFillTheirField) {
  const std::string x(244, 'x');
  const auto text = [&x](std::size_t count, const char* tail) { return x.substr(0, count) + tail; };

  for (const std::size_t count : {222U, 223U}) expect_descr(text(count, ""), 1, 0, text(count, ""));
  for (const std::size_t count : {224U, 243U, 244U}) expect_descr(text(count, ""), 1, 0, text(223, ""));

  expect_descr(text(214, ":abcdefgh"), 0, 0, text(214, ": Cleared"));
  expect_descr(text(215, ":"), 0, 0, text(215, ": Cleare"));
  expect_descr(text(222, ":"), 0, 0, text(222, ":"));
  expect_descr(text(222, ":abcdefghijklmnopqrstu"), 0, 0, text(222, ":"));
  expect_descr(text(223, ":"), 0, -1, text(223, ""));
  expect_descr(text(243, ":"), 0, -1, text(223, ""));
}

TEST_F(NmTest, TextsWithoutANul) {
  const std::string dn(80, 'D');
  Cells cells{.offset = 8,
              .name = std::string(64, 'N'),
              .cause = std::string(32, 'C'),
              .dn = dn,
              .rn = std::string(32, 'R'),
              .descr = std::string(244, 'T')};
  Written written = raised();
  written.name = std::string(63, 'N');
  written.cause = std::string(31, 'C');
  written.dn = dn.substr(1);
  written.fault_dn = dn.substr(1);
  written.rn = std::string(31, 'R');
  written.descr = std::string(223, 'T');
  // The last row of the array: no other row lies behind it.
  std::vector<Cells> rows(24, Cells{.offset = 9});
  rows.back() = cells;
  set_rows(rows);
  expect(at(8, 1), 0, written);

  cells.dn = dn.substr(10);
  set_rows({cells});
  written.dn = dn.substr(10);
  written.fault_dn = dn.substr(10) + "/fault-F5";
  expect(at(8, 1), 0, written);
}

}  // namespace nm_test
}  // namespace polaiga::test
