#include <polaiga/tables.h>

#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "support/filter_test.h"
#include "support/table_image.h"

// The host's table: it takes the place of the library's.
fe_sensor_map_row ent_cmc_map[24];
std::int32_t ent_cmc_map_sz;

namespace polaiga::test {
namespace {

// A line of the decision table, for the codes of kCells.
struct Row {
  int offset;
  int state;
  std::uint8_t disposition;
  std::uint32_t code;
  std::uint32_t clear_code;
  std::uint32_t clear_cause_id;
  const char* words;
};

const SensorRow kCells = {"CMC_TEMP",
                          23,
                          202,
                          34,
                          99,
                          3117,
                          2216,
                          "fltChassisControllerTemp",
                          "controller-problem",
                          "sys/rack-unit-1/cmc-1",
                          "cmc-1",
                          "%s: Controller is %s: Check cooling",
                          {4115, 4116, 4117, 4118, 4119}};

const std::vector<std::uint32_t> kOid = {1, 3, 6, 1, 4, 1, 32473, 5, 100, 1, 9, 6, 1};

const Row kRows[] = {
    {117, 1, 0, 3117, 0, 0, "upper non-critical"},           {117, 2, 0, 3117, 0, 0, "upper non-critical"},
    {117, 4, 0, 3117, 0, 0, "upper non-critical"},           {117, 5, 0, 3117, 0, 0, "upper non-critical"},
    {117, 3, 0, 3117, 0, 0, "upper non-critical"},           {117, 6, 0, 3117, 0, 0, "upper non-critical"},
    {117, 7, 0, 3117, 0, 0, "upper non-critical"},           {117, 100, 0, 3117, 0, 0, "upper non-critical"},
    {117, -1, 0, 3117, 0, 0, "upper non-critical"},          {117, 0, 4, 3117, 3117, 215, "upper non-critical"},

    {118, 0, 5, 4118, 4118, 215, "upper critical"},          {118, 5, 4, 4118, 4117, 215, "upper critical"},
    {118, 1, 5, 4117, 4118, 215, "upper non-critical"},      {118, 2, 5, 4117, 4118, 215, "upper non-critical"},
    {118, 3, 5, 4117, 4118, 215, "upper non-critical"},      {118, 4, 5, 4117, 4118, 215, "upper non-critical"},
    {118, 6, 5, 4117, 4118, 215, "upper non-critical"},      {118, 7, 5, 4117, 4118, 215, "upper non-critical"},
    {118, 100, 5, 4117, 4118, 215, "upper non-critical"},    {118, -1, 5, 4117, 4118, 215, "upper non-critical"},
    {118, 256, 5, 4117, 4118, 215, "upper non-critical"},    {118, 261, 5, 4117, 4118, 215, "upper non-critical"},

    {119, 5, 6, 4118, 4119, 215, "upper critical"},          {119, 0, 6, 4119, 4119, 215, "upper non-recoverable"},
    {119, 6, 5, 4119, 4118, 215, "upper non-recoverable"},   {119, 1, 5, 4119, 4118, 215, "upper non-recoverable"},
    {119, 3, 5, 4119, 4118, 215, "upper non-recoverable"},   {119, 4, 5, 4119, 4118, 215, "upper non-recoverable"},
    {119, 2, 5, 4119, 4118, 215, "upper non-recoverable"},   {119, 7, 5, 4119, 4118, 215, "upper non-recoverable"},
    {119, 100, 5, 4119, 4118, 215, "upper non-recoverable"}, {119, -1, 5, 4119, 4118, 215, "upper non-recoverable"},
};

// The lower thresholds are among them.
const int kOffsetsWithoutWords[] = {114, 115, 116, 113,       120,         -1,
                                    0,   1,   126, 256 + 117, 65536 + 118, std::numeric_limits<int>::min()};

class CmcTest : public FilterTest {
 protected:
  CmcTest() : FilterTest("process_cmc_fault") { set_rows({kCells}); }

  static SensorRow named(const char* sensor) {
    SensorRow row = kCells;
    row.sensor_name = sensor;
    return row;
  }

