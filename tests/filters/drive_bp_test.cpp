#include <polaiga/tables.h>

#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "support/filter_test.h"
#include "support/table_image.h"

// The host's table: it takes the place of the library's.
fe_sensor_map_row ent_drive_bp_map[24];
std::int32_t ent_drive_bp_map_sz;

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

const SensorRow kCells = {"SENSOR",
                          15,
                          201,
                          33,
                          99,
                          1114,
                          2215,
                          "fltStorageBackplaneTemp",
                          "backplane-problem",
                          "sys/rack-unit-1/bp-1",
                          "bp-1",
                          "%s: Backplane is %s: Check cooling",
                          {1115, 1116, 1117, 1118, 1119}};

const std::vector<std::uint32_t> kOid = {1, 3, 6, 1, 4, 1, 32473, 5, 100, 1, 9, 6, 1};

const char* const kUnlisted = "NVME9_TEMP";

// Lines that do not ask for the sensor's class.
const Row kRows[] = {
    {114, 1, 0, 1114, 0, 0, "lower non-critical"},
    {114, 4, 0, 1114, 0, 0, "lower non-critical"},
    {114, 5, 0, 1114, 0, 0, "lower non-critical"},
    {114, 2, 0, 1114, 0, 0, "lower non-critical"},
    {114, 3, 0, 1114, 0, 0, "lower non-critical"},
    {114, 6, 0, 1114, 0, 0, "lower non-critical"},
    {114, 7, 0, 1114, 0, 0, "lower non-critical"},
    {114, 100, 0, 1114, 0, 0, "lower non-critical"},
    {114, -1, 0, 1114, 0, 0, "lower non-critical"},
    {114, 0, 4, 1114, 1114, 2215, "lower non-critical"},

    {115, 0, 5, 1115, 1115, 2215, "lower critical"},
    {115, 5, 4, 1115, 1117, 2215, "lower critical"},
    {115, 4, 5, 1117, 1115, 2215, "lower non-critical"},
    {115, 1, 5, 1117, 1115, 2215, "lower non-critical"},
    {115, 2, 5, 1117, 1115, 2215, "lower non-critical"},
    {115, 3, 5, 1117, 1115, 2215, "lower non-critical"},
    {115, 6, 5, 1117, 1115, 2215, "lower non-critical"},
    {115, 7, 5, 1117, 1115, 2215, "lower non-critical"},
    {115, 100, 5, 1117, 1115, 2215, "lower non-critical"},
    {115, -1, 5, 1117, 1115, 2215, "lower non-critical"},
    {115, 261, 5, 1117, 1115, 2215, "lower non-critical"},

    {116, 5, 6, 1115, 1116, 2215, "lower critical"},
    {116, 0, 6, 1116, 1116, 2215, "lower non-recoverable"},
    {116, 6, 5, 1116, 1115, 2215, "lower non-recoverable"},
    {116, 1, 5, 1116, 1115, 2215, "lower non-recoverable"},
    {116, 4, 5, 1116, 1115, 2215, "lower non-recoverable"},
    {116, 2, 5, 1116, 1115, 2215, "lower non-recoverable"},
    {116, 3, 5, 1116, 1115, 2215, "lower non-recoverable"},
    {116, 7, 5, 1116, 1115, 2215, "lower non-recoverable"},
    {116, 100, 5, 1116, 1115, 2215, "lower non-recoverable"},
    {116, -1, 5, 1116, 1115, 2215, "lower non-recoverable"},

    {117, 1, 0, 1114, 0, 0, "upper non-critical"},
    {117, 3, 0, 1114, 0, 0, "upper non-critical"},
    {117, 4, 0, 1114, 0, 0, "upper non-critical"},
    {117, 5, 0, 1114, 0, 0, "upper non-critical"},
    {117, 2, 0, 1114, 0, 0, "upper non-critical"},
    {117, 6, 0, 1114, 0, 0, "upper non-critical"},
    {117, 7, 0, 1114, 0, 0, "upper non-critical"},
    {117, -1, 0, 1114, 0, 0, "upper non-critical"},
    {117, 100, 0, 1114, 0, 0, "upper non-critical"},
    {117, 0, 4, 1114, 1114, 2215, "upper non-critical"},

    {118, 0, 5, 1118, 1118, 2215, "upper critical"},
    {118, 5, 4, 1118, 1117, 2215, "upper critical"},

    {119, 5, 6, 1118, 1119, 2215, "upper critical"},
    {119, 0, 6, 1119, 1119, 2215, "upper non-recoverable"},
    {119, 6, 5, 1119, 1118, 2215, "upper non-recoverable"},
    {119, 1, 5, 1119, 1118, 2215, "upper non-recoverable"},
    {119, 2, 5, 1119, 1118, 2215, "upper non-recoverable"},
    {119, 4, 5, 1119, 1118, 2215, "upper non-recoverable"},
    {119, 3, 5, 1119, 1118, 2215, "upper non-recoverable"},
    {119, 100, 5, 1119, 1118, 2215, "upper non-recoverable"},
    {119, 7, 5, 1119, 1118, 2215, "upper non-recoverable"},
    {119, -1, 5, 1119, 1118, 2215, "upper non-recoverable"},
};

