// The system-board filter over rows that are not in the shipped table. The table and the
// count that are defined here take the place of the library's.
#include <algorithm>
#include <cstring>
#include <string>

#include "support/filter_test.h"
#include "support/table_image.h"

extern "C" {
// These are laid out by hand, and writable, because a test changes the count.
alignas(4) unsigned char ent_map[40 * 484];
std::int32_t ent_map_sz;
}

namespace polaiga::test {
namespace sys_board_rows_test {

constexpr std::uint32_t kT0 = 20115, kT1 = 20116, kT2 = 20117, kT3 = 20118, kT4 = 20119, kBase = 20114;

SensorRow row_of(int number, const char* name, const char* format = "Text %s: Act") {
  return {name,
          7,
          static_cast<std::uint8_t>(number),
          33,
          0,
          kBase,
          215,
          "unused name",
          "unused cause",
          "sys/rack-unit-1/own",
          "own",
          format,
          {kT0, kT1, kT2, kT3, kT4}};
}

// A text that fills the description's field to its last byte.
const std::string kEndless(224, 'e');
const std::string kManyTexts = [] {
  std::string text;
  while (text.size() < 222) text += "%s";
  return text + "%n";
}();

const SensorRow kRows[] = {
    row_of(1, "P1CORE_TEMP"),
    row_of(2, "P2CORE_TEMP"),
    row_of(3, "P3CORE_TEMP"),
    row_of(4, "P4CORE_TEMP"),
    row_of(5, "KELDA_SEL_FULLNESS", "Log %s: Act"),
    row_of(6, "P3V_BAT_SCALED"),
    row_of(7, "P3V_BAT_V_MOIN"),
    row_of(8, "PVCCIO_V_MOIN"),
    row_of(9, "UNLISTED"),
    row_of(10, "NO COLON", "Text %s"),
    row_of(11, ""),
    row_of(12, ":"),
    row_of(13, "TWICE", "first"),
    row_of(14, "TWICE", "second"),
    row_of(15, "ENDLESS", kEndless.c_str()),
    row_of(16, "MANY", kManyTexts.c_str()),
    row_of(17, "PERCENT", "%d %% %x %n %s %s."),
    row_of(18, "A:B"),
    row_of(19, "NO TEXT", ""),
    row_of(20, "LONG",
           "%s: 0123456789012345678901234567890123456789012345678901234567890123456789012345678901234567890"),
    row_of(21, "ABCDEFGHIJKLMNOPQRST"),
    row_of(22, "OF 22"),
    row_of(23, "OF 23"),
    row_of(24, "OF 24"),
    row_of(25, "OF 25"),
    row_of(26, "OF 26"),
    row_of(27, "OF 27"),
    row_of(255, "LAST", "Text"),
};

class SysBoardRowsTest : public FilterTest {
 protected:
  SysBoardRowsTest() : FilterTest("process_sys_board_fault") {
    std::memset(ent_map, 0, sizeof ent_map);
    ent_map_sz = 0;
    for (const SensorRow& row : kRows) {
      const Bytes image = image_of(row);
      std::copy(image.begin(), image.end(), ent_map + kSensorRowSize * static_cast<std::size_t>(ent_map_sz++));
    }
  }

  struct Result {
    int result = 0;
    std::uint32_t code;
    std::uint32_t clear_code;
    int disposition;
    std::uint32_t clear_cause_id;
    int state;  // of the record
    std::string descr;
  };

  // Sends an event and checks what comes of it, and that the caller's event has the state
  // that the record has.
  void expect_result(const char* sensor, int offset, int state, const Result& want) {
    SCOPED_TRACE(::testing::Message() << sensor << " " << offset << " " << state);
    const Outcome outcome = send({.sensor = sensor, .offset = offset, .state = state});
    EXPECT_EQ(outcome.result, want.result);
    EXPECT_EQ(outcome.record.code, want.code);
    EXPECT_EQ(outcome.record.clear_code, want.clear_code);
    EXPECT_EQ(outcome.record.disposition, want.disposition);
    EXPECT_EQ(outcome.record.clear_cause_id, want.clear_cause_id);
    EXPECT_EQ(outcome.record.clear_cause, "cause " + std::to_string(want.clear_cause_id));
    EXPECT_EQ(outcome.record.event.event_state, want.state);
    EXPECT_EQ(outcome.record.descr, want.descr);
    fe_sensor_event event = bytes_of({.sensor = sensor, .offset = offset, .state = want.state});
    EXPECT_EQ(std::memcmp(&outcome.event, &event, sizeof event), 0) << "the caller's event";
  }