  static SensorRow with_format(const char* format) {
    SensorRow row = kCells;
    row.descr_format = format;
    return row;
  }

  static void set_rows(const std::vector<SensorRow>& rows) {
    std::memset(ent_cmc_map, 0, sizeof ent_cmc_map);
    for (std::size_t i = 0; i < rows.size(); ++i) {
      std::memcpy(&ent_cmc_map[i], image_of(rows[i]).data(), kSensorRowSize);
    }
    ent_cmc_map_sz = static_cast<std::int32_t>(rows.size());
  }

  static Event at(int offset, int state, const char* sensor = "CMC_TEMP") {
    return {.sensor = sensor, .offset = offset, .state = state, .instance = 7};
  }

  // What an event of a sensor with the cells of kCells leaves. State 0 clears.
  static Written of(const Row& row, const std::string& sensor = "CMC_TEMP") {
    const std::string code = std::to_string(row.code);
    const std::string end = row.state == 0 ? ": Cleared" : ": Check cooling";
    return {.entity_id = 23,
            .entity_subtype = 34,
            .entity_instance = 202,
            .fault_key = 0x1700CA22,
            .dn = "sys/rack-unit-1/cmc-1",
            .fault_dn = "sys/rack-unit-1/cmc-1/fault-F" + code,
            .rn = "cmc-1",
            .code_text = "F" + code,
            .oid = kOid,
            .oid_len = 13,
            .descr = sensor + ": Controller is " + row.words + end,
            .created = kNowText,
            .created_time = kNow,
            .disposition = row.disposition,
            .clear_cause_id = row.clear_cause_id,
            .cause = "controller-problem",
            .code = row.code,
            .clear_code = row.clear_code,
            .name = "fltChassisControllerTemp",
            .descr_was_longer = row.state == 0};
  }

  // What an event of a sensor without a row leaves.
  static Written blank(const Row& row) {
    return {.entity_id = 0,
            .entity_subtype = 0,
            .entity_instance = 0,
            .fault_key = 0,
            .dn = "",
            .fault_dn = "/fault-F0000",
            .rn = "",
            .code_text = "F0000",
            .oid = kOid,
            .oid_len = 13,
            .descr = "",
            .created = kNowText,
            .created_time = kNow,
            .disposition = row.disposition,
            .clear_cause_id = row.clear_cause_id,
            .cause = "",
            .code = 0,
            .clear_code = 0,
            .name = ""};
  }

