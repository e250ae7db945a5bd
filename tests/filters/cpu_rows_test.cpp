// The processor filter over rows of a host, for what no row of the library's
// table can show: the host's definitions take the place of the library's.
#include <polaiga/tables.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "filters/cpu_fixture.h"

// These have the names of the library's tables, but a test can write to them.
constexpr std::int32_t kCapacity = 40;
POLAIGA_API fe_sensor_map_row host_rows[kCapacity] __asm__("ent_cpu_map");
POLAIGA_API std::int32_t host_row_count __asm__("ent_cpu_map_sz");

namespace polaiga::test {
namespace cpu_rows_test {

constexpr std::array<std::uint32_t, 6> kCodes{1001, 1002, 1003, 12004, 5, 1006};

// clang-format off
const Sensor kCores[] = {
    {"P1_VCORE_TEMP", 11, 21, kCodes, 31, "dn-1", "rn-1", "core 1 at ", " now", ": cool it", true, true},
    {"P2_VCORE_TEMP", 12, 22, kCodes, 32, "dn-2", "rn-2", "core 2 at ", " now", ": cool it", true, true, 0xFE},
    {"P3_VCORE_TEMP", 255, 255, kCodes, 33, "dn-3", "rn-3", "core 3 at ", " now", ": cool it", true, true, 0},
    {"P4_VCORE_TEMP", 0, 0, kCodes, 34, "dn-4", "rn-4", "core 4 at ", " now", ": cool it", true, true, 255},
};
// Sensors that are listed behind the core temperatures, and one that is not listed.
const Sensor kOthers[] = {
    {"PVCCIN_P1_V_MOIN", 15, 25, kCodes, 35, "dn-5", "rn-5", "supply at ", "", ": look", true, true},
    {"PVCCIN_P2_V_MOIN", 16, 26, kCodes, 36, "dn-6", "rn-6", "supply at ", "", "", true, true},
    {"PVPP_AB", 17, 27, kCodes, 37, "dn-7", "rn-7", "", " it is", ": look", true, true},
    {"PVPP_CD", 18, 28, kCodes, 38, "dn-8", "rn-8", "at ", "", ": look: again", true, true},
    {"PVPP_EF", 19, 29, kCodes, 39, "dn-9", "rn-9", "at ", "", ":", true, true},
    {"PVPP_GH", 20, 30, kCodes, 40, "dn-10", "rn-10", "at ", "", "", true, true},
    {"P1_TEMP_SENS", 21, 31, kCodes, 41, "dn-11", "rn-11", "at ", "", ": look", true, true},
    {"P2_TEMP_SENS", 22, 32, kCodes, 42, "dn-12", "rn-12", "at ", "", ": look", true, true},
    {"PVDDQ_GH", 23, 33, kCodes, 43, "dn-13", "rn-13", "at ", "", ": look", true, true},
    {"PVTT_DDR_GH", 24, 34, kCodes, 44, "dn-14", "rn-14", "at ", "", ": look", true, true},
    {"P5_VCORE_TEMP", 25, 35, kCodes, 45, "dn-15", "rn-15", "at ", "", ": look", true, false},
    {"p1_vcore_temp", 26, 36, kCodes, 46, "dn-16", "rn-16", "at ", "", ": look", true, false},
    {"WORDLESS", 27, 37, kCodes, 47, "dn-17", "rn-17", "no words", "", "", false, false},
};
// clang-format on

template <std::size_t N>
void put(char (&field)[N], const std::string& text) {
  std::memset(field, 0, N);
  std::memcpy(field, text.data(), std::min(text.size(), N));
}

class CpuRowsTest : public CpuTest {
 protected:
  CpuRowsTest() {
    std::memset(host_rows, 0, sizeof host_rows);
    host_row_count = 0;
  }

