#include "filter/host_tables.h"

#include <gtest/gtest.h>
#include <polaiga/tables.h>

#include <set>
#include <string>

#include "model/dictionary.h"
#include "support/temp_dir.h"

namespace polaiga::engine {
namespace host_tables_test {

const std::string kSensorHeader =
    "sensor_name\tentity_id\tsubtype\tsensor_class\tbase_code\tlower_critical\tlower_non_recoverable\t"
    "upper_non_critical\tupper_critical\tupper_non_recoverable\tcause_id\tfault_name\tcause\tdn\trn\tdescr_format\n";
const std::string kNodeManagerHeader =
    "event_offset\tentity_id\tinstance\tsubtype\tcode\tcause_id\tfault_name\tcause\tdn\trn\tdescr\n";

// Rows that are right: characters 1, 5, 8, 10, 12, 17, 22, ... begin the columns.
const std::string kSensorRow =
    "BP1\t15\t1\t2\t1310\t1311\t1312\t1313\t1314\t1315\t215\tfltA\tthermal\tsys/a\ta\t%s: is %s: Check\n";
const std::string kNodeManagerRow = "200\t46\t1\t2\t1300\t344\tfltB\tpower\tsys/b\tb\tPower 100%: Check\n";

std::string replaced(std::string row, const std::string& what, const std::string& by) {
  const std::size_t at = row.find(what);
  EXPECT_NE(at, std::string::npos) << what;
  return row.replace(at, what.size(), by);
}

class HostTablesTest : public ::testing::Test {
 protected:
  HostTablesTest() {
    dir_.write("nm.tsv", kNodeManagerHeader + kNodeManagerRow);
    dir_.write("cmc.tsv", kSensorHeader);
    dir_.write("drive_bp.tsv", kSensorHeader + kSensorRow);
  }

  // What is said about the tables, less the directory; "nothing" when they are right.
  std::string complaint() const {
    try {
      load_host_tables(dir_.path());
    } catch (const TableError& error) {
      const std::string what = error.what();
      const std::string prefix = dir_.path().string() + "/";
      EXPECT_EQ(what.substr(0, prefix.size()), prefix);
      return what.substr(prefix.size());
    }
    return "nothing";
  }

  std::string complaint_about(const std::string& file, const std::string& content) const {
    dir_.write(file, content);
    return complaint();
  }

  std::string about_sensor_row(const std::string& what, const std::string& by) const {
    return complaint_about("cmc.tsv", kSensorHeader + replaced(kSensorRow, what, by));
  }

  std::string about_node_manager_row(const std::string& what, const std::string& by) const {
    return complaint_about("nm.tsv", kNodeManagerHeader + replaced(kNodeManagerRow, what, by));
  }

