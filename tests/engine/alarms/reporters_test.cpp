// Faults that several sensors report, through the real filters.
#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <sstream>

#include "alarms/alarms.h"
#include "filter/host_tables.h"
#include "intake/event_parser.h"
#include "support/alarm_texts.h"
#include "support/shared_faults.h"

namespace polaiga::engine {
namespace reporters_test {

using test::EventOf;
using test::Filtered;
using test::make_event;
using test::Texts;
using test::Tried;
using test::Ways;

std::string reporters_of(const ActiveFault& fault) {
  std::string text = fault.fault_dn + " of ";
  for (const Report& report : fault.reports) {
    if (&report != &fault.reports.front()) text += ",";
    text += report.reporter.sensor;
  }
  return text;
}

// Scripts say what sensors report, and what is active then:
//   sys_board RISER1_INLET_TMP 117 4 -> raised    entity, sensor, offset and state
//     = DN/fault-F0410 of RISER1_INLET_TMP        an active fault with its reporters
//   ps PSU2_PIN 52 1 unit 2 -> raised             of an instance other than 1
class ReportersTest : public ::testing::Test {
 protected:
  ReportersTest() { load_host_tables(POLAIGA_TABLES_DIR); }

  void expect(const std::string& script) {
    std::string want;
    std::string got;
    std::istringstream lines(script);
    for (std::string line; std::getline(lines, line);) {
      if (line.empty() || line.starts_with('#')) continue;
      want += line + "\n";
      if (!line.starts_with(' ')) got += played(line);
    }
    EXPECT_EQ(got, want);
  }

  // Of an event that its filter does not report: "of no interest".
  std::string_view give(const SensorEvent& event) {
    const Filtered& filtered = last_ = filters_.filter(event);
    std::vector<Change> changes;
    ++sequence_;
    for (const std::string& fault_dn : filtered.withdrawn) alarms_.withdraw(fault_dn, sequence_, sequence_, changes);
    std::string_view word = "of no interest";
    if (filtered.reported) {
      word = outcome_word(alarms_.apply(filtered.record, reporter_of(event), sequence_, sequence_, changes));
    }
    watch_.follow(changes, sequence_, sequence_, alarms_);
    return word;
  }

  Texts active() const {
    Texts texts;
    for (const ActiveFault* fault : alarms_.in_order()) texts.push_back(reporters_of(*fault));
    return texts;
  }

  test::Filters filters_;
  Alarms alarms_;
  Filtered last_;  // what the filter made of the last event

 private:
  std::string played(const std::string& line) {
    std::istringstream words(line);
    std::string entity;
    EventOf of;
    std::string unit;
    words >> entity >> of.sensor >> of.offset >> of.state >> unit;
    of.entity = entity.c_str();
    if (unit == "unit") words >> of.instance;
    std::string text = line.substr(0, line.find(" -> ")) + " -> ";
    text += std::string(give(make_event(of))) + "\n";
    for (const std::string& fault : active()) text += "  = " + fault + "\n";
    return text;
  }