// Upper critical with a state of neither 0 nor 5.
const int kOtherStates[] = {1, 2, 3, 4, 6, 7, 100, -1, 256};

const int kOffsetsWithoutWords[] = {-1,  0,   1,         100,         113,
                                    120, 126, 256 + 117, 65536 + 118, std::numeric_limits<int>::min()};

class DriveBpTest : public FilterTest {
 protected:
  DriveBpTest() : FilterTest("process_drive_bp_fault") { set_rows({named(kUnlisted)}); }

  static SensorRow named(const char* sensor) {
    SensorRow row = kCells;
    row.sensor_name = sensor;
    return row;
  }

  static SensorRow with_format(const char* format) {
    SensorRow row = named(kUnlisted);
    row.descr_format = format;
    return row;
  }

  static void set_rows(const std::vector<SensorRow>& rows) {
    std::memset(ent_drive_bp_map, 0, sizeof ent_drive_bp_map);
    for (std::size_t i = 0; i < rows.size(); ++i) {
      std::memcpy(&ent_drive_bp_map[i], image_of(rows[i]).data(), kSensorRowSize);
    }
    ent_drive_bp_map_sz = static_cast<std::int32_t>(rows.size());
  }

  static Event at(int offset, int state, const char* sensor = kUnlisted) {
    return {.sensor = sensor, .offset = offset, .state = state, .instance = 7};
  }

  // What an event of a sensor with the cells of kCells leaves. State 0 clears.
  static Written of(const Row& row, const std::string& sensor = kUnlisted) {
    const std::string code = std::to_string(row.code);
    const std::string end = row.state == 0 ? ": Cleared" : ": Check cooling";
    return {.entity_id = 15,
            .entity_subtype = 33,
            .entity_instance = 201,
            .event_state = row.state,
            .fault_key = 0x0F00C921,
            .dn = "sys/rack-unit-1/bp-1",
            .fault_dn = "sys/rack-unit-1/bp-1/fault-F" + code,
            .rn = "bp-1",
            .code_text = "F" + code,
            .oid = kOid,
            .oid_len = 13,
            .descr = sensor + ": Backplane is " + row.words + end,
            .created = kNowText,
            .created_time = kNow,
            .disposition = row.disposition,
            .clear_cause_id = row.clear_cause_id,
            .cause = "backplane-problem",
            .code = row.code,
            .clear_code = row.clear_code,
            .name = "fltStorageBackplaneTemp",
            .descr_was_longer = row.state == 0};
  }

  // An unlisted sensor's description: a raise at the lower non-critical threshold, or its clear.
  void expect_descr(const SensorRow& cells, int state, std::int32_t result, const std::string& descr) {
    set_rows({cells});
    Written written = of({114, state, std::uint8_t(state == 0 ? 4 : 0), 1114, state == 0 ? 1114U : 0U,
                          state == 0 ? 2215U : 0U, "lower non-critical"});
    written.descr = descr;
    expect(at(114, state), result, written);
  }
};

TEST_F(DriveBpTest, NullArguments) {
  expect_null_arguments_rejected();
  ent_drive_bp_map_sz = 0;
  expect_null_arguments_rejected();
}

TEST_F(DriveBpTest, EveryLineOfTheTable) {
  for (const Row& row : kRows) expect(at(row.offset, row.state), 0, of(row));
}

TEST_F(DriveBpTest, EveryLineOfTheTableForListedSensors) {
  for (const char* sensor : {"HDD_BP1_TEMP", "SB_NVME1_TEMP", "IOE_NVME1_TEMP", "IOE_NVME2_TEMP"}) {
    set_rows({named(sensor)});
    for (const Row& row : kRows) expect(at(row.offset, row.state, sensor), 0, of(row, sensor));
  }
}