  test::TempDir dir_;
};

TEST_F(HostTablesTest, EveryColumnHasItsField) {
  ASSERT_EQ(complaint(), "nothing");
  ASSERT_EQ(ent_drive_bp_map_sz, 1);
  const fe_sensor_map_row& sensor = ent_drive_bp_map[0];
  EXPECT_STREQ(sensor.sensor_name, "BP1");
  EXPECT_EQ(sensor.entity_id, 15);
  EXPECT_EQ(sensor.row_number, 1);
  EXPECT_EQ(sensor.subtype, 1);
  EXPECT_EQ(sensor.sensor_class, 2);
  EXPECT_EQ(sensor.base_code, 1310U);
  EXPECT_EQ(sensor.cause_id, 215U);
  EXPECT_STREQ(sensor.fault_name, "fltA");
  EXPECT_STREQ(sensor.cause, "thermal");
  EXPECT_STREQ(sensor.dn, "sys/a");
  EXPECT_STREQ(sensor.rn, "a");
  EXPECT_STREQ(sensor.descr_format, "%s: is %s: Check");
  EXPECT_EQ(sensor.threshold_codes[FE_CODE_LOWER_CRITICAL], 1311U);
  EXPECT_EQ(sensor.threshold_codes[FE_CODE_LOWER_NON_RECOVERABLE], 1312U);
  EXPECT_EQ(sensor.threshold_codes[FE_CODE_UPPER_NON_CRITICAL], 1313U);
  EXPECT_EQ(sensor.threshold_codes[FE_CODE_UPPER_CRITICAL], 1314U);
  EXPECT_EQ(sensor.threshold_codes[FE_CODE_UPPER_NON_RECOVERABLE], 1315U);

  ASSERT_EQ(ent_nm_map_sz, 1);
  const fe_nm_map_row& fault = ent_nm_map[0];
  EXPECT_EQ(fault.event_offset, 200U);
  EXPECT_EQ(fault.entity_id, 46);
  EXPECT_EQ(fault.instance, 1);
  EXPECT_EQ(fault.subtype, 2);
  EXPECT_EQ(fault.code, 1300U);
  EXPECT_EQ(fault.cause_id, 344U);
  EXPECT_STREQ(fault.fault_name, "fltB");
  EXPECT_STREQ(fault.cause, "power");
  EXPECT_STREQ(fault.dn, "sys/b");
  EXPECT_STREQ(fault.rn, "b");
  EXPECT_STREQ(fault.descr, "Power 100%: Check");

  EXPECT_EQ(ent_cmc_map_sz, 0);
}

TEST_F(HostTablesTest, CommentsEmptyLinesAndCrLf) {
  std::string content =
      "# first\n\n" + kSensorHeader + "# between\n" + kSensorRow + "\n" + replaced(kSensorRow, "BP1", "BP2");
  for (std::size_t at = 0; (at = content.find('\n', at)) != std::string::npos; at += 2) content.replace(at, 1, "\r\n");
  EXPECT_EQ(complaint_about("cmc.tsv", content), "nothing");
  ASSERT_EQ(ent_cmc_map_sz, 2);
  EXPECT_STREQ(ent_cmc_map[1].sensor_name, "BP2");
  EXPECT_STREQ(ent_cmc_map[1].descr_format, "%s: is %s: Check");
  EXPECT_EQ(ent_cmc_map[1].row_number, 2);
}

TEST_F(HostTablesTest, TextsOfFullWidth) {
  EXPECT_EQ(about_sensor_row("BP1", std::string(19, 'x')), "nothing");
  EXPECT_EQ(about_sensor_row("fltA", std::string(63, 'x')), "nothing");
  EXPECT_EQ(about_sensor_row("thermal", std::string(31, 'x')), "nothing");
  EXPECT_EQ(about_sensor_row("sys/a", std::string(79, 'x')), "nothing");
  EXPECT_EQ(about_sensor_row("\ta\t", std::string("\t") + std::string(31, 'x') + "\t"), "nothing");
  EXPECT_EQ(about_sensor_row(": Check", std::string(": ") + std::string(212, 'x')), "nothing");
  ASSERT_EQ(ent_cmc_map_sz, 1);
  EXPECT_EQ(std::string(ent_cmc_map[0].descr_format).size(), 223U);
}

TEST_F(HostTablesTest, TextsTooLong) {
  const std::string x(100, 'x');
  EXPECT_EQ(about_sensor_row("BP1", x.substr(0, 20)), "cmc.tsv:2:1: sensor_name: has 20 bytes; at most 19 fit");
  EXPECT_EQ(about_sensor_row("fltA", x.substr(0, 64)), "cmc.tsv:2:46: fault_name: has 64 bytes; at most 63 fit");
  EXPECT_EQ(about_sensor_row("thermal", x.substr(0, 32)), "cmc.tsv:2:51: cause: has 32 bytes; at most 31 fit");
  EXPECT_EQ(about_sensor_row("sys/a", x.substr(0, 80)), "cmc.tsv:2:59: dn: has 80 bytes; at most 79 fit");
  EXPECT_EQ(about_sensor_row("\ta\t", std::string("\t") + x.substr(0, 32) + "\t"),
            "cmc.tsv:2:65: rn: has 32 bytes; at most 31 fit");
  EXPECT_EQ(about_sensor_row(": Check", std::string(": ") + std::string(213, 'x')),
            "cmc.tsv:2:67: descr_format: has 224 bytes; at most 223 fit");
}

TEST_F(HostTablesTest, NodeManagerDescriptionTooLong) {
  EXPECT_EQ(about_node_manager_row(": Check", std::string(": ") + std::string(212, 'x')),
            "nm.tsv:2:40: descr: has 224 bytes; at most 223 fit");
}

TEST_F(HostTablesTest, PositionsCountCharacters) {
  EXPECT_EQ(about_sensor_row("sys/a\ta\t%s", "\xC3\xA9\xC3\xA9\xC3\xA9\ta\t%d"),
            "cmc.tsv:2:65: descr_format: a '%' must be part of a '%s'");
}

TEST_F(HostTablesTest, EmptyTexts) {
  EXPECT_EQ(about_sensor_row("BP1", ""), "cmc.tsv:2:1: sensor_name: is empty");
  EXPECT_EQ(about_sensor_row("sys/a", ""), "cmc.tsv:2:59: dn: is empty");
}

TEST_F(HostTablesTest, TextsWithANul) {
  const std::string nul(1, '\0');
  EXPECT_EQ(about_sensor_row("BP1", nul + "BP1"), "cmc.tsv:2:1: sensor_name: holds a NUL");
  EXPECT_EQ(about_sensor_row("sys/a", "sys" + nul), "cmc.tsv:2:59: dn: holds a NUL");
}

TEST_F(HostTablesTest, Numbers) {
  EXPECT_EQ(about_sensor_row("\t15\t", "\t256\t"), "cmc.tsv:2:5: entity_id: '256' is not a number from 0 to 255");
  EXPECT_EQ(about_sensor_row("\t15\t", "\t-1\t"), "cmc.tsv:2:5: entity_id: '-1' is not a number from 0 to 255");
  EXPECT_EQ(about_sensor_row("\t15\t", "\t\t"), "cmc.tsv:2:5: entity_id: '' is not a number from 0 to 255");
  EXPECT_EQ(about_sensor_row("\t15\t", "\t15 \t"), "cmc.tsv:2:5: entity_id: '15 ' is not a number from 0 to 255");
  EXPECT_EQ(about_sensor_row("1310", "0"), "cmc.tsv:2:12: base_code: '0' is not a number from 1 to 2147483647");
  EXPECT_EQ(about_sensor_row("1310", "2147483648"),
            "cmc.tsv:2:12: base_code: '2147483648' is not a number from 1 to 2147483647");
  EXPECT_EQ(about_sensor_row("1311", "x"), "cmc.tsv:2:17: lower_critical: 'x' is not a number from 1 to 2147483647");
  EXPECT_EQ(about_sensor_row("1315", "99999999999"),
            "cmc.tsv:2:37: upper_non_recoverable: '99999999999' is not a number from 1 to 2147483647");
  EXPECT_EQ(about_sensor_row("\t215", "\t0x7"), "cmc.tsv:2:42: cause_id: '0x7' is not a number from 0 to 2147483647");
}

TEST_F(HostTablesTest, NodeManagerNumbers) {
  EXPECT_EQ(about_node_manager_row("200", "-5"), "nm.tsv:2:1: event_offset: '-5' is not a number from 0 to 2147483647");
  EXPECT_EQ(about_node_manager_row("\t2\t", "\t300\t"), "nm.tsv:2:10: subtype: '300' is not a number from 0 to 255");
}

TEST_F(HostTablesTest, NumbersOfColumns) {
  EXPECT_EQ(about_sensor_row("\t%s: is %s: Check", ""), "cmc.tsv:2:66: descr_format: the line has 15 of 16 columns");
  EXPECT_EQ(about_sensor_row("Check", "Check\tmore"), "cmc.tsv:2:84: extra: the line has more than 16 columns");
  EXPECT_EQ(complaint_about("cmc.tsv", kSensorHeader + "x\n"), "cmc.tsv:2:2: entity_id: the line has 1 of 16 columns");
}

TEST_F(HostTablesTest, Headers) {
  EXPECT_EQ(complaint_about("cmc.tsv", replaced(kSensorHeader, "subtype", "sub-type") + kSensorRow),
            "cmc.tsv:1:23: subtype: the header names this column 'sub-type'");
  EXPECT_EQ(complaint_about("cmc.tsv", "# nothing but this\n"), "cmc.tsv:1:1: sensor_name: there is no header line");
  EXPECT_EQ(complaint_about("cmc.tsv", kSensorRow), "cmc.tsv:1:1: sensor_name: the header names this column 'BP1'");
}

TEST_F(HostTablesTest, Descriptions) {
  EXPECT_EQ(about_sensor_row("%s: is %s: Check", "is %s"), "cmc.tsv:2:67: descr_format: has no colon");
  EXPECT_EQ(about_sensor_row("%s: is %s: Check", "plain: Check"), "nothing");
  EXPECT_EQ(about_sensor_row("is %s", "is %d"), "cmc.tsv:2:74: descr_format: a '%' must be part of a '%s'");
  EXPECT_EQ(about_sensor_row("is %s", "is %5s"), "cmc.tsv:2:74: descr_format: a '%' must be part of a '%s'");
  EXPECT_EQ(about_sensor_row("is %s", "is 5%%"), "cmc.tsv:2:75: descr_format: a '%' must be part of a '%s'");
  EXPECT_EQ(about_sensor_row("Check\n", "100%\n"), "cmc.tsv:2:81: descr_format: a '%' must be part of a '%s'");
  EXPECT_EQ(about_sensor_row("Check", "%s"), "cmc.tsv:2:78: descr_format: at most two '%s' are allowed");
}

TEST_F(HostTablesTest, NodeManagerDescriptions) {
  EXPECT_EQ(about_node_manager_row("100%: Check", "100%"), "nm.tsv:2:40: descr: has no colon");
}

TEST_F(HostTablesTest, Duplicates) {
  EXPECT_EQ(complaint_about("drive_bp.tsv",
                            kSensorHeader + "#\n" + kSensorRow + replaced(kSensorRow, "BP1", "BP2") + kSensorRow),
            "drive_bp.tsv:5:1: sensor_name: 'BP1' is already in line 3");
}

TEST_F(HostTablesTest, NodeManagerDuplicates) {
  EXPECT_EQ(complaint_about("nm.tsv", kNodeManagerHeader + kNodeManagerRow + replaced(kNodeManagerRow, "200", "0200")),
            "nm.tsv:3:1: event_offset: '0200' is already in line 2");
}

TEST_F(HostTablesTest, NoMoreRowsThanAreRemembered) {
  std::string content = kSensorHeader;
  for (int row = 1; row <= 20; ++row) content += replaced(kSensorRow, "BP1", "BP" + std::to_string(row));
  EXPECT_EQ(complaint_about("cmc.tsv", content), "nothing");
  EXPECT_EQ(ent_cmc_map_sz, 20);
  EXPECT_STREQ(ent_cmc_map[19].sensor_name, "BP20");
  EXPECT_EQ(ent_cmc_map[19].row_number, 20);
  EXPECT_EQ(complaint_about("cmc.tsv", content + replaced(kSensorRow, "BP1", "BP21")),
            "cmc.tsv:22:1: sensor_name: the table has more than 20 rows");
}

TEST_F(HostTablesTest, MissingFiles) {
  for (const char* file : {"nm.tsv", "cmc.tsv", "drive_bp.tsv"}) {
    const std::string content = dir_.read(file);
    std::filesystem::remove(dir_.file(file));
    EXPECT_EQ(complaint(), std::string(file) + ": cannot open: No such file or directory");
    dir_.write(file, content);
  }
}

TEST_F(HostTablesTest, ADirectoryIsNoTable) {
  std::filesystem::remove(dir_.file("cmc.tsv"));
  std::filesystem::create_directory(dir_.file("cmc.tsv"));
  EXPECT_EQ(complaint(), "cmc.tsv: cannot read: Is a directory");
}

TEST_F(HostTablesTest, AFaultLeavesTheTablesAlone) {
  ASSERT_EQ(complaint(), "nothing");
  dir_.write("nm.tsv", kNodeManagerHeader);
  EXPECT_NE(complaint_about("drive_bp.tsv", "x\n"), "nothing");
  EXPECT_EQ(ent_nm_map_sz, 1);
}

// The tables that the program brings.
class ShippedTables : public ::testing::Test {
 protected:
  ShippedTables() { load_host_tables(POLAIGA_TABLES_DIR); }