  // Columns that are never read have values that would be noticed in a record.
  static fe_sensor_map_row& add(const Sensor& sensor) {
    fe_sensor_map_row& row = host_rows[host_row_count++];
    put(row.sensor_name, sensor.name);
    row.entity_id = sensor.entity_id;
    row.row_number = static_cast<std::uint8_t>(sensor.instance);
    row.subtype = 0xEE;
    row.sensor_class = sensor.subtype;
    row.base_code = sensor.codes[kLowerNonCritical];
    std::copy(sensor.codes.begin() + 1, sensor.codes.end(), row.threshold_codes);
    row.cause_id = sensor.cause_id;
    put(row.fault_name, "the row's name");
    put(row.cause, "the row's cause");
    put(row.dn, sensor.dn);
    put(row.rn, sensor.rn);
    put(row.descr_format, std::string(sensor.head) + (sensor.takes_words ? "%s" : "") + sensor.tail + sensor.advice);
    return row;
  }

  static void add_all() {
    for (const Sensor& sensor : kCores) add(sensor);
    for (const Sensor& sensor : kOthers) add(sensor);
  }

  // A row in which only one cell matters.
  static Sensor plain(const char* name) {
    return {name, 9, 8, kCodes, 50, "dn", "rn", "head", "", ": tail", false, false};
  }