  // Description of an event.
  std::string descr(const char* sensor, int offset, int state) {
    return send({.sensor = sensor, .offset = offset, .state = state}).record.descr;
  }
};

TEST_F(SysBoardRowsTest, CoreTemperaturesAreTakenAsDeasserted) {
  for (const std::string sensor : {"P1CORE_TEMP", "P2CORE_TEMP", "P3CORE_TEMP", "P4CORE_TEMP"}) {
    for (const int state : {2, 3, 4, 6, 7, 100, -1}) {
      expect_result(sensor.c_str(), 118, state,
                    {.code = kT3,
                     .clear_code = kT3,
                     .disposition = 5,
                     .clear_cause_id = 218,
                     .state = 0,
                     .descr = sensor + ":  Text : Cleared"});
      // It is remembered as deasserted, too.
      expect_result(sensor.c_str(), 113, 0,
                    {.code = kBase,
                     .clear_code = kBase,
                     .disposition = 0,
                     .clear_cause_id = 218,
                     .state = 0,
                     .descr = sensor + ":  Text : Cleared"});
    }
    expect_result(sensor.c_str(), 118, 5,
                  {.code = kT3,
                   .clear_code = kT2,
                   .disposition = 4,
                   .clear_cause_id = 214,
                   .state = 5,
                   .descr = sensor + ": Text upper critical: Act"});
    expect_result(sensor.c_str(), 118, 0,
                  {.code = kT3,
                   .clear_code = kT3,
                   .disposition = 5,
                   .clear_cause_id = 218,
                   .state = 0,
                   .descr = sensor + ":  Text : Cleared"});
  }
}

TEST_F(SysBoardRowsTest, CoreTemperatureInStateOneStaysAsserted) {
  expect_result("P1CORE_TEMP", 118, 1,
                {.code = kT3,
                 .clear_code = kT2,
                 .disposition = 1,
                 .clear_cause_id = 218,
                 .state = 1,
                 .descr = "P1CORE_TEMP: Text a preset: Act"});
}

TEST_F(SysBoardRowsTest, CoreTemperatureIsOnlyDeassertedAtItsUpperCriticalThreshold) {
  for (const int offset : {0, 114, 115, 116, 117, 119, 120}) {
    const Outcome outcome = send({.sensor = "P2CORE_TEMP", .offset = offset, .state = 4});
    EXPECT_EQ(outcome.event.event_state, 4) << offset;
    EXPECT_EQ(outcome.record.event.event_state, 4) << offset;
  }
  const Outcome discrete = send({.sensor = "P2CORE_TEMP", .offset = 118, .state = 4, .reading_type = 2});
  EXPECT_EQ(discrete.event.event_state, 4);
  EXPECT_EQ(discrete.record.event.event_state, 4);
}

TEST_F(SysBoardRowsTest, TheRestOfTheEventIsOnlyRead) {
  const Event event{.sensor = "P3CORE_TEMP", .offset = 118, .state = 4, .instance = 9};
  fe_sensor_event want = bytes_of(event);
  want.event_state = 0;
  const Outcome outcome = send(event);
  EXPECT_EQ(std::memcmp(&outcome.event, &want, sizeof want), 0);
}

TEST_F(SysBoardRowsTest, EveryCodeComesFromItsColumn) {
  const struct {
    int offset;
    int state;
    std::uint32_t code;
    std::uint32_t clear_code;
    int disposition;
    std::uint32_t clear_cause_id;
    const char* descr;
  } cases[] = {
      {114, 0, kBase, kBase, 4, 218, "UNLISTED:  Text lower non critical: Cleared"},
      {114, 4, kBase, 0, 0, 0, "UNLISTED: Text lower non-critical: Act"},
      {115, 0, kT0, kT0, 5, 218, "UNLISTED:  Text : Cleared"},
      {115, 5, kT0, kT1, 6, 214, "UNLISTED: Text lower critical: Act"},
      {115, 4, kT0, kBase, 4, 218, "UNLISTED: Text upper non-critical: Act"},
      {116, 0, kT1, kT1, 6, 214, "UNLISTED:  Text : Cleared"},
      {116, 5, kT0, kT1, 6, 214, "UNLISTED: Text lower critical: Act"},
      {116, 6, kT1, kT0, 5, 218, "UNLISTED: Text lower non-recoverable: Act"},
      {117, 0, kT2, kT2, 4, 218, "UNLISTED:  Text upper non critical: Cleared"},
      {117, 4, kT2, 0, 0, 0, "UNLISTED: Text upper non-critical: Act"},
      {118, 0, kT3, kT3, 5, 218, "UNLISTED:  Text : Cleared"},
      {118, 5, kT3, kT2, 4, 214, "UNLISTED: Text upper critical: Act"},
      {118, 4, kT2, kT3, 4, 218, "UNLISTED: Text upper non-critical: Act"},
      {119, 5, kT3, kT4, 6, 214, "UNLISTED: Text upper critical: Act"},
      {119, 6, kT4, kT3, 5, 218, "UNLISTED: Text upper non-recoverable: Act"},
      {119, 0, kT4, kT3, 5, 218, "UNLISTED:  Text : Cleared"},
      // State 1 of the last three, from nothing: low, very low, full, very low, low.
      {117, 1, kT2, kT2, 1, 218, "UNLISTED: Text a preset: Act"},
      {118, 1, kT3, kT2, 1, 218, "UNLISTED: Text a preset: Act"},
      {119, 1, kT4, kT3, 1, 218, "UNLISTED: Text a preset: Act"},
      {119, 1, kT3, kT4, 1, 218, "UNLISTED: Text a preset: Act"},
      {118, 1, kT2, kT3, 1, 218, "UNLISTED: Text a preset: Act"},
  };
  for (const auto& c : cases)
    expect_result("UNLISTED", c.offset, c.state,
                  {.code = c.code,
                   .clear_code = c.clear_code,
                   .disposition = c.disposition,
                   .clear_cause_id = c.clear_cause_id,
                   .state = c.state,
                   .descr = c.descr});
}

TEST_F(SysBoardRowsTest, SecondEventLogIsTreatedAsTheFirst) {
  const auto expect_log = [this](int offset, int state, std::uint32_t code, std::uint32_t clear_code, int disposition,
                                 std::uint32_t clear_cause_id, const char* text) {
    expect_result("KELDA_SEL_FULLNESS", offset, state,
                  {.code = code,
                   .clear_code = clear_code,
                   .disposition = disposition,
                   .clear_cause_id = clear_cause_id,
                   .state = state,
                   .descr = text});
  };
  constexpr std::uint32_t kCallers = 0xA5A5A5A5;  // the pattern of the record
  expect_log(117, 0, kCallers, kCallers, 0xA5, kCallers, "KELDA_SEL_FULLNESS: Cleared");
  expect_log(118, 4, kCallers, kCallers, 0xA5, kCallers, "KELDA_SEL_FULLNESS: Log upper non-critical: Act");
  expect_log(118, 7, kCallers, kCallers, 0xA5, kCallers, "KELDA_SEL_FULLNESS: Log : Act");
  expect_log(117, 1, kT2, kT2, 1, 218, "KELDA_SEL_FULLNESS: Log capacity is low: Act");
  expect_log(118, 1, kT3, kT2, 1, 218, "KELDA_SEL_FULLNESS: Log capacity is very low: Act");
  expect_log(119, 1, kT4, kT3, 1, 218, "KELDA_SEL_FULLNESS: Log is Full: Clear the log: Act");
  expect_log(119, 1, kT3, kT4, 1, 218, "KELDA_SEL_FULLNESS: Log capacity is very low: Act");
  expect_log(118, 1, kT2, kT3, 1, 218, "KELDA_SEL_FULLNESS: Log capacity is low: Act");
  expect_log(117, 0, kT2, kT2, 1, 218, "KELDA_SEL_FULLNESS: Cleared");
  expect_log(117, 0, kCallers, kCallers, 0xA5, kCallers, "KELDA_SEL_FULLNESS: Cleared");
  expect_log(118, 0, kT3, kT3, 5, 218, "KELDA_SEL_FULLNESS: Cleared");
  expect_log(118, 5, kT2, kT3, 1, 218, "KELDA_SEL_FULLNESS: Log upper critical: Act");
  expect_log(119, 5, kT3, kT4, 6, 214, "KELDA_SEL_FULLNESS: Log upper critical: Act");
  expect_log(119, 6, kT3, kT4, 1, 214, "KELDA_SEL_FULLNESS: Log upper non-recoverable: Act");
  expect_log(119, 0, kT4, kT3, 1, 218, "KELDA_SEL_FULLNESS: Cleared");
  expect_log(119, 2, kT4, kT3, 1, 218, "KELDA_SEL_FULLNESS: Log : Act");
}

TEST_F(SysBoardRowsTest, BatteriesMayLoseSettings) {
  EXPECT_EQ(descr("P3V_BAT_SCALED", 116, 6),
            "P3V_BAT_SCALED: Text lower non-recoverable. Possible loss of CMOS settings: Act");
  EXPECT_EQ(descr("P3V_BAT_SCALED", 116, 5), "P3V_BAT_SCALED: Text lower critical: Act");
  EXPECT_EQ(descr("P3V_BAT_SCALED", 115, 6), "P3V_BAT_SCALED: Text upper non-recoverable: Act");
  EXPECT_EQ(descr("P3V_BAT_SCALED", 117, 0), "P3V_BAT_SCALED:  Text upper non critical: Cleared");
  EXPECT_EQ(descr("P3V_BAT_V_MOIN", 116, 6), "P3V_BAT_V_MOIN: Text lower non-recoverable: Act");
  EXPECT_EQ(descr("P1CORE_TEMP", 116, 6), "P1CORE_TEMP: Text lower non-recoverable: Act");
}

TEST_F(SysBoardRowsTest, WordsOfAClearedVoltage) {
  // The first and the last voltage of the list, and sensors on either side of them.
  for (const std::string sensor : {"P3V_BAT_V_MOIN", "PVCCIO_V_MOIN"}) {
    EXPECT_EQ(descr(sensor.c_str(), 118, 0), sensor + ":  Text upper critical: Cleared");
    EXPECT_EQ(descr(sensor.c_str(), 115, 0), sensor + ":  Text lower critical: Cleared");
    for (const int offset : {0, 114, 116, 117, 119})
      EXPECT_EQ(descr(sensor.c_str(), offset, 0), sensor + ":  Text : Cleared");
  }
  for (const std::string sensor : {"P1CORE_TEMP", "P4CORE_TEMP", "P3V_BAT_SCALED", "UNLISTED"}) {
    EXPECT_EQ(descr(sensor.c_str(), 117, 0), sensor + ":  Text upper non critical: Cleared");
    EXPECT_EQ(descr(sensor.c_str(), 114, 0), sensor + ":  Text lower non critical: Cleared");
    for (const int offset : {0, 115, 116, 118, 119})
      EXPECT_EQ(descr(sensor.c_str(), offset, 0), sensor + ":  Text : Cleared");
  }
}

TEST_F(SysBoardRowsTest, RowIsWrittenWhole) {
  const std::vector<std::uint32_t> arcs{1, 3, 6, 1, 4, 1, 32473, 5, 100, 1, 9, 6, 1};
  expect({.sensor = "LAST", .offset = 114, .state = 4}, 0,
         {.entity_id = 7,
          .entity_subtype = 33,
          .entity_instance = 255,
          .fault_key = 0x0700FF21,
          .dn = "sys/rack-unit-1/own",
          .fault_dn = "sys/rack-unit-1/own/fault-F20114",
          .rn = "own",
          .code_text = "F20114",
          .oid = arcs,
          .oid_len = 13,
          .descr = "LAST: Text",
          .created = kNowText,
          .created_time = kNow,
          .disposition = 0,
          .cause_id = 215,
          .clear_cause_id = 0,
          .cause = "cause 215",
          .clear_cause = "cause 0",
          .code = 20114,
          .clear_code = 0,
          .name = "name of 20114"});
}

TEST_F(SysBoardRowsTest, LaterRowOfANameCounts) {
  const Outcome outcome = send({.sensor = "TWICE", .offset = 114, .state = 4});
  EXPECT_EQ(outcome.record.event.entity_instance, 14);
  EXPECT_STREQ(outcome.record.descr, "TWICE: second");
}

TEST_F(SysBoardRowsTest, StatesOfTheFirstTwentyFiveRowsAreRemembered) {
  for (const SensorRow& row : kRows) send({.sensor = row.sensor_name, .state = 100 + row.row_number});
  for (std::size_t index = 0; index < std::size(kRows); ++index) {
    const SensorRow& row = kRows[index];
    if (std::strcmp(row.sensor_name, "TWICE") == 0 || std::strcmp(row.sensor_name, "ABCDEFGHIJKLMNOPQRST") == 0)
      continue;
    const Outcome outcome = send({.sensor = row.sensor_name, .offset = 0, .state = 0});
    EXPECT_EQ(outcome.record.disposition, index < 25 ? 100 + row.row_number : 0) << row.sensor_name;
  }
}

TEST_F(SysBoardRowsTest, ClearTextsNeedATokenOnly) {
  // An empty name: then the text of the format is the first token.
  EXPECT_EQ(descr("", 114, 4), ": Text lower non-critical: Act");
  EXPECT_EQ(descr("", 114, 0), " Text lower non critical:  Act: Cleared");
  EXPECT_EQ(descr("A:B", 114, 4), "A:B: Text lower non-critical: Act");
  EXPECT_EQ(descr("A:B", 114, 0), "A: B: Cleared");
  EXPECT_EQ(descr("NO COLON", 114, 0), "NO COLON:  Text lower non critical: Cleared");
  EXPECT_EQ(descr("NO TEXT", 114, 4), "NO TEXT: ");
  EXPECT_EQ(descr("NO TEXT", 114, 0), "NO TEXT:  : Cleared");
  EXPECT_EQ(descr(":", 114, 0), " Text lower non critical:  Act: Cleared");
}

TEST_F(SysBoardRowsTest, BlankBehindTheNameIsAToken) {
  const Bytes image = image_of(row_of(11, "", ":"));
  std::copy(image.begin(), image.end(), ent_map + kSensorRowSize * 10);
  EXPECT_EQ(descr("", 114, 4), ": :");
  EXPECT_EQ(descr("", 114, 0), " : Cleared");
}

TEST_F(SysBoardRowsTest, FormatsOfTheHostDoNoHarm) {
  EXPECT_EQ(descr("PERCENT", 114, 4), "PERCENT: %d % %x %n lower non-critical .");
  EXPECT_EQ(send({.sensor = "PERCENT", .offset = 114, .state = 4, .reading_type = 2}).record.descr,
            std::string("PERCENT: %d %% %x %n %s %s."));
  EXPECT_EQ(descr("ENDLESS", 114, 4), "ENDLESS: " + kEndless.substr(0, 214));
  EXPECT_EQ(descr("ENDLESS", 114, 0), "ENDLESS:  " + kEndless.substr(0, 213));
  EXPECT_EQ(send({.sensor = "ENDLESS", .offset = 114, .state = 4, .reading_type = 2}).record.descr,
            "ENDLESS: " + kEndless.substr(0, 214));
  EXPECT_EQ(descr("MANY", 114, 4), "MANY: lower non-critical%n");
}

TEST_F(SysBoardRowsTest, UnterminatedTextsEndAtTheirFields) {
  // Row 9 with every text filled to its last byte.
  unsigned char* row = ent_map + kSensorRowSize * 8;
  std::memset(row + 128, 'd', 80);
  std::memset(row + 208, 'r', 32);
  std::memset(row + 240, 'f', 224);
  const Outcome outcome = send({.sensor = "UNLISTED", .offset = 114, .state = 4});
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.record.dn, std::string(79, 'd'));
  EXPECT_EQ(outcome.record.rn, std::string(31, 'r'));
  EXPECT_EQ(outcome.record.fault_dn, std::string(79, 'd'));
  EXPECT_EQ(outcome.record.descr, "UNLISTED: " + std::string(213, 'f'));
}

TEST_F(SysBoardRowsTest, CountBelowOneIsAnEmptyTable) {
  const Written written{.oid = {{1, 3, 6, 1, 4, 1, 32473, 5, 100, 1, 9, 6, 1}}};
  for (const std::int32_t count : {0, -1, -28, -2147483647 - 1}) {
    ent_map_sz = count;
    expect({.sensor = "P1CORE_TEMP", .offset = 114, .state = 4}, -1, written);
    expect({.sensor = "", .offset = 114, .state = 4}, -1, written);
  }
}

TEST_F(SysBoardRowsTest, CountIsReadOnEveryCall) {
  ent_map_sz = 1;
  EXPECT_EQ(send({.sensor = "P2CORE_TEMP", .offset = 114, .state = 4}).result, -1);
  ent_map_sz = 2;
  EXPECT_EQ(send({.sensor = "P2CORE_TEMP", .offset = 114, .state = 4}).result, 0);
  ent_map_sz = 13;
  EXPECT_EQ(descr("TWICE", 114, 4), "TWICE: first");
}

TEST_F(SysBoardRowsTest, NameWithoutANul) {
  // A name of twenty characters goes on into the reading type, which makes it another name.
  EXPECT_EQ(send({.sensor = "ABCDEFGHIJKLMNOPQRST", .offset = 114, .state = 4}).result, -1);
  const Outcome outcome = send({.sensor = "ABCDEFGHIJKLMNOPQRST", .offset = 114, .state = 4, .reading_type = 0});
  EXPECT_EQ(outcome.result, 0);
  EXPECT_STREQ(outcome.record.descr, "ABCDEFGHIJKLMNOPQRST: Text %s: Act");
}

}  // namespace sys_board_rows_test
}  // namespace polaiga::test