  static std::set<std::uint32_t> codes() {
    std::set<std::uint32_t> all;
    for (int i = 0; i < ent_nm_map_sz; ++i) all.insert(ent_nm_map[i].code);
    const auto add = [&all](const fe_sensor_map_row& row) {
      all.insert(row.base_code);
      all.insert(std::begin(row.threshold_codes), std::end(row.threshold_codes));
    };
    for (int i = 0; i < ent_cmc_map_sz; ++i) add(ent_cmc_map[i]);
    for (int i = 0; i < ent_drive_bp_map_sz; ++i) add(ent_drive_bp_map[i]);
    return all;
  }
};

TEST_F(ShippedTables, AreFilled) {
  EXPECT_EQ(ent_nm_map_sz, 6);
  EXPECT_EQ(ent_cmc_map_sz, 4);
  ASSERT_EQ(ent_drive_bp_map_sz, 4);
  EXPECT_STREQ(ent_drive_bp_map[0].sensor_name, "HDD_BP1_TEMP");
  EXPECT_STREQ(ent_drive_bp_map[3].sensor_name, "IOE_NVME2_TEMP");
}

// Below are the library's own codes, all of them less than 1300 but one.
TEST_F(ShippedTables, CodesAreTheirOwn) {
  for (const std::uint32_t code : codes()) {
    EXPECT_GE(code, 1300U);
    EXPECT_NE(code, 1783U);
  }
}

TEST_F(ShippedTables, CodesAndCausesAreInTheDictionaries) {
  for (const std::uint32_t code : codes()) EXPECT_STRNE(fault_name(code), "") << code;
  for (int i = 0; i < ent_nm_map_sz; ++i) {
    EXPECT_STREQ(fault_name(ent_nm_map[i].code), ent_nm_map[i].fault_name);
    EXPECT_STREQ(cause_text(ent_nm_map[i].cause_id), ent_nm_map[i].cause);
  }
  const auto check = [](const fe_sensor_map_row& row) {
    EXPECT_STREQ(fault_name(row.base_code), row.fault_name);
    EXPECT_STREQ(cause_text(row.cause_id), row.cause);
  };
  for (int i = 0; i < ent_cmc_map_sz; ++i) check(ent_cmc_map[i]);
  for (int i = 0; i < ent_drive_bp_map_sz; ++i) check(ent_drive_bp_map[i]);
}

}  // namespace host_tables_test
}  // namespace polaiga::engine