  std::string descr_of_event(const char* sensor, int state, std::uint32_t reading_type = 0) {
    const Outcome outcome = send({.sensor = sensor, .offset = 118, .state = state, .reading_type = reading_type});
    EXPECT_EQ(outcome.result, 0);
    return outcome.record.descr;
  }
};

TEST_F(CpuRowsTest, DiscreteEventsOfEverySensor) {
  add_all();
  for (const Sensor& sensor : kCores) expect_discrete_lines(sensor);
  for (const Sensor& sensor : kOthers) expect_discrete_lines(sensor);
}

TEST_F(CpuRowsTest, EveryThresholdLine) {
  add_all();
  for (const Sensor& sensor : kOthers) expect_threshold_lines(sensor);
}

TEST_F(CpuRowsTest, OtherOffsets) {
  add_all();
  for (const Sensor& sensor : kCores) expect_other_offsets(sensor);
  for (const Sensor& sensor : kOthers) expect_other_offsets(sensor);
}

TEST_F(CpuRowsTest, CoreTemperaturesAreClearedByTheirUpperCriticalThreshold) {
  add_all();
  for (const Sensor& core : kCores) {
    for (const Line& line : kLines) {
      for (const int state : line.states) {
        if (line.offset != 118 || state == 0 || state == 5) {
          expect(at(core, line.offset, state), 0, of(core, line, state, 0));
          continue;
        }
        SCOPED_TRACE(::testing::Message() << core.name << " state " << state);
        // The state 0 is written to the caller's event and to the record, and is remembered.
        const Event event = at(core, 118, state);
        Written written = of(core, 5, 5, 5, 218, "upper critical", true);
        written.event_state = 0;
        const Outcome outcome = send(event);
        EXPECT_EQ(outcome.result, 0);
        expect_record(event, written, outcome.record);
        fe_sensor_event left = bytes_of(event);
        left.event_state = 0;
        EXPECT_EQ(std::memcmp(&outcome.event, &left, sizeof left), 0);
        expect(discrete(core, 0), 0, cleared(core, 0));
      }
    }
  }
}

TEST_F(CpuRowsTest, CoreTemperatureClearForgetsTheStateBefore) {
  add_all();
  expect(discrete(kCores[1], 6), 0, raised(kCores[1]));
  EXPECT_EQ(send(at(kCores[1], 118, 6)).event.event_state, 0);
  expect(at(kCores[1], 113, 0), 0, of(kCores[1], kOtherLines[4], 0, 0));
  // A discrete event with the same offset keeps its state.
  expect(discrete(kCores[1], 6, 118), 0, raised(kCores[1]));
  expect(discrete(kCores[1], 0, 118), 0, cleared(kCores[1], 6));
}

TEST_F(CpuRowsTest, EmptyTable) {
  add_all();
  for (const int count : {0, -1, -2147483647 - 1}) {
    host_row_count = count;
    for (const int state : {0, 6}) {
      expect(at(kCores[0], 118, state), -1, rejected());
      expect(discrete(kOthers[0], state), -1, rejected());
    }
  }
}

TEST_F(CpuRowsTest, RowsBehindTheCountAreNotSeen) {
  add_all();
  host_row_count = 5;
  expect(discrete(kOthers[0], 1), 0, raised(kOthers[0]));
  expect(discrete(kOthers[1], 1), -1, rejected());
  host_row_count = 1;  // the table may change between calls
  expect(discrete(kOthers[0], 1), -1, rejected());
  expect(discrete(kCores[0], 1), 0, raised(kCores[0]));
}

TEST_F(CpuRowsTest, OfTwoRowsOfANameTheLaterCounts) {
  Sensor first = plain("TWICE");
  Sensor last = plain("TWICE");
  last.instance = 10;
  last.head = "another";
  add(first);
  add(last);
  add(plain("ONCE"));
  expect(discrete(last, 1), 0, raised(last));
  host_row_count = 1;  // the state is the row's, not the name's
  expect(discrete(first, 0), 0, cleared(first, 0));
  host_row_count = 3;
  expect(discrete(last, 0), 0, cleared(last, 1));
}

TEST_F(CpuRowsTest, StateGoesByPositionNotByInstance) {
  const Sensor first = plain("FIRST");
  const Sensor second = plain("SECOND");
  add(first);
  add(second);
  EXPECT_EQ(first.instance, second.instance);
  expect(discrete(first, 7), 0, raised(first));
  expect(discrete(second, 0), 0, cleared(second, 0));
  expect(discrete(first, 0), 0, cleared(first, 7));
}

TEST_F(CpuRowsTest, RowsBehindThe33rdRememberNothing) {
  std::vector<std::string> names;
  for (int i = 1; i <= 36; ++i) names.push_back(std::string("ROW").append(std::to_string(i)));
  for (const std::string& name : names) add(plain(name.c_str()));
  for (int i = 0; i < 36; ++i) {
    const Sensor sensor = plain(names[static_cast<std::size_t>(i)].c_str());
    expect(discrete(sensor, i + 1), 0, raised(sensor));
  }
  for (int i = 0; i < 36; ++i) {
    const Sensor sensor = plain(names[static_cast<std::size_t>(i)].c_str());
    expect(discrete(sensor, 0), 0, cleared(sensor, i < 33 ? i + 1 : 0));
  }
}

TEST_F(CpuRowsTest, RejectedEventsAreNotRemembered) {
  add(plain("FIRST"));
  expect(discrete(plain("FIRST"), 3), 0, raised(plain("FIRST")));
  expect(discrete(plain("UNKNOWN"), 4), -1, rejected());
  host_row_count = 0;
  expect(discrete(plain("FIRST"), 5), -1, rejected());
  host_row_count = 1;
  expect(discrete(plain("FIRST"), 0), 0, cleared(plain("FIRST"), 3));
}

TEST_F(CpuRowsTest, ClearTexts) {
  const struct {
    const char* name;
    const char* format;
    const char* raised;
    const char* cleared;
  } cases[] = {
      {"A", "no colon", "A: no colon", "A:  no colon: Cleared"},
      {"A", "one: two: three", "A: one: two: three", "A:  one: Cleared"},
      {"A", "", "A: ", "A:  : Cleared"},
      {"A", ":", "A: :", "A:  : Cleared"},
      {"A", ": b", "A: : b", "A:  : Cleared"},
      // Colons in the name split the text, too, and leading colons are skipped.
      {"A:B", "text: more", "A:B: text: more", "A: B: Cleared"},
      {"A:", "text: more", "A:: text: more", "A:  text: Cleared"},
      {":A", "text: more", ":A: text: more", "A:  text: Cleared"},
      {"", "text: more", ": text: more", " text:  more: Cleared"},
      {"", ":: more", ": :: more", " :  more: Cleared"},
      // A second token that is missing is left out.
      {"", "text", ": text", " text: Cleared"},
      {"", "", ": ", " : Cleared"},
      {":", ":::", ":: :::", " : Cleared"},
  };
  for (const auto& c : cases) {
    host_row_count = 0;
    put(add(plain(c.name)).descr_format, c.format);
    for (const std::uint32_t reading_type : {0U, 1U}) {
      EXPECT_EQ(descr_of_event(c.name, 1, reading_type), c.raised);
      EXPECT_EQ(descr_of_event(c.name, 0, reading_type), c.cleared);
    }
  }
}

TEST_F(CpuRowsTest, NamesAreComparedWhole) {
  add(plain("ABCDEFGHIJKLMNOPQRS"));
  EXPECT_EQ(descr_of_event("ABCDEFGHIJKLMNOPQRS", 1), "ABCDEFGHIJKLMNOPQRS: head: tail");
  for (const char* other : {"ABCDEFGHIJKLMNOPQR", "ABCDEFGHIJKLMNOPQRST", "", "abcdefghijklmnopqrs"}) {
    expect({.sensor = other, .state = 1, .reading_type = 2}, -1, rejected());
  }
  // The name in a row ends with its field; the name in an event goes on to its NUL.
  add(plain("ABCDEFGHIJKLMNOPQRST"));
  EXPECT_EQ(descr_of_event("ABCDEFGHIJKLMNOPQRST", 1, 0), "ABCDEFGHIJKLMNOPQRST: head: tail");
  EXPECT_EQ(descr_of_event("ABCDEFGHIJKLMNOPQRST", 0, 0), "ABCDEFGHIJKLMNOPQRST:  head: Cleared");
  expect({.sensor = "ABCDEFGHIJKLMNOPQRST", .state = 1, .reading_type = 0x5A}, -1, rejected());
}

TEST_F(CpuRowsTest, FormatsInsertTheWordsAndNothingElse) {
  const struct {
    const char* format;
    const char* discrete;
    const char* threshold;
  } cases[] = {
      {"%s", "A: %s", "A: upper critical"},
      {"is %s.", "A: is %s.", "A: is upper critical."},
      {"%n %d %x", "A: %n %d %x", "A: %n %d %x"},
      {"100%", "A: 100%", "A: 100%"},
      {"%99999999d%s", "A: %99999999d%s", "A: %99999999dupper critical"},
  };
  for (const auto& c : cases) {
    host_row_count = 0;
    put(add(plain("A")).descr_format, c.format);
    EXPECT_EQ(descr_of_event("A", 5, 0), c.discrete);
    EXPECT_EQ(descr_of_event("A", 5, 1), c.threshold);
  }
}

TEST_F(CpuRowsTest, LongTextsAreCut) {
  fe_sensor_map_row& row = add(plain("A"));
  std::memset(row.dn, 'D', sizeof row.dn);
  std::memset(row.rn, 'R', sizeof row.rn);
  std::memset(row.descr_format, 'T', sizeof row.descr_format);
  for (const std::uint32_t reading_type : {0U, 1U}) {
    Event event = discrete(plain("A"), 1);
    event.reading_type = reading_type;
    Written written = raised(plain("A"));
    written.dn = std::string(79, 'D');
    written.fault_dn = std::string(79, 'D');
    written.rn = std::string(31, 'R');
    written.descr = "A: " + std::string(220, 'T');
    expect(event, 0, written);
    EXPECT_EQ(descr_of_event("A", 0, reading_type), "A:  " + std::string(219, 'T'));
  }
}

}  // namespace cpu_rows_test
}  // namespace polaiga::test