  Sequence sequence_ = 0;
  test::ChangeWatch watch_;
};

TEST_F(ReportersTest, FourRisersShareTheFaultsOfTheBoard) {
  expect(R"(
sys_board RISER1_INLET_TMP 117 4 -> raised
  = sys/rack-unit-1/board/fault-F0410 of RISER1_INLET_TMP
sys_board RISER2_INLET_TMP 117 4 -> refreshed
  = sys/rack-unit-1/board/fault-F0410 of RISER1_INLET_TMP,RISER2_INLET_TMP
# Riser 1 cools down; the board still has the fault.
sys_board RISER1_INLET_TMP 117 0 -> partly_cleared
  = sys/rack-unit-1/board/fault-F0410 of RISER2_INLET_TMP
sys_board RISER1_OUTLETTMP 117 4 -> refreshed
  = sys/rack-unit-1/board/fault-F0410 of RISER2_INLET_TMP,RISER1_OUTLETTMP
# One of them gets worse.
sys_board RISER2_INLET_TMP 118 5 -> raised
  = sys/rack-unit-1/board/fault-F0410 of RISER1_OUTLETTMP
  = sys/rack-unit-1/board/fault-F0409 of RISER2_INLET_TMP
sys_board RISER2_OUTLETTMP 117 0 -> already_clear
  = sys/rack-unit-1/board/fault-F0410 of RISER1_OUTLETTMP
  = sys/rack-unit-1/board/fault-F0409 of RISER2_INLET_TMP
sys_board RISER1_OUTLETTMP 118 5 -> refreshed
  = sys/rack-unit-1/board/fault-F0409 of RISER2_INLET_TMP,RISER1_OUTLETTMP
sys_board RISER2_INLET_TMP 119 6 -> raised
  = sys/rack-unit-1/board/fault-F0409 of RISER1_OUTLETTMP
  = sys/rack-unit-1/board/fault-F0411 of RISER2_INLET_TMP
# And back, level by level.
sys_board RISER2_INLET_TMP 119 5 -> refreshed
  = sys/rack-unit-1/board/fault-F0409 of RISER1_OUTLETTMP,RISER2_INLET_TMP
sys_board RISER2_INLET_TMP 118 4 -> raised
  = sys/rack-unit-1/board/fault-F0409 of RISER1_OUTLETTMP
  = sys/rack-unit-1/board/fault-F0410 of RISER2_INLET_TMP
sys_board RISER2_INLET_TMP 117 0 -> cleared
  = sys/rack-unit-1/board/fault-F0409 of RISER1_OUTLETTMP
sys_board RISER1_OUTLETTMP 118 0 -> cleared
)");
}

TEST_F(ReportersTest, FourteenVoltagesShareTheFaultsOfTheBoard) {
  constexpr const char* kVoltages[] = {
      "P12V_STBY_V_MOIN", "P12V_AUX_V_MOIN", "P5V_AUX_V_MOIN", "P12V_V_MOIN", "P5V_V_MOIN", "P3V3_V_MOIN", "P1V5_SSB",
      "P1V1_SSB",         "P3V3_AUX",        "P1V8_AUX",       "P1V5_AUX",    "P1V0_AUX",   "P1V1_AUX",    "P0V75_AUX"};
  struct Level {
    std::int32_t offset;
    std::int32_t state;
    const char* fault;
  };
  // Too low, and so on; each is cleared by state 0 of its own offset.
  for (const Level& level : {Level{114, 4, "F0921"}, {115, 4, "F0921"}, {116, 6, "F0919"}, {117, 4, "F0920"}}) {
    const std::string dn = std::string("sys/rack-unit-1/board/fault-") + level.fault;
    std::size_t reporters = 0;
    for (const char* sensor : kVoltages) {
      EXPECT_EQ(give(make_event({.sensor = sensor, .offset = level.offset, .state = level.state})),
                reporters == 0 ? "raised" : "refreshed");
      ++reporters;
      ASSERT_NE(alarms_.find(dn), nullptr) << dn;
      EXPECT_EQ(alarms_.find(dn)->reports.size(), reporters);
    }
    EXPECT_EQ(reporters, 14U);
    EXPECT_EQ(alarms_.size(), 1U);
    for (const char* sensor : kVoltages) {
      EXPECT_EQ(give(make_event({.sensor = sensor, .offset = level.offset, .state = 0})),
                --reporters == 0 ? "cleared" : "partly_cleared");
      EXPECT_EQ(alarms_.size(), reporters == 0 ? 0U : 1U);
    }
  }
}

TEST_F(ReportersTest, TheSensorsOfAPowerSupplyShareItsFaults) {
  expect(R"(
ps PSU1_PIN 52 1 -> raised
  = sys/rack-unit-1/psu-1/fault-F0392 of PSU1_PIN
ps PSU1_POUT 52 1 -> refreshed
  = sys/rack-unit-1/psu-1/fault-F0392 of PSU1_PIN,PSU1_POUT
ps PSU2_PIN 52 1 unit 2 -> raised
  = sys/rack-unit-1/psu-1/fault-F0392 of PSU1_PIN,PSU1_POUT
  = sys/rack-unit-1/psu-2/fault-F0392 of PSU2_PIN
ps PSU1_PIN 52 0 -> partly_cleared
  = sys/rack-unit-1/psu-1/fault-F0392 of PSU1_POUT
  = sys/rack-unit-1/psu-2/fault-F0392 of PSU2_PIN
# The lower threshold of a power reading is the same fault.
ps PSU1_PIN 3 1 -> refreshed
  = sys/rack-unit-1/psu-1/fault-F0392 of PSU1_POUT,PSU1_PIN
  = sys/rack-unit-1/psu-2/fault-F0392 of PSU2_PIN
ps PSU1_POUT 52 0 -> partly_cleared
  = sys/rack-unit-1/psu-1/fault-F0392 of PSU1_PIN
  = sys/rack-unit-1/psu-2/fault-F0392 of PSU2_PIN
ps PSU1_PIN 3 0 -> cleared
  = sys/rack-unit-1/psu-2/fault-F0392 of PSU2_PIN
ps PSU2_PIN 52 0 unit 2 -> cleared
)");
}

// Both supplies say that the server has no spare one.
TEST_F(ReportersTest, ThePowerSuppliesShareTheRedundancy) {
  expect(R"(
ps PSU1_STATUS 60 1 -> raised
  = sys/rack-unit-1/fault-F0743 of PSU1_STATUS
ps PSU2_STATUS 62 1 unit 2 -> refreshed
  = sys/rack-unit-1/fault-F0743 of PSU1_STATUS,PSU2_STATUS
ps PSU1_STATUS 60 0 -> partly_cleared
  = sys/rack-unit-1/fault-F0743 of PSU2_STATUS
ps PSU2_STATUS 60 0 unit 2 -> cleared
)");
}

TEST_F(ReportersTest, TheSensorsOfAProcessorShareItsFaults) {
  expect(R"(
cpu P1_PROCHOT 3 1 -> raised
  = sys/rack-unit-1/board/cpu-1/fault-F0174 of P1_PROCHOT
cpu PVCCD_P1_VRHOT 3 1 -> refreshed
  = sys/rack-unit-1/board/cpu-1/fault-F0174 of P1_PROCHOT,PVCCD_P1_VRHOT
cpu P2_PROCHOT 3 1 unit 2 -> raised
  = sys/rack-unit-1/board/cpu-1/fault-F0174 of P1_PROCHOT,PVCCD_P1_VRHOT
  = sys/rack-unit-1/board/cpu-2/fault-F0174 of P2_PROCHOT
cpu P1_PROCHOT 3 0 -> partly_cleared
  = sys/rack-unit-1/board/cpu-1/fault-F0174 of PVCCD_P1_VRHOT
  = sys/rack-unit-1/board/cpu-2/fault-F0174 of P2_PROCHOT
cpu PVCCD_P1_VRHOT 3 0 -> cleared
  = sys/rack-unit-1/board/cpu-2/fault-F0174 of P2_PROCHOT
cpu P2_PROCHOT 3 0 unit 2 -> cleared
# Its voltages, and one of them at a worse level.
cpu PVDDQ_AB 114 4 -> raised
  = sys/rack-unit-1/board/cpu-1/fault-F0178 of PVDDQ_AB
cpu PVSA_P1 114 4 -> refreshed
  = sys/rack-unit-1/board/cpu-1/fault-F0178 of PVDDQ_AB,PVSA_P1
cpu PVSA_P1 115 5 -> raised
  = sys/rack-unit-1/board/cpu-1/fault-F0178 of PVDDQ_AB
  = sys/rack-unit-1/board/cpu-1/fault-F0179 of PVSA_P1
cpu PVSA_P1 115 0 -> cleared
  = sys/rack-unit-1/board/cpu-1/fault-F0178 of PVDDQ_AB
cpu PVDDQ_AB 114 0 -> cleared
)");
}

// A filter of host rows writes the row's number into its copy of the event; the
// reporter is what came in.
TEST_F(ReportersTest, AReporterIsNotWhatTheFilterMakesOfIt) {
  expect(R"(
drive_bp IOE_NVME2_TEMP 117 4 -> raised
  = sys/rack-unit-1/drive-backplane-4/fault-F1310 of IOE_NVME2_TEMP
)");
  EXPECT_EQ(alarms_.in_order().front()->reports[0].reporter, (Reporter{find_entity("drive_bp"), "IOE_NVME2_TEMP", 1}));
}

// The controller of the SD cards is 0 in the filter's copy.
TEST_F(ReportersTest, AReporterOfTheSdCardController) {
  expect(R"(
caddora SD_CONTROLLER 11 1 unit 5 -> raised
  = sys/rack-unit-1/board/storage-caddora-Caddora-0/fault-F1257 of SD_CONTROLLER
caddora SD_CONTROLLER 11 0 unit 4 -> already_clear
  = sys/rack-unit-1/board/storage-caddora-Caddora-0/fault-F1257 of SD_CONTROLLER
caddora SD_CONTROLLER 11 0 unit 5 -> cleared
)");
}

const test::FaultWays& all_faults() {
  static const test::FaultWays found = [] {
    load_host_tables(POLAIGA_TABLES_DIR);
    return test::EveryFault().find();
  }();
  return found;
}

std::string name_of(const Reporter& reporter) {
  return std::string(reporter.entity->name) + " " + reporter.sensor + " " + std::to_string(reporter.instance);
}

// Those of a fault that can raise it.
std::vector<std::pair<Reporter, const Ways*>> raisers_of(const std::map<Reporter, Ways>& reporters) {
  std::vector<std::pair<Reporter, const Ways*>> raisers;
  for (const auto& [reporter, ways] : reporters) {
    if (ways.can_raise()) raisers.emplace_back(reporter, &ways);
  }
  return raisers;
}

// All sensors and units that were tried: two of each kind, for the filters that
// know no sensor by name. Objects that are written with "-*" are those of both units.
TEST(SharedFaults, AreThese) {
  struct Row {
    const char* dn;
    std::size_t reporters;
    std::set<std::uint32_t> codes;
  };
  const std::vector<Row> kRows = {
      // Sensors that the tables know by name.
      {"sys/rack-unit-1/board", 4, {409, 410, 411}},        // risers
      {"sys/rack-unit-1/board", 14, {918, 919, 920, 921}},  // voltages
      {"sys/rack-unit-1/board", 2, {869}},                  // the chipset's temperature and its trip
      {"sys/rack-unit-1/board/cpu-*", 6, {174}},
      {"sys/rack-unit-1/board/cpu-*", 8, {178, 179, 180}},
      // The first fan of a module: its tachometer, its speed, its presence.
      {"sys/rack-unit-1/fan-module-1-*/fan-1", 3, {371, 395, 396, 397, 434}},
      // Four sensors of a supply.
      {"sys/rack-unit-1/psu-*", 4, {374, 378, 381, 383, 385, 389, 391, 392, 393, 394, 407, 882, 883}},
      {"sys/rack-unit-1", 8, {743}},
      // Two sensors of each unit.
      {"sys/rack-unit-1/board/memarray-1/mem-*", 2, {184, 185, 186, 187, 188, 502, 844}},
      {"sys/rack-unit-1/adaptor-*", 2, {203, 379, 729, 730, 731, 1783}},
      {"sys/rack-unit-1/equipped-slot-*", 2, {376, 729, 730, 731}},
      {"sys/rack-unit-1/board/storage-caddora-Caddora-0/card-*", 2, {1005, 1006, 1258, 1259}},
      {"sys/rack-unit-1/board/storage-caddora-Caddora-0/vd-*", 2, {1009, 1010, 1260, 1261}},
      {"sys/rack-unit-1/board/storage-SAS-SLOT-*", 2, {1003, 1004}},
      {"sys/rack-unit-1/board/storage-SAS-SLOT-1/pd-*", 2, {181, 996, 1005, 1006, 1256}},
      {"sys/rack-unit-1/board/storage-SAS-SLOT-2/pd-*", 2, {181, 996, 1005, 1006, 1256}},
      {"sys/rack-unit-1/board/storage-SAS-SLOT-1/vd-*", 2, {1007, 1008, 1009, 1010}},
      {"sys/rack-unit-1/board/storage-SAS-SLOT-2/vd-*", 2, {1007, 1008, 1009, 1010}},
      // Two sensors of an object that is there once.
      {"sys/rack-unit-1", 2, {153, 154, 155, 320}},
      {"sys/rack-unit-1/mgmt/if-1", 2, {717}},
      {"sys/rack-unit-1/node-manager-1", 2, {1300, 1301, 1302, 1303, 1304, 1305}},
      {"", 2, {0}},  // sensors that the chassis management controller's table does not know
      // Units that share an object: two sensors of each.
      {"sys/rack-unit-1/board/memarray-1", 4, {186, 187, 188, 190, 191, 502}},  // risers
      {"sys/rack-unit-1", 4, {376, 729, 730, 731}},                             // risers of the server as a whole
      {"sys/rack-unit-1/board/storage-caddora-Caddora-0", 4, {1257, 1262}},
      {"sys/rack-unit-1/board/storage-caddora-Caddora-0/raid-battery", 4, {531, 997, 998, 999}},
      {"sys/rack-unit-1/board/storage-SAS-SLOT-*/raid-battery", 4, {531, 997, 998, 999}},
  };
  std::map<std::string, std::size_t> want;
  for (const Row& row : kRows) {
    const std::string dn = row.dn;
    const std::size_t unit = dn.find('*');
    for (const std::uint32_t code : row.codes) {
      if (unit == std::string::npos) {
        want[fault_dn(dn, code)] = row.reporters;
      } else {
        for (const char* number : {"1", "2"})
          want[fault_dn(std::string(dn).replace(unit, 1, number), code)] = row.reporters;
      }
    }
  }
  std::map<std::string, std::size_t> got;
  for (const auto& [fault, reporters] : all_faults()) {
    if (const auto raisers = raisers_of(reporters); raisers.size() > 1) got[fault] = raisers.size();
  }
  EXPECT_EQ(got, want);
}

// A fault whose reporter cannot take its report back would be active for ever.
// Every reporter can, by an event of its own, but for sensors that the chassis
// management controller's table does not know: the filter rejects their clears.
TEST(SharedFaults, WhoRaisesAFaultCanEndIt) {
  std::vector<std::string> got;
  std::size_t tried = 0;
  for (const auto& [fault, reporters] : all_faults()) {
    for (const auto& [reporter, ways] : raisers_of(reporters)) {
      ++tried;
      if (!ways->can_end()) got.push_back(fault + " of " + name_of(reporter));
    }
  }
  EXPECT_EQ(got, (std::vector<std::string>{"/fault-F0000 of cmc SENSOR_A 1", "/fault-F0000 of cmc SENSOR_B 1"}));
  EXPECT_GT(tried, 500U);
}

// Records of the real filters, applied to alarms of their own.
class Pair {
 public:
  explicit Pair(test::EveryFault& filters) : filters_(filters) {}

