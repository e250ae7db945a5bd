// What the two filters over the host's rows have in common.
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "support/host_row_test.h"

fe_sensor_map_row ent_cmc_map[polaiga::test::kHostRows];
std::int32_t ent_cmc_map_sz;
fe_sensor_map_row ent_drive_bp_map[polaiga::test::kHostRows];
std::int32_t ent_drive_bp_map_sz;

namespace polaiga::test {
namespace host_row_filter_test {

enum class Which { kDriveBp, kCmc };

class HostRowFilterTest : public HostRowTest, public ::testing::WithParamInterface<Which> {
 protected:
  HostRowFilterTest()
      : HostRowTest(GetParam() == Which::kCmc ? cmc_table(ent_cmc_map, ent_cmc_map_sz)
                                              : drive_bp_table(ent_drive_bp_map, ent_drive_bp_map_sz)) {}

  // The lines of the table at the upper non-critical threshold, with another base code.
  ThresholdRow upper_raise(std::uint32_t code) const { return {117, 1, 0, code, 0, 0, "upper non-critical"}; }
  ThresholdRow upper_clear(std::uint32_t code) const {
    return {117, 0, 4, code, code, table_.clear.clear_cause_id, "upper non-critical"};
  }
};

INSTANTIATE_TEST_SUITE_P(Filters, HostRowFilterTest, ::testing::Values(Which::kDriveBp, Which::kCmc),
                         [](const auto& which) { return which.param == Which::kCmc ? "cmc" : "drive_bp"; });

TEST_P(HostRowFilterTest, NullArguments) {
  expect_null_arguments_rejected();
  *table_.count = 0;
  expect_null_arguments_rejected();
}

TEST_P(HostRowFilterTest, OffsetsThatAreNoThresholdTakeTheTimeZoneNameForWords) {
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
    for (const int offset : {-1, 0, 1, 100, 113, 120, 126, 256 + 117, 65536 + 118, std::numeric_limits<int>::min()}) {
      for (const int state : {1, 4, 5, 6, 100, -1, 0}) {
        Written written = of({offset, state, 0, table_.cells.base_code, 0, 0, c.words.c_str()});
        written.created = c.created;
        expect(at(offset, state), 0, written);
      }
    }
  }
}

TEST_P(HostRowFilterTest, TimeZoneNameIsNoPartOfTheWords) {
  host().timezone_file = "EST5EDT";
  for (const ThresholdRow& row : {table_.raise, table_.clear}) {
    Written written = of(row);
    written.created = "2024-01-31T18:59:59";
    expect(at(row), 0, written);
  }
}

TEST_P(HostRowFilterTest, ColonOfTheTimeZoneNameCounts) {
  host().timezone_file = ":UTC";
  set_rows({with_format("%s: zone %s")});
  Written written = of({120, 0, 0, table_.cells.base_code, 0, 0, ""});
  written.descr = "SENSOR: zone : Cleared";
  expect(at(120, 0), 0, written);
}

TEST_P(HostRowFilterTest, EmptyTableRejectsEveryEvent) {
  for (const std::int32_t count : {0, -1, -2, std::numeric_limits<std::int32_t>::min()}) {
    *table_.count = count;
    for (const int state : {0, 1, 5}) {
      const Outcome outcome = send(at(117, state));
      EXPECT_EQ(outcome.result, -1) << count;
      const fe_fault_record untouched = patterned_record();
      EXPECT_EQ(std::memcmp(&outcome.record, &untouched, sizeof untouched), 0) << count;
    }
  }
}

TEST_P(HostRowFilterTest, LaterOfTwoRowsOfANameCounts) {
  SensorRow later = table_.cells;
  later.base_code = 2114;
  set_rows({table_.cells, later, named("OTHER")});
  expect(at(117, 1), 0, of(upper_raise(2114)));
  *table_.count = 1;
  expect(at(117, 1), 0, of(upper_raise(table_.cells.base_code)));
}

TEST_P(HostRowFilterTest, TableIsReadOnEveryCall) {
  expect(at(117, 1), 0, of(upper_raise(table_.cells.base_code)));
  table_.rows[0].base_code = 5117;
  expect(at(117, 0), 0, of(upper_clear(5117)));
  *table_.count = 0;
  EXPECT_EQ(send(at(117, 1)).result, -1);
  *table_.count = 1;
  expect(at(117, 1), 0, of(upper_raise(5117)));
}

TEST_P(HostRowFilterTest, RowsBehindTheTwentieth) {
  std::vector<SensorRow> rows(kHostRows, table_.cells);
  std::vector<std::string> names(kHostRows);
  for (std::size_t i = 0; i < rows.size(); ++i) {
    names[i] = "SENSOR_" + std::to_string(i);
    rows[i].sensor_name = names[i].c_str();
    rows[i].base_code = static_cast<std::uint32_t>(2000 + i);
  }
  set_rows(rows);
  for (std::uint32_t i = 0; i < kHostRows; ++i) {
    const char* sensor = names[i].c_str();
    for (const int state : {1, -1, 6}) {
      ThresholdRow raise = upper_raise(2000 + i);
      raise.state = state;
      expect(at(raise, sensor), 0, of(raise, sensor));
    }
    expect(at(117, 0, sensor), 0, of(upper_clear(2000 + i), sensor));
  }
}

TEST_P(HostRowFilterTest, IdentityComesFromTheRow) {
  const struct {
    std::uint8_t id, instance, subtype;
    std::uint32_t key;
  } cases[] = {{0, 0, 0, 0}, {255, 255, 255, 0xFF00FFFF}, {4, 1, 128, 0x04000180}, {128, 127, 0, 0x80007F00}};
  for (const auto& c : cases) {
    SensorRow cells = table_.cells;
    cells.entity_id = c.id;
    cells.row_number = c.instance;
    cells.subtype = c.subtype;
    set_rows({cells});
    Written written = of(table_.raise);
    written.entity_id = c.id;
    written.entity_instance = c.instance;
    written.entity_subtype = c.subtype;
    written.fault_key = c.key;
    for (const int instance : {0, -1, 2147483647, -2147483647 - 1}) {
      expect({.sensor = kSensor, .offset = table_.raise.offset, .state = 1, .instance = instance}, 0, written);
    }
  }
}

TEST_P(HostRowFilterTest, CodesOfAnyLength) {
  const struct {
    std::uint32_t code;
    const char* text;
  } cases[] = {{0, "F0000"}, {7, "F0007"}, {999, "F0999"}, {12345, "F12345"}, {4294967295U, "F-001"}};
  for (const auto& c : cases) {
    SensorRow cells = table_.cells;
    cells.base_code = c.code;
    set_rows({cells});
    Written written = of(upper_raise(c.code));
    written.code_text = c.text;
    written.fault_dn = std::string(table_.cells.dn) + "/fault-" + c.text;
    expect(at(117, 1), 0, written);
  }
}

TEST_P(HostRowFilterTest, FormatsInsertTheirTwoTextsAtMost) {
  const std::string words = table_.raise.words;
  const struct {
    const char* format;
    std::string descr;
  } cases[] = {
      {"", ""},
      {"plain", "plain"},
      {"only %s", "only SENSOR"},
      {"%n%n%n %s", "%n%n%n SENSOR"},
      {"%x %d %u %p %c %f", "%x %d %u %p %c %f"},
      {"%5s|%.3s|%-s|%ls|%1$s", "%5s|%.3s|%-s|%ls|%1$s"},
      {"%s%% of %s", "SENSOR% of " + words},
      {"%%s %s", "%s SENSOR"},
      {"%s ends in %", "SENSOR ends in %"},
      {"%", "%"},
      {"%s,%s,%s,%s", "SENSOR," + words + "," + words + "," + words},
  };
  for (const auto& c : cases) expect_raise(with_format(c.format), c.descr);
}

TEST_P(HostRowFilterTest, InsertedTextsAreNoFormats) {
  set_rows({named("%s%n%d")});
  expect(at(table_.raise, "%s%n%d"), 0, of(table_.raise, "%s%n%d"));
}

TEST_P(HostRowFilterTest, ClearCutsAtTheLastColon) {
  const struct {
    const char* format;
    std::string descr;
  } cases[] = {
      {"%s %s:", std::string("SENSOR ") + table_.clear.words + ": Cleared"},
      {"%s: a: b: c", "SENSOR: a: b: Cleared"},
      {":", ": Cleared"},
      {"::", ":: Cleared"},
      {":%s %s", ": Cleared"},
      {"%s:%s", "SENSOR: Cleared"},
  };
  for (const auto& c : cases) expect_clear(with_format(c.format), 0, c.descr);
}

TEST_P(HostRowFilterTest, ClearWithoutAColonYieldsNoFault) {
  const std::string descr = std::string("SENSOR is ") + table_.raise.words + ". Check cooling";
  expect_raise(with_format("%s is %s. Check cooling"), descr);
  expect_clear(with_format("%s is %s. Check cooling"), -1, descr);
}

TEST_P(HostRowFilterTest, DescriptionsThatFillTheirField) {
  const std::string x(224, 'x');
  const auto format = [&x](std::size_t count, const char* tail) { return x.substr(0, count) + tail; };

  expect_raise(with_format(format(223, "").c_str()), x.substr(0, 223));
  expect_raise(with_format(format(224, "").c_str()), x.substr(0, 223));
  expect_raise(with_format(format(220, "%s").c_str()), format(220, "SEN"));
  expect_raise(with_format(format(217, "%s").c_str()), format(217, "SENSOR"));
  expect_raise(with_format(format(218, "%s").c_str()), format(218, "SENSO"));
  expect_raise(with_format(format(223, "%").c_str()), x.substr(0, 223));

  expect_clear(with_format(format(214, ":abcdefghi").c_str()), 0, format(214, ": Cleared"));
  expect_clear(with_format(format(215, ":").c_str()), 0, format(215, ": Cleare"));
  expect_clear(with_format(format(222, ":").c_str()), 0, format(222, ":"));
  expect_clear(with_format(format(222, ":z").c_str()), 0, format(222, ":"));
  expect_clear(with_format(format(223, ":").c_str()), -1, x.substr(0, 223));
}

TEST_P(HostRowFilterTest, TextsWithoutANul) {
  const std::string name(64, 'N');
  const std::string cause(32, 'C');
  const std::string dn(80, 'D');
  const std::string rn(32, 'R');
  SensorRow cells = table_.cells;
  cells.fault_name = name.c_str();
  cells.cause = cause.c_str();
  cells.dn = dn.c_str();
  cells.rn = rn.c_str();
  set_rows({cells});
  Written written = of(table_.raise);
  written.name = name.substr(1);
  written.cause = cause.substr(1);
  written.dn = dn.substr(1);
  written.fault_dn = dn.substr(1);
  written.rn = rn.substr(1);
  expect(at(table_.raise), 0, written);

  const std::string shorter(70, 'D');
  cells.dn = shorter.c_str();
  set_rows({cells});
  written.dn = shorter;
  written.fault_dn = shorter + "/fault-" + written.code_text->substr(0, 2);
  expect(at(table_.raise), 0, written);
}

TEST_P(HostRowFilterTest, SensorNamesThatFillTheirField) {
  set_rows({named("ABCDEFGHIJKLMNOPQRS")});
  expect(at(table_.raise, "ABCDEFGHIJKLMNOPQRS"), 0, of(table_.raise, "ABCDEFGHIJKLMNOPQRS"));
  // The event's name is read to its NUL, the row's no further than its field.
  set_rows({named("ABCDEFGHIJKLMNOPQRST")});
  const Event full{.sensor = "ABCDEFGHIJKLMNOPQRST", .offset = table_.raise.offset, .state = 1, .reading_type = 0};
  expect(full, 0, of(table_.raise, "ABCDEFGHIJKLMNOPQRST"));
}

}  // namespace host_row_filter_test
}  // namespace polaiga::test