TEST_F(DriveBpTest, UpperCriticalOfAListedSensorClears) {
  for (const char* sensor : {"HDD_BP1_TEMP", "SB_NVME1_TEMP", "IOE_NVME1_TEMP", "IOE_NVME2_TEMP"}) {
    set_rows({named(sensor)});
    for (const int state : kOtherStates) {
      expect(at(118, state, sensor), 0, of({118, 0, 5, 1118, 1118, 218, "upper critical"}, sensor));
    }
  }
}

TEST_F(DriveBpTest, UpperCriticalOfAnUnlistedSensorEscalates) {
  for (const char* sensor : {"HDD_BP2_TEMP", "SB_NVME2_TEMP", "IOE_NVME3_TEMP", "IOE_NVME", "hdd_bp1_temp",
                             "HDD_BP1_TEMP ", "HDD_BP1_TEM", "SB_NVME1_TEMP2"}) {
    set_rows({named(sensor)});
    for (const int state : kOtherStates) {
      expect(at(118, state, sensor), 0, of({118, state, 5, 1117, 1118, 2215, "upper non-critical"}, sensor));
    }
  }
}

TEST_F(DriveBpTest, UpperCriticalOfAListedSensorWithoutAColonYieldsNoFault) {
  SensorRow cells = named("SB_NVME1_TEMP");
  cells.descr_format = "%s is %s";
  set_rows({cells});
  Written written = of({118, 0, 5, 1118, 1118, 218, "upper critical"});
  written.descr = "SB_NVME1_TEMP is upper critical";
  written.descr_was_longer = false;
  expect(at(118, 4, "SB_NVME1_TEMP"), -1, written);
}

TEST_F(DriveBpTest, OtherOffsetsTakeTheTimeZoneNameForWords) {
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
        Written written = of({offset, state, 0, 1114, 0, 0, c.words.c_str()});
        written.created = c.created;
        expect(at(offset, state), 0, written);
      }
    }
  }
}

TEST_F(DriveBpTest, TimeZoneNameIsNoPartOfTheWords) {
  host().timezone_file = "EST5EDT";
  for (const Row& row : kRows) {
    Written written = of(row);
    written.created = "2024-01-31T18:59:59";
    expect(at(row.offset, row.state), 0, written);
  }
}

TEST_F(DriveBpTest, ColonOfTheTimeZoneNameCounts) {
  host().timezone_file = ":UTC";
  set_rows({with_format("%s: zone %s")});
  Written written = of({120, 0, 0, 1114, 0, 0, ""});
  written.descr = "NVME9_TEMP: zone : Cleared";
  expect(at(120, 0), 0, written);
}

TEST_F(DriveBpTest, UnknownSensorLeavesACopyAndTheOid) {
  set_rows({named("NVME9_TEMP"), named("HDD_BP1_TEMP"), named("")});
  for (const char* sensor : {"NVME9", "NVME9_TEMP2", "nvme9_temp", "NVME9_TEMP ", " "}) {
    for (const int state : {0, 1}) expect(at(118, state, sensor), -1, {.oid = kOid, .oid_len = 13});
  }
}

TEST_F(DriveBpTest, EmptyTableRejectsEveryEvent) {
  const std::int32_t counts[] = {0, -1, -2, std::numeric_limits<std::int32_t>::min()};
  for (const std::int32_t count : counts) {
    set_rows({named(kUnlisted)});
    ent_drive_bp_map_sz = count;
    for (const int state : {0, 1, 5}) {
      const Outcome outcome = send(at(114, state));
      EXPECT_EQ(outcome.result, -1) << count;
      const fe_fault_record untouched = patterned_record();
      EXPECT_EQ(std::memcmp(&outcome.record, &untouched, sizeof untouched), 0) << count;
    }
  }
}

TEST_F(DriveBpTest, LaterOfTwoRowsOfANameCounts) {
  SensorRow later = named(kUnlisted);
  later.base_code = 2114;
  set_rows({named(kUnlisted), later, named("OTHER")});
  expect(at(114, 1), 0, of({114, 1, 0, 2114, 0, 0, "lower non-critical"}));
  ent_drive_bp_map_sz = 1;
  expect(at(114, 1), 0, of({114, 1, 0, 1114, 0, 0, "lower non-critical"}));
}