  void give(const Tried& tried) {
    const Filtered filtered = filters_.filter(tried);
    ASSERT_TRUE(filtered.reported);
    std::vector<Change> changes;
    ++sequence_;
    alarms_.apply(filtered.record, reporter_of(tried.event), sequence_, sequence_, changes);
    watch_.follow(changes, sequence_, sequence_, alarms_);
  }

  // The reporters of a fault with the input that it shows; empty when it is over.
  std::string state(const std::string& fault_dn) const {
    const ActiveFault* const fault = alarms_.find(fault_dn);
    if (fault == nullptr) return "";
    std::string text;
    for (const Report& report : fault->reports) text += name_of(report.reporter) + ", ";
    return text + "shows " + std::to_string(fault->shown);
  }

 private:
  test::EveryFault& filters_;
  Alarms alarms_;
  Sequence sequence_ = 0;
  test::ChangeWatch watch_;
};

const Tried& raise_of(const Ways& ways) { return ways.raises.empty() ? ways.escalates.front() : ways.raises.front(); }
const Tried& end_of(const Ways& ways) { return ways.clears.empty() ? ways.supersedes.front() : ways.clears.front(); }

// Two report it, and whichever of them is better first, the fault is over with the other.
TEST(SharedFaults, AreOverWithTheLastOfTwoReporters) {
  test::EveryFault filters;
  std::size_t pairs = 0;
  for (const auto& [fault, reporters] : all_faults()) {
    const auto raisers = raisers_of(reporters);
    for (const auto& [one, ways_of_one] : raisers) {
      for (const auto& [other, ways_of_other] : raisers) {
        if (one == other || !ways_of_one->can_end() || !ways_of_other->can_end()) continue;
        ++pairs;
        const std::string names = fault + " of " + name_of(one) + " and " + name_of(other);
        Pair pair(filters);
        pair.give(raise_of(*ways_of_one));
        EXPECT_EQ(pair.state(fault), name_of(one) + ", shows 1") << names;
        pair.give(raise_of(*ways_of_other));
        EXPECT_EQ(pair.state(fault), name_of(one) + ", " + name_of(other) + ", shows 2") << names;
        pair.give(end_of(*ways_of_other));
        EXPECT_EQ(pair.state(fault), name_of(one) + ", shows 1") << names;
        pair.give(end_of(*ways_of_one));
        EXPECT_EQ(pair.state(fault), "") << names;
        if (::testing::Test::HasFailure()) return;
      }
    }
  }
  // 91 pairs of voltages for each of four faults are the most.
  EXPECT_GT(pairs, 1500U);
}

// On the day of the examples no fault has two reporters at a time, and each clear
// comes from who raised. So the active faults are those that would be active if a
// fault had no reporters and any clear ended it.
TEST_F(ReportersTest, ADayOfAServer) {
  std::ifstream day(POLAIGA_SOURCE_DIR "/examples/day.jsonl");
  std::set<std::string> without_reporters;
  std::size_t events = 0;
  for (std::string line; std::getline(day, line); ++events) {
    give(parse_sensor_event(line));
    if (last_.reported) {
      const fe_fault_record& record = last_.record;
      if (record.clear_code != 0) without_reporters.erase(fault_dn(record.dn, record.clear_code));
      if (only_clears(record)) {
        without_reporters.erase(record.fault_dn);
      } else {
        without_reporters.insert(record.fault_dn);
      }
    }
    std::set<std::string> with_reporters;
    for (const ActiveFault* fault : alarms_.in_order()) with_reporters.insert(fault->fault_dn);
    ASSERT_EQ(with_reporters, without_reporters) << line;
  }
  EXPECT_EQ(events, 550U);
  EXPECT_EQ(active(), (Texts{
                          "sys/rack-unit-1/board/fault-F0424 of P3V3_BAT_V_MOIN",
                          "sys/rack-unit-1/fan-module-1-5/fan-2/fault-F0371 of FAN5_TACH2",
                          "sys/rack-unit-1/board/memarray-1/mem-5/fault-F0184 of P1_DIMM_C1",
                          "sys/rack-unit-1/fan-module-1-6/fan-1/fault-F0395 of FAN6_TACH1",
                      }));
  EXPECT_EQ(alarms_.counts().partly_cleared, 0U);
}

}  // namespace reporters_test
}  // namespace polaiga::engine