  // The description of a raise at the upper non-critical threshold, or of its clear.
  void expect_descr(const SensorRow& cells, int state, std::int32_t result, const std::string& descr) {
    set_rows({cells});
    Written written = of({117, state, std::uint8_t(state == 0 ? 4 : 0), 3117, state == 0 ? 3117U : 0U,
                          state == 0 ? 215U : 0U, "upper non-critical"});
    written.descr = descr;
    expect(at(117, state), result, written);
  }
};

TEST_F(CmcTest, NullArguments) {
  expect_null_arguments_rejected();
  ent_cmc_map_sz = 0;
  expect_null_arguments_rejected();
}

TEST_F(CmcTest, EveryLineOfTheTable) {
  for (const Row& row : kRows) expect(at(row.offset, row.state), 0, of(row));
}

TEST_F(CmcTest, NoSensorIsExceptional) {
  for (const char* sensor : {"HDD_BP1_TEMP", "SB_NVME1_TEMP", "IOE_NVME1_TEMP", "IOE_NVME2_TEMP"}) {
    set_rows({named(sensor)});
    for (const Row& row : kRows) expect(at(row.offset, row.state, sensor), 0, of(row, sensor));
  }
}

TEST_F(CmcTest, OtherOffsetsTakeTheTimeZoneNameForWords) {
  const struct {
    std::optional<std::string> file;
    std::string words;
    const char* created;
  } cases[] = {
      {"EST5EDT", "EST5EDT", "2024-01-31T18:59:59"},
      {"UTC\n", "UTC", kNowText},
      {" \n\tUTC Europe/Madrid\n", "UTC", kNowText},
      {"%s%n%d", "%s%n%d", kNowText},
      {std::nullopt, "", kNowText},
      {"", "", kNowText},
      {" \n", "", kNowText},
      {std::string(63, 'Q'), std::string(63, 'Q'), kNowText},
      {std::string(200, 'Q'), std::string(63, 'Q'), kNowText},
  };
  for (const auto& c : cases) {
    host().timezone_file = c.file;
    for (const int offset : kOffsetsWithoutWords) {
      for (const int state : {1, 4, 5, 6, 100, -1, 0}) {
        Written written = of({offset, state, 0, 3117, 0, 0, c.words.c_str()});
        written.created = c.created;
        expect(at(offset, state), 0, written);
      }
    }
  }
}

TEST_F(CmcTest, TimeZoneNameIsNoPartOfTheWords) {
  host().timezone_file = "EST5EDT";
  for (const Row& row : kRows) {
    Written written = of(row);
    written.created = "2024-01-31T18:59:59";
    expect(at(row.offset, row.state), 0, written);
  }
}

TEST_F(CmcTest, ColonOfTheTimeZoneNameCounts) {
  host().timezone_file = ":UTC";
  set_rows({with_format("%s: zone %s")});
  Written written = of({114, 0, 0, 3117, 0, 0, ""});
  written.descr = "CMC_TEMP: zone : Cleared";
  expect(at(114, 0), 0, written);
}

TEST_F(CmcTest, UnknownSensorHasABlankRow) {
  host().timezone_file = "UTC";
  for (const char* sensor : {"CMC", "CMC_TEMP2", "cmc_temp", "CMC_TEMP ", "OTHER", ""}) {
    for (const Row& row : kRows) {
      expect(at(row.offset, row.state, sensor), row.state == 0 ? -1 : 0, blank(row));
    }
    for (const int offset : kOffsetsWithoutWords) {
      expect(at(offset, 1, sensor), 0, blank({offset, 1, 0, 0, 0, 0, ""}));
      expect(at(offset, 0, sensor), -1, blank({offset, 0, 0, 0, 0, 0, ""}));
    }
  }
}

TEST_F(CmcTest, EmptyTableRejectsEveryEvent) {
  const std::int32_t counts[] = {0, -1, -2, std::numeric_limits<std::int32_t>::min()};
  for (const std::int32_t count : counts) {
    set_rows({kCells});
    ent_cmc_map_sz = count;
    for (const int state : {0, 1, 5}) {
      const Outcome outcome = send(at(117, state));
      EXPECT_EQ(outcome.result, -1) << count;
      const fe_fault_record untouched = patterned_record();
      EXPECT_EQ(std::memcmp(&outcome.record, &untouched, sizeof untouched), 0) << count;
    }
  }
}

TEST_F(CmcTest, LaterOfTwoRowsOfANameCounts) {
  SensorRow later = kCells;
  later.base_code = 2114;
  set_rows({kCells, later, named("OTHER")});
  expect(at(117, 1), 0, of({117, 1, 0, 2114, 0, 0, "upper non-critical"}));
  ent_cmc_map_sz = 1;
  expect(at(117, 1), 0, of({117, 1, 0, 3117, 0, 0, "upper non-critical"}));
}

TEST_F(CmcTest, TableIsReadOnEveryCall) {
  expect(at(117, 1), 0, of({117, 1, 0, 3117, 0, 0, "upper non-critical"}));
  ent_cmc_map[0].base_code = 5117;
  expect(at(117, 0), 0, of({117, 0, 4, 5117, 5117, 215, "upper non-critical"}));
  ent_cmc_map_sz = 0;
  EXPECT_EQ(send(at(117, 1)).result, -1);
  ent_cmc_map_sz = 1;
  expect(at(117, 1), 0, of({117, 1, 0, 5117, 0, 0, "upper non-critical"}));
}

TEST_F(CmcTest, RowsBehindTheTwentieth) {
  std::vector<SensorRow> rows(24, kCells);
  std::vector<std::string> names(24);
  for (std::size_t i = 0; i < rows.size(); ++i) {
    names[i] = "CMC_TEMP_" + std::to_string(i);
    rows[i].sensor_name = names[i].c_str();
    rows[i].base_code = static_cast<std::uint32_t>(2000 + i);
  }
  set_rows(rows);
  for (std::uint32_t i = 0; i < 24; ++i) {
    const char* sensor = names[i].c_str();
    for (const int state : {1, -1, 6}) {
      expect(at(117, state, sensor), 0, of({117, state, 0, 2000 + i, 0, 0, "upper non-critical"}, sensor));
    }
    expect(at(117, 0, sensor), 0, of({117, 0, 4, 2000 + i, 2000 + i, 215, "upper non-critical"}, sensor));
  }
}

TEST_F(CmcTest, NothingDependsOnEarlierEvents) {
  for (const int before : {0, 1, 4, 5, 6}) {
    for (const Row& row : kRows) {
      EXPECT_EQ(send(at(118, before)).result, 0);
      EXPECT_EQ(send(at(118, before, "OTHER")).result, before == 0 ? -1 : 0);
      expect(at(row.offset, row.state), 0, of(row));
    }
  }
}

TEST_F(CmcTest, IdentityComesFromTheRow) {
  const struct {
    std::uint8_t id, instance, subtype;
    std::uint32_t key;
  } cases[] = {{0, 0, 0, 0}, {255, 255, 255, 0xFF00FFFF}, {4, 1, 128, 0x04000180}, {128, 127, 0, 0x80007F00}};
  for (const auto& c : cases) {
    SensorRow cells = kCells;
    cells.entity_id = c.id;
    cells.row_number = c.instance;
    cells.subtype = c.subtype;
    set_rows({cells});
    Written written = of({117, 1, 0, 3117, 0, 0, "upper non-critical"});
    written.entity_id = c.id;
    written.entity_instance = c.instance;
    written.entity_subtype = c.subtype;
    written.fault_key = c.key;
    for (const int instance : {0, -1, 2147483647, -2147483647 - 1}) {
      expect({.sensor = "CMC_TEMP", .offset = 117, .state = 1, .instance = instance}, 0, written);
    }
  }
}

TEST_F(CmcTest, CodesOfAnyLength) {
  const struct {
    std::uint32_t code;
    const char* text;
  } cases[] = {{0, "F0000"}, {7, "F0007"}, {999, "F0999"}, {12345, "F12345"}, {4294967295U, "F-001"}};
  for (const auto& c : cases) {
    SensorRow cells = kCells;
    cells.base_code = c.code;
    set_rows({cells});
    Written written = of({117, 1, 0, c.code, 0, 0, "upper non-critical"});
    written.code_text = c.text;
    written.fault_dn = std::string("sys/rack-unit-1/cmc-1/fault-") + c.text;
    expect(at(117, 1), 0, written);
  }
}

TEST_F(CmcTest, FormatsInsertTheirTwoTextsAtMost) {
  const struct {
    const char* format;
    const char* descr;
  } cases[] = {
      {"", ""},
      {"plain", "plain"},
      {"only %s", "only CMC_TEMP"},
      {"%n%n%n %s", "%n%n%n CMC_TEMP"},
      {"%x %d %u %p %c %f", "%x %d %u %p %c %f"},
      {"%5s|%.3s|%-s|%ls|%1$s", "%5s|%.3s|%-s|%ls|%1$s"},
      {"%s%% of %s", "CMC_TEMP% of upper non-critical"},
      {"%%s %s", "%s CMC_TEMP"},
      {"%s ends in %", "CMC_TEMP ends in %"},
      {"%", "%"},
      {"%s,%s,%s,%s,%s", "CMC_TEMP,upper non-critical,upper non-critical,upper non-critical,upper non-critical"},
  };
  for (const auto& c : cases) expect_descr(with_format(c.format), 1, 0, c.descr);
}

TEST_F(CmcTest, InsertedTextsAreNoFormats) {
  set_rows({named("%s%n%d")});
  expect(at(117, 1, "%s%n%d"), 0, of({117, 1, 0, 3117, 0, 0, "upper non-critical"}, "%s%n%d"));
}

TEST_F(CmcTest, ClearCutsAtTheLastColon) {
  const struct {
    const char* format;
    const char* descr;
  } cases[] = {
      {"%s %s:", "CMC_TEMP upper non-critical: Cleared"},
      {"%s: a: b: c", "CMC_TEMP: a: b: Cleared"},
      {":", ": Cleared"},
      {"::", ":: Cleared"},
      {":%s %s", ": Cleared"},
      {"%s:%s", "CMC_TEMP: Cleared"},
  };
  for (const auto& c : cases) expect_descr(with_format(c.format), 0, 0, c.descr);
}

TEST_F(CmcTest, ClearWithoutAColonYieldsNoFault) {
  set_rows({with_format("%s is %s. Check cooling")});
  for (const Row& row : kRows) {
    Written written = of(row);
    written.descr = std::string("CMC_TEMP is ") + row.words + ". Check cooling";
    written.descr_was_longer = false;
    expect(at(row.offset, row.state), row.state == 0 ? -1 : 0, written);
  }
}

TEST_F(CmcTest, DescriptionsThatFillTheirField) {
  const std::string x(224, 'x');
  const auto format = [&x](std::size_t count, const char* tail) { return x.substr(0, count) + tail; };

  expect_descr(with_format(format(223, "").c_str()), 1, 0, x.substr(0, 223));
  expect_descr(with_format(format(224, "").c_str()), 1, 0, x.substr(0, 223));
  expect_descr(with_format(format(215, "%s").c_str()), 1, 0, format(215, "CMC_TEMP"));
  expect_descr(with_format(format(216, "%s").c_str()), 1, 0, format(216, "CMC_TEM"));
  expect_descr(with_format(format(223, "%").c_str()), 1, 0, x.substr(0, 223));

  expect_descr(with_format(format(214, ":abcdefghi").c_str()), 0, 0, format(214, ": Cleared"));
  expect_descr(with_format(format(215, ":").c_str()), 0, 0, format(215, ": Cleare"));
  expect_descr(with_format(format(222, ":").c_str()), 0, 0, format(222, ":"));
  expect_descr(with_format(format(222, ":z").c_str()), 0, 0, format(222, ":"));
  expect_descr(with_format(format(223, ":").c_str()), 0, -1, x.substr(0, 223));
}

TEST_F(CmcTest, TextsWithoutANul) {
  const std::string name(64, 'N');
  const std::string cause(32, 'C');
  const std::string dn(80, 'D');
  const std::string rn(32, 'R');
  SensorRow cells = kCells;
  cells.fault_name = name.c_str();
  cells.cause = cause.c_str();
  cells.dn = dn.c_str();
  cells.rn = rn.c_str();
  set_rows({cells});
  Written written = of({117, 1, 0, 3117, 0, 0, "upper non-critical"});
  written.name = name.substr(1);
  written.cause = cause.substr(1);
  written.dn = dn.substr(1);
  written.fault_dn = dn.substr(1);
  written.rn = rn.substr(1);
  expect(at(117, 1), 0, written);

  const std::string shorter(70, 'D');
  cells.dn = shorter.c_str();
  set_rows({cells});
  written.dn = shorter;
  written.fault_dn = shorter + "/fault-F3";
  expect(at(117, 1), 0, written);
}

TEST_F(CmcTest, SensorNamesThatFillTheirField) {
  const Row raise{117, 1, 0, 3117, 0, 0, "upper non-critical"};
  set_rows({named("ABCDEFGHIJKLMNOPQRS")});
  expect(at(117, 1, "ABCDEFGHIJKLMNOPQRS"), 0, of(raise, "ABCDEFGHIJKLMNOPQRS"));

  // The event's name is read to its NUL, the row's no further than its field.
  const Event full{.sensor = "ABCDEFGHIJKLMNOPQRST", .offset = 117, .state = 1, .reading_type = 0};
  expect(full, 0, blank(raise));
  set_rows({named("ABCDEFGHIJKLMNOPQRST")});
  expect(full, 0, of(raise, "ABCDEFGHIJKLMNOPQRST"));
  Event longer = full;
  longer.reading_type = 'Z';
  expect(longer, 0, blank(raise));
}

}  // namespace
}  // namespace polaiga::test