TEST_F(DriveBpTest, TableIsReadOnEveryCall) {
  expect(at(117, 1), 0, of({117, 1, 0, 1114, 0, 0, "upper non-critical"}));
  ent_drive_bp_map[0].base_code = 3114;
  expect(at(117, 0), 0, of({117, 0, 4, 3114, 3114, 2215, "upper non-critical"}));
  ent_drive_bp_map_sz = 0;
  EXPECT_EQ(send(at(117, 1)).result, -1);
  ent_drive_bp_map_sz = 1;
  expect(at(117, 1), 0, of({117, 1, 0, 3114, 0, 0, "upper non-critical"}));
}

TEST_F(DriveBpTest, RowsBehindTheTwentieth) {
  std::vector<SensorRow> rows(24, named("OTHER"));
  std::vector<std::string> names(24);
  for (std::size_t i = 0; i < rows.size(); ++i) {
    names[i] = "BP_TEMP_" + std::to_string(i);
    rows[i].sensor_name = names[i].c_str();
    rows[i].base_code = static_cast<std::uint32_t>(2000 + i);
  }
  set_rows(rows);
  for (std::uint32_t i = 0; i < 24; ++i) {
    const char* sensor = names[i].c_str();
    for (const int state : {1, -1, 6}) {
      expect(at(114, state, sensor), 0, of({114, state, 0, 2000 + i, 0, 0, "lower non-critical"}, sensor));
    }
    expect(at(114, 0, sensor), 0, of({114, 0, 4, 2000 + i, 2000 + i, 2215, "lower non-critical"}, sensor));
  }
}

TEST_F(DriveBpTest, NothingDependsOnEarlierEvents) {
  for (const int before : {0, 1, 4, 5, 6}) {
    for (const Row& row : kRows) {
      EXPECT_EQ(send(at(118, before)).result, 0);
      expect(at(row.offset, row.state), 0, of(row));
    }
  }
}

TEST_F(DriveBpTest, IdentityComesFromTheRow) {
  const struct {
    std::uint8_t id, instance, subtype;
    std::uint32_t key;
  } cases[] = {{0, 0, 0, 0}, {255, 255, 255, 0xFF00FFFF}, {4, 1, 128, 0x04000180}, {128, 127, 0, 0x80007F00}};
  for (const auto& c : cases) {
    SensorRow cells = named(kUnlisted);
    cells.entity_id = c.id;
    cells.row_number = c.instance;
    cells.subtype = c.subtype;
    set_rows({cells});
    Written written = of({117, 1, 0, 1114, 0, 0, "upper non-critical"});
    written.entity_id = c.id;
    written.entity_instance = c.instance;
    written.entity_subtype = c.subtype;
    written.fault_key = c.key;
    for (const int instance : {0, -1, 2147483647, -2147483647 - 1}) {
      expect({.sensor = kUnlisted, .offset = 117, .state = 1, .instance = instance}, 0, written);
    }
  }
}

TEST_F(DriveBpTest, CodesOfAnyLength) {
  const struct {
    std::uint32_t code;
    const char* text;
  } cases[] = {{0, "F0000"}, {7, "F0007"}, {999, "F0999"}, {12345, "F12345"}, {4294967295U, "F-001"}};
  for (const auto& c : cases) {
    SensorRow cells = named(kUnlisted);
    cells.base_code = c.code;
    set_rows({cells});
    Written written = of({117, 1, 0, c.code, 0, 0, "upper non-critical"});
    written.code_text = c.text;
    written.fault_dn = std::string("sys/rack-unit-1/bp-1/fault-") + c.text;
    expect(at(117, 1), 0, written);
  }
}

TEST_F(DriveBpTest, FormatsInsertTheirTwoTextsAtMost) {
  const struct {
    const char* format;
    const char* descr;
  } cases[] = {
      {"", ""},
      {"plain", "plain"},
      {"only %s", "only NVME9_TEMP"},
      {"%n%n%n %s", "%n%n%n NVME9_TEMP"},
      {"%x %d %u %p %c %f", "%x %d %u %p %c %f"},
      {"%5s|%.3s|%-s|%ls|%1$s", "%5s|%.3s|%-s|%ls|%1$s"},
      {"%s%% of %s", "NVME9_TEMP% of lower non-critical"},
      {"%%s %s", "%s NVME9_TEMP"},
      {"%s ends in %", "NVME9_TEMP ends in %"},
      {"%", "%"},
      {"%s,%s,%s,%s,%s", "NVME9_TEMP,lower non-critical,lower non-critical,lower non-critical,lower non-critical"},
  };
  for (const auto& c : cases) expect_descr(with_format(c.format), 1, 0, c.descr);
}

