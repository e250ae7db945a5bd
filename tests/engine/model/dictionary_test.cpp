#include "model/dictionary.h"

#include <gtest/gtest.h>
#include <polaiga/tables.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <string>

#include "support/record.h"

namespace polaiga::engine {
namespace dictionary_test {

using test::make_record;

struct Fault {
  std::uint32_t code;
  const char* name;
  const char* severity;
};

TEST(Catalog, NamesAndSeverities) {
  const Fault kRows[] = {
      {153, "fltEquipmentChassisThermalThresholdCritical", "major"},
      {174, "fltProcessorUnitInoperable", "critical"},
      {175, "fltProcessorUnitThermalNonCritical", "minor"},
      {178, "fltProcessorUnitVoltageThresholdNonCritical", "minor"},
      {313, "fltComputePhysicalBiosPostTimeout", "major"},
      {320, "fltComputePhysicalUnidentified", "warning"},
      {371, "fltEquipmentFanDegraded", "warning"},
      {395, "fltEquipmentFanPerfThresholdNonCritical", "minor"},
      {396, "fltEquipmentFanPerfThresholdCritical", "major"},
      {397, "fltEquipmentFanPerfThresholdNonRecoverable", "critical"},
      {409, "fltEquipmentChassisThermalThresholdCritical", "major"},
      {410, "fltEquipmentChassisThermalThresholdNonCritical", "minor"},
      {411, "fltEquipmentChassisThermalThresholdNonRecoverable", "critical"},
      {434, "fltEquipmentFanMissing", "warning"},
      {460, "fltSysdebugMEpLogMEpLogLog", "warning"},
      {842, "fltProcessorUnitDisabled", "warning"},
      {868, "fltComputeBoardPowerFail", "critical"},
      {869, "fltComputeBoardThermalProblem", "major"},
      {921, "fltComputeBoardMotherBoardVoltageUpperThresholdCritical", "major"},
      {1004, "fltStorageControllerInoperable", "critical"},
      {1040, "fltComputeBoardPowerUsageProblem", "minor"},
      {1259, "fltStorageCaddoraCardMissing", "warning"},
      {1300, "fltNodeManagerPowerLimitExceeded", "minor"},
      {1325, "fltChassisPowerDrawNonRecoverable", "critical"},
  };
  for (const Fault& row : kRows) {
    EXPECT_STREQ(fault_name(row.code), row.name);
    EXPECT_EQ(severity_word(severity_of(make_record({.code = row.code}))), row.severity) << row.code;
  }
}

TEST(Catalog, UnknownNumbersHaveTheEmptyText) {
  for (const std::uint32_t code : {0U, 1U, 152U, 1299U, 1326U, 4294967295U}) {
    EXPECT_STREQ(fault_name(code), "") << code;
    EXPECT_EQ(severity_word(severity_of(make_record({.code = code}))), "indeterminate") << code;
  }
  for (const std::uint32_t cause : {0U, 1U, 213U, 217U, 390U, 4294967295U})
    EXPECT_STREQ(cause_text(cause), "") << cause;
}

// Each cause with the type that X.733 gives it and with the name and the number
// that it has in IANA-ITU-ALARM-TC-MIB.
TEST(Catalog, Causes) {
  struct Row {
    std::uint32_t id;
    const char* text;
    const char* event_type;
    const char* probable_cause;
    std::uint32_t number;
  };
  const Row kRows[] = {
      {214, "equipment-inoperable", "equipmentAlarm", "equipmentMalfunction", 514},
      {215, "thermal-problem", "environmentalAlarm", "temperatureUnacceptable", 548},
      {216, "voltage-problem", "equipmentAlarm", "powerProblems", 533},
      {218, "equipment-degraded", "equipmentAlarm", "equipmentMalfunction", 514},
      {238, "equipment-missing", "equipmentAlarm", "replaceableUnitMissing", 62},
      {242, "link-missing", "communicationsAlarm", "lossOfSignalX733", 527},
      {260, "psu-redundancy-fail", "equipmentAlarm", "lossOfRedundancy", 77},
      {338, "log-capacity", "processingErrorAlarm", "storageCapacityProblemX733", 547},
      {344, "power-problem", "equipmentAlarm", "powerProblems", 533},
      {348, "equipment-problem", "equipmentAlarm", "equipmentMalfunction", 514},
      {380, "equipment-offline", "equipmentAlarm", "equipmentMalfunction", 514},
      {381, "performance-problem", "qualityOfServiceAlarm", "performanceDegraded", 532},
      {387, "fru-problem", "equipmentAlarm", "replaceableUnitProblem", 69},
      {388, "equipment-disabled", "equipmentAlarm", "equipmentMalfunction", 514},
      {389, "equipment-unhealthy", "equipmentAlarm", "equipmentMalfunction", 514},
  };
  for (const Row& row : kRows) {
    EXPECT_STREQ(cause_text(row.id), row.text) << row.id;
    for (const auto& standard : {cause_standard(row.id), cause_standard(row.text)}) {
      ASSERT_TRUE(standard) << row.id;
      EXPECT_EQ(event_type_word(standard->event_type), row.event_type) << row.id;
      EXPECT_STREQ(standard->probable_cause, row.probable_cause) << row.id;
      EXPECT_EQ(standard->probable_cause_number, row.number) << row.id;
    }
  }
  EXPECT_EQ(cause_entries().size(), std::size(kRows));
}

TEST(Catalog, UnknownCausesHaveNoStandard) {
  for (const std::uint32_t cause : {0U, 1U, 213U, 390U}) EXPECT_FALSE(cause_standard(cause)) << cause;
  for (const char* text : {"", "thermal", "thermal-problem "}) EXPECT_FALSE(cause_standard(text)) << text;
}

// Up to 200, IANA's list says in comments which numbers are for which type of alarm;
// from 500 to 555 it holds the causes of X.733 by name.
TEST(Catalog, EveryCauseHasAProbableCauseOfItsType) {
  struct Range {
    const char* event_type;
    std::uint32_t first;
    std::uint32_t last;
  };
  constexpr Range kM3100[] = {{"communicationsAlarm", 1, 50},
                              {"equipmentAlarm", 51, 100},
                              {"environmentalAlarm", 101, 150},
                              {"processingErrorAlarm", 151, 200}};
  constexpr std::uint32_t kFirstOfX733 = 500;
  constexpr std::uint32_t kLastOfX733 = 555;
  for (const CauseEntry& entry : cause_entries()) {
    const CauseStandard& standard = entry.standard;
    EXPECT_STRNE(standard.probable_cause, "") << entry.id;
    if (standard.probable_cause_number >= kFirstOfX733) {
      EXPECT_LE(standard.probable_cause_number, kLastOfX733) << entry.id;
      continue;
    }
    const auto* const range = std::ranges::find(kM3100, event_type_word(standard.event_type), &Range::event_type);
    ASSERT_NE(range, std::end(kM3100)) << entry.id;
    EXPECT_GE(standard.probable_cause_number, range->first) << entry.id;
    EXPECT_LE(standard.probable_cause_number, range->last) << entry.id;
  }
}

TEST(Catalog, SeveritiesAscend) {
  const char* const kWords[] = {"cleared", "indeterminate", "warning", "minor", "major", "critical"};
  for (std::size_t i = 0; i < std::size(kWords); ++i) EXPECT_EQ(severity_word(static_cast<Severity>(i)), kWords[i]);
}

TEST(Catalog, ARecordThatOnlyClearsIsCleared) {
  EXPECT_EQ(severity_word(severity_of(make_record({.code = 397, .clear_code = 397, .state = 0}))), "cleared");
  EXPECT_EQ(severity_word(severity_of(make_record({.code = 397, .clear_code = 396, .state = 0}))), "critical");
}

TEST(Catalog, TextsFitTheirFields) {
  for (const FaultEntry& entry : fault_entries()) {
    EXPECT_LT(std::string(entry.name).size(), std::size_t{FE_NAME_SIZE}) << entry.code;
    EXPECT_EQ(std::string(entry.name).substr(0, 3), "flt") << entry.code;
  }
  for (const CauseEntry& entry : cause_entries()) {
    EXPECT_LT(std::string(entry.text).size(), std::size_t{FE_CAUSE_SIZE}) << entry.id;
  }
}

// Every number that the library's own sensor tables hold.
TEST(Catalog, KnowsTheLibrarysTables) {
  const auto check = [](const fe_sensor_map_row* rows, std::int32_t count) {
    ASSERT_GT(count, 0);
    for (const fe_sensor_map_row* row = rows; row != rows + count; ++row) {
      EXPECT_STRNE(fault_name(row->base_code), "") << row->sensor_name;
      for (const std::uint32_t code : row->threshold_codes) EXPECT_STRNE(fault_name(code), "") << code;
      EXPECT_STREQ(cause_text(row->cause_id), row->cause) << row->sensor_name;
    }
  };
  check(ent_map, ent_map_sz);
  check(ent_cpu_map, ent_cpu_map_sz);
  check(ent_ps_map, ent_ps_map_sz);
}

// Every fault that a filter carries in its own text, under the name that it has there.
TEST(Catalog, NamesAreThoseOfTheFilters) {
  const std::regex fault(R"re(constexpr Fault k\w+\{(\d+), "(\w+)")re");
  int found = 0;
  for (const auto& file : std::filesystem::recursive_directory_iterator(POLAIGA_SOURCE_DIR "/src")) {
    std::ifstream source(file.path());
    for (std::string line; std::getline(source, line);) {
      std::smatch match;
      if (!std::regex_search(line, match, fault)) continue;
      ++found;
      EXPECT_EQ(fault_name(static_cast<std::uint32_t>(std::stoul(match[1]))), match[2]) << file.path();
    }
  }
  EXPECT_GT(found, 50);
}

// The table of name endings in the documentation: by ending, the severity.
std::map<std::string, std::string> documented_severities() {
  std::ifstream page(POLAIGA_SOURCE_DIR "/docs/engine.md");
  std::map<std::string, std::string> severities;
  const std::regex row(R"(\| `(\w+)` +\| (`.*))");
  const std::regex ending("`(\\w+)`");
  for (std::string line; std::getline(page, line);) {
    std::smatch cells;
    if (!std::regex_match(line, cells, row)) continue;
    const std::string endings = cells[2];
    for (std::sregex_iterator at(endings.begin(), endings.end(), ending), end; at != end; ++at) {
      severities[(*at)[1]] = cells[1];
    }
  }
  return severities;
}

TEST(Catalog, SeveritiesAreAsDocumented) {
  const auto documented = documented_severities();
  ASSERT_EQ(documented.size(), 30U);
  std::set<std::string> used;
  for (const FaultEntry& entry : fault_entries()) {
    std::string longest;
    for (const auto& [ending, severity] : documented) {
      if (std::string_view(entry.name).ends_with(ending) && ending.size() > longest.size()) longest = ending;
    }
    ASSERT_NE(longest, "") << entry.name;
    EXPECT_EQ(severity_word(entry.severity), documented.at(longest)) << entry.name;
    used.insert(longest);
  }
  EXPECT_EQ(used.size(), documented.size());
}

}  // namespace dictionary_test
}  // namespace polaiga::engine
