// The power-supply filter over rows of a host, for what no row of the library's
// table can show: which code column each line takes, and the threshold words,
// for which its formats have no room.
#include <polaiga/tables.h>

#include <cstring>
#include <string>
#include <vector>

#include "support/filter_test.h"

// These have the names of the library's tables, but a test can write to them.
POLAIGA_API fe_sensor_map_row host_rows[4] __asm__("ent_ps_map");
POLAIGA_API std::int32_t host_row_count __asm__("ent_ps_map_sz");

namespace polaiga::test {
namespace ps_rows_test {

struct Row {
  int offset;
  std::vector<int> states;
  const char* descr;
  std::uint32_t code;
  const char* code_text;
  std::uint8_t disposition;
  std::uint32_t clear_code;
  std::uint32_t clear_cause_id;
};

// The codes are 2000 for the base and 2001 to 2005 for the levels, of which 2001 and 2002
// are never used. The cause is 777.
// clang-format off
const Row kRows[] = {
    {3, {0}, "READING: of 2 is lower non-critical: Cleared", 2000, "F2000", 4, 2000, 777},
    {3, {1, 2, 4, 5, 6, 100, -1}, "READING: of 2 is lower non-critical: check", 2000, "F2000", 0, 0, 0},
    {4, {0}, "READING: of 2 is lower critical: Cleared", 2004, "F2004", 5, 2004, 777},
    {4, {5}, "READING: of 2 is lower critical: check", 2004, "F2004", 4, 2003, 777},
    {4, {1, 2, 3, 4, 6, 7, 100, -1}, "READING: of 2 is lower non-critical: check", 2003, "F2003", 5, 2004, 777},
    {5, {0}, "READING: of 2 is lower non-recoverable: Cleared", 2005, "F2005", 6, 2005, 777},
    {5, {5}, "READING: of 2 is lower non-recoverable: check", 2004, "F2004", 6, 2005, 777},
    {5, {1, 2, 3, 4, 6, 7, 100, -1}, "READING: of 2 is lower non-recoverable: check", 2005, "F2005", 5, 2004, 777},
};
// clang-format on

template <std::size_t N>
void put(char (&field)[N], const std::string& text) {
  ASSERT_LT(text.size(), N);
  std::memset(field, 0, N);
  std::memcpy(field, text.data(), text.size());
}

class PsRowsTest : public FilterTest {
 protected:
  PsRowsTest() : FilterTest("process_ps_fault") {
    std::memset(host_rows, 0, sizeof host_rows);
    host_row_count = 0;
  }

  // Columns that are never read have values that would be noticed in a record.
  static void add(const char* format, std::uint8_t row_number = 200) {
    fe_sensor_map_row& row = host_rows[host_row_count++];
    put(row.sensor_name, "READING");
    row.entity_id = 0xE1;
    row.row_number = row_number;
    row.subtype = 0xE2;
    row.sensor_class = 0xE3;
    row.base_code = 2000;
    for (std::uint32_t code = 0; code < FE_THRESHOLD_CODES; ++code) row.threshold_codes[code] = 2001 + code;
    row.cause_id = 777;
    put(row.fault_name, "fltReading");
    put(row.cause, "reading-problem");
    put(row.dn, "sys/rack-unit-1/reading");
    put(row.rn, "unread");
    put(row.descr_format, format);
  }

  static Event at(int offset, int state) {
    return {.sensor = "READING", .offset = offset, .state = state, .instance = 6};
  }

  static Written of(const Row& row, bool is_clear) {
    return {.entity_instance = 200,
            .fault_key = 0x1D00C853 + row.code,
            .dn = "sys/rack-unit-1/reading",
            .fault_dn = std::string("sys/rack-unit-1/reading/fault-").append(row.code_text),
            .rn = "psu-6",
            .code_text = row.code_text,
            .oid = {{1, 3, 6, 1, 4, 1, 32473, 5, 100, 1, 15, 56, 1}},
            .oid_len = 13,
            .descr = row.descr,
            .created = kNowText,
            .created_time = kNow,
            .disposition = row.disposition,
            .clear_cause_id = row.clear_cause_id,
            .cause = "reading-problem",
            .code = row.code,
            .clear_code = row.clear_code,
            .name = "fltReading",
            .descr_was_longer = is_clear};
  }
};

TEST_F(PsRowsTest, EveryLine) {
  add("%s: of 2 is %s: check");
  for (const Row& row : kRows) {
    for (const int state : row.states) expect(at(row.offset, state), 0, of(row, state == 0));
  }
}

TEST_F(PsRowsTest, ClearTextIsCutAtTheLastColonIfThereIsOne) {
  const struct {
    const char* format;
    const char* raised;
    const char* cleared;
  } cases[] = {
      {"no colon", "no colon", "no colon"},
      {"a: b: c: %s", "a: b: c: READING", "a: b: c: Cleared"},
      {":", ":", ": Cleared"},
      {"", "", ""},
      {"%d %n %s", "%d %n READING", "%d %n READING"},
  };
  for (const auto& c : cases) {
    host_row_count = 0;
    add(c.format);
    EXPECT_STREQ(send(at(3, 1)).record.descr, c.raised);
    EXPECT_STREQ(send(at(3, 0)).record.descr, c.cleared);
  }
}

TEST_F(PsRowsTest, LaterRowCounts) {
  add("first", 201);
  add("last", 202);
  Outcome outcome = send(at(3, 1));
  EXPECT_EQ(outcome.record.event.entity_instance, 202);
  EXPECT_STREQ(outcome.record.descr, "last");
  host_row_count = 1;
  outcome = send(at(3, 1));
  EXPECT_EQ(outcome.record.event.entity_instance, 201);
  EXPECT_STREQ(outcome.record.descr, "first");
}

TEST_F(PsRowsTest, EmptyTable) {
  add("%s: of 2 is %s: check");
  for (const int count : {0, -1, -2147483647 - 1}) {
    host_row_count = count;
    const Written written{.fault_key = 0x1D000653 + 0xA5A5A5A5,  // the code that was there
                          .dn = "sys/rack-unit-1/psu-6",
                          .rn = "psu-6",
                          .oid = {{1, 3, 6, 1, 4, 1, 32473, 5, 100, 1, 15, 56, 1}},
                          .oid_len = 13,
                          .created = kNowText,
                          .created_time = kNow};
    for (const int offset : {3, 4, 5}) expect(at(offset, 1), -1, written);
    const Outcome outcome = send(at(45, 1));
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.record.fault_key, 0x1D000653U + 389U);
    EXPECT_EQ(outcome.record.event.entity_instance, 6);
  }
}

}  // namespace ps_rows_test
}  // namespace polaiga::test