TEST_F(DriveBpTest, InsertedTextsAreNoFormats) {
  set_rows({named("%s%n%d")});
  expect(at(114, 1, "%s%n%d"), 0, of({114, 1, 0, 1114, 0, 0, "lower non-critical"}, "%s%n%d"));
}

TEST_F(DriveBpTest, ClearCutsAtTheLastColon) {
  const struct {
    const char* format;
    const char* descr;
  } cases[] = {
      {"%s %s:", "NVME9_TEMP lower non-critical: Cleared"},
      {"%s: a: b: c", "NVME9_TEMP: a: b: Cleared"},
      {":", ": Cleared"},
      {"::", ":: Cleared"},
      {":%s %s", ": Cleared"},
      {"%s:%s", "NVME9_TEMP: Cleared"},
  };
  for (const auto& c : cases) {
    set_rows({with_format(c.format)});
    Written written = of({114, 0, 4, 1114, 1114, 2215, "lower non-critical"});
    written.descr = c.descr;
    expect(at(114, 0), 0, written);
  }
}

TEST_F(DriveBpTest, ClearWithoutAColonYieldsNoFault) {
  set_rows({with_format("%s is %s. Check cooling")});
  for (const Row& row : kRows) {
    Written written = of(row);
    written.descr = std::string("NVME9_TEMP is ") + row.words + ". Check cooling";
    written.descr_was_longer = false;
    expect(at(row.offset, row.state), row.state == 0 ? -1 : 0, written);
  }
}

TEST_F(DriveBpTest, DescriptionsThatFillTheirField) {
  const std::string x(224, 'x');
  const auto format = [&x](std::size_t count, const char* tail) { return x.substr(0, count) + tail; };

  expect_descr(with_format(format(223, "").c_str()), 1, 0, x.substr(0, 223));
  expect_descr(with_format(format(224, "").c_str()), 1, 0, x.substr(0, 223));
  expect_descr(with_format(format(220, "%s").c_str()), 1, 0, format(220, "NVM"));
  expect_descr(with_format(format(213, "%s").c_str()), 1, 0, format(213, "NVME9_TEMP"));
  expect_descr(with_format(format(214, "%s").c_str()), 1, 0, format(214, "NVME9_TEM"));
  expect_descr(with_format(format(223, "%").c_str()), 1, 0, x.substr(0, 223));

  expect_descr(with_format(format(214, ":abcdefghi").c_str()), 0, 0, format(214, ": Cleared"));
  expect_descr(with_format(format(215, ":").c_str()), 0, 0, format(215, ": Cleare"));
  expect_descr(with_format(format(222, ":").c_str()), 0, 0, format(222, ":"));
  expect_descr(with_format(format(222, ":z").c_str()), 0, 0, format(222, ":"));
  expect_descr(with_format(format(223, ":").c_str()), 0, -1, x.substr(0, 223));
}

TEST_F(DriveBpTest, TextsWithoutANul) {
  const std::string name(64, 'N');
  const std::string cause(32, 'C');
  const std::string dn(80, 'D');
  const std::string rn(32, 'R');
  SensorRow cells = named(kUnlisted);
  cells.fault_name = name.c_str();
  cells.cause = cause.c_str();
  cells.dn = dn.c_str();
  cells.rn = rn.c_str();
  set_rows({cells});
  Written written = of({117, 1, 0, 1114, 0, 0, "upper non-critical"});
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
  written.fault_dn = shorter + "/fault-F1";
  expect(at(117, 1), 0, written);
}

TEST_F(DriveBpTest, SensorNamesThatFillTheirField) {
  set_rows({named("ABCDEFGHIJKLMNOPQRS")});
  expect(at(117, 1, "ABCDEFGHIJKLMNOPQRS"), 0,
         of({117, 1, 0, 1114, 0, 0, "upper non-critical"}, "ABCDEFGHIJKLMNOPQRS"));

  // The event's name is read to its NUL, the row's no further than its field.
  const Event full{.sensor = "ABCDEFGHIJKLMNOPQRST", .offset = 117, .state = 1, .reading_type = 0};
  expect(full, -1, {.oid = kOid, .oid_len = 13});
  set_rows({named("ABCDEFGHIJKLMNOPQRST")});
  expect(full, 0, of({117, 1, 0, 1114, 0, 0, "upper non-critical"}, "ABCDEFGHIJKLMNOPQRST"));
  Event longer = full;
  longer.reading_type = 'Z';
  expect(longer, -1, {.oid = kOid, .oid_len = 13});
}

}  // namespace
}  // namespace polaiga::test
