// Plays every ladder of the default mapping through the engine with the real filters. What is active on each rung is
// that of docs/faults.md; below the lowest rung nothing is.
#include <polaiga/tables.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <map>
#include <memory>
#include <ostream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "core/recorder.h"
#include "filter/host_tables.h"
#include "mapping/mapping.h"
#include "model/dictionary.h"
#include "model/fault.h"
#include "support/filtered.h"
#include "support/manual_clock.h"

namespace polaiga::ipmi {
namespace ladders_test {

using engine::test::ManualClock;
using Texts = std::vector<std::string>;

constexpr std::uint8_t kAny = 0;  // of sensor types and entities

// A sensor of a controller.
struct SensorOf {
  std::string name;
  std::uint8_t type = kAny;
  std::uint8_t reading = kThresholdReading;
  std::uint8_t entity_id = kAny;
  std::uint8_t entity_instance = 1;
};

Sensor make_sensor(const SensorOf& of) {
  return {.key = {0x20, 0, 1},
          .name = of.name,
          .entity_id = of.entity_id,
          .entity_instance = of.entity_instance,
          .sensor_type = of.type,
          .reading_type = of.reading};
}

// A ladder of a sensor, and which fault of which object is active on each of its rungs: "F0395 minor"; "": none. The
// words are those of the fault's text on each rung, if they are not those of a threshold.
struct Play {
  SensorOf sensor;
  std::string ladder;
  std::string dn;
  Texts rungs;
  Texts words = {};
};

std::ostream& operator<<(std::ostream& out, const Play& play) { return out << play.sensor.name << " " << play.ladder; }

const Mapping& default_mapping() {
  static const std::string file = POLAIGA_SOURCE_DIR "/sources/ipmi/ipmi.tsv";
  static const Mapping mapping = Mapping::parse(engine::read_table_file(file), file);
  return mapping;
}

Mapped mapped(const Play& play) {
  for (Mapped& one : default_mapping().of(make_sensor(play.sensor))) {
    if (one.ladder->name == play.ladder) return one;
  }
  ADD_FAILURE() << play << ": the sensor is not on this ladder";
  return {};
}

// An engine that has just begun. The library's memory is that of the process, so a test ends with all units present.
class Engine {
 public:
  Engine() { recorder_.use_tables(engine::read_host_tables(kTables), kTables); }

  void send(const Target& target, const std::vector<Step>& steps) {
    for (const Step& step : steps) {
      const engine::Receipt receipt = recorder_.record(engine::test::make_event({.entity = target.entity->name.data(),
                                                                                 .sensor = target.sensor,
                                                                                 .offset = step.offset,
                                                                                 .state = step.state,
                                                                                 .instance = target.instance,
                                                                                 .group = target.group,
                                                                                 .entity_id = target.entity_id}));
      const fe_fault_record& record = receipt.input->record;
      if (!engine::only_clears(record)) texts_[record.fault_dn] = plain(record.descr);
    }
  }

  // "F0395 minor sys/rack-unit-1/fan-module-1-3/fan-1"
  std::set<std::string> active() const {
    std::set<std::string> texts;
    for (const engine::ActiveFault* fault : recorder_.alarms().in_order()) {
      const std::size_t slash = fault->fault_dn.rfind('/');
      texts.insert(fault->fault_dn.substr(slash + sizeof "/fault-" - 1) + " " +
                   std::string(engine::severity_word(fault->severity)) + " " + fault->fault_dn.substr(0, slash));
    }
    return texts;
  }

  // The texts of the faults that are active, in small letters and without hyphens.
  Texts texts() const {
    Texts texts;
    for (const engine::ActiveFault* fault : recorder_.alarms().in_order()) texts.push_back(texts_.at(fault->fault_dn));
    return texts;
  }

  std::uint64_t already_clear() const { return recorder_.alarms().counts().already_clear; }

 private:
  static std::string plain(std::string text) {
    std::ranges::transform(text, text.begin(),
                           [](char c) { return c == '-' ? ' ' : static_cast<char>(std::tolower(c)); });
    return text;
  }

  static constexpr const char* kTables = POLAIGA_SOURCE_DIR "/engine/tables";
  ManualClock clock_{1735689600};
  engine::Recorder recorder_{{}, clock_};
  std::map<std::string, std::string> texts_;  // by fault DN, of the latest record that does not only clear
};

std::set<std::string> expected(const Play& play, int level) {
  if (level == 0) return {};
  const std::string& fault = play.rungs[static_cast<std::size_t>(level) - 1];
  return fault.empty() ? std::set<std::string>{} : std::set<std::string>{fault + " " + play.dn};
}

// What the text of the fault says on a rung.
std::string words_of(const Play& play, const Rung& rung, int level) {
  if (!play.words.empty()) return play.words[static_cast<std::size_t>(level) - 1];
  if (play.sensor.reading != kThresholdReading) return "";
  switch (rung.when.at(0).offset) {
    case 0:
      return "lower non critical";
    case 2:
      return "lower critical";
    case 4:
      return "lower non recoverable";
    case 7:
      return "upper non critical";
    case 9:
      return "upper critical";
    case 11:
      return "upper non recoverable";
    default:
      return "no such threshold";
  }
}

// From every level to every other one, and from there to every third: up and down, rung by rung, in jumps, with every
// turn between. At the end the sensor is well again.
void play_all_ways(const Play& play) {
  SCOPED_TRACE(testing::Message() << play);
  const Mapped one = mapped(play);
  ASSERT_NE(one.ladder, nullptr);
  const int top = static_cast<int>(one.ladder->rungs.size());
  ASSERT_EQ(play.rungs.size(), one.ladder->rungs.size());
  Engine engine;
  int level = 0;
  const auto go = [&](int to) {
    for (const Step& step : one.ladder->steps(level, to)) {
      engine.send(one.target, {step});
      if (level == 0 || to == 0 || expected(play, to).empty()) continue;
      ASSERT_FALSE(engine.active().empty()) << "all is well for a moment between level " << level << " and " << to;
    }
    ASSERT_EQ(engine.active(), expected(play, to)) << "from level " << level << " to " << to;
    const std::string words = to == 0 ? "" : words_of(play, one.ladder->rungs[static_cast<std::size_t>(to) - 1], to);
    for (const std::string& text : engine.texts()) {
      ASSERT_NE(text.find(words), std::string::npos) << text << "\nshould say " << words << " at level " << to;
    }
    level = to;
  };
  for (int from = 0; from <= top; ++from) {
    for (int by = 0; by <= top; ++by) {
      for (int to = 0; to <= top; ++to) {
        for (const int next : {from, by, to}) ASSERT_NO_FATAL_FAILURE(go(next));
      }
    }
  }
  go(0);
  EXPECT_EQ(engine.already_clear(), 0U) << "an event clears what is not active";
}

const std::string kRack = "sys/rack-unit-1";
const std::string kBoard = kRack + "/board";

constexpr const char* kBoardVoltages[] = {
    "P12V_STBY_V_MOIN", "P12V_AUX_V_MOIN", "P5V_AUX_V_MOIN", "P12V_V_MOIN", "P5V_V_MOIN", "P3V3_V_MOIN", "P1V5_SSB",
    "P1V1_SSB",         "P3V3_AUX",        "P1V8_AUX",       "P1V5_AUX",    "P1V0_AUX",   "P1V1_AUX",    "P0V75_AUX"};
constexpr const char* kRisers[] = {"RISER1_INLET_TMP", "RISER1_OUTLETTMP", "RISER2_INLET_TMP", "RISER2_OUTLETTMP"};
constexpr const char* kVoltages1[] = {"PVTT_DDR_AB", "PVTT_DDR_CD", "PVTT_P1",  "PVDDQ_AB",
                                      "PVDDQ_CD",    "PVSA_P1",     "PVPLL_P1", "PVCCP_P1"};
constexpr const char* kVoltages2[] = {"PVTT_DDR_EF", "PVTT_DDR_GH", "PVTT_P2",  "PVSA_P2",
                                      "PVCCP_P2",    "PVDDQ_EF",    "PVDDQ_GH", "PVPLL_P2"};
constexpr const char* kSignals1[] = {"P1_PROCHOT",      "PVCCD_P1_VRHOT",  "PVCCP_P1_VRHOT",
                                     "P1_MEM23_MEMHOT", "P1_MEM01_MEMHOT", "P1_THERMTRIP_N"};
constexpr const char* kSignals2[] = {"P2_PROCHOT",      "PVCCD_P2_VRHOT",  "PVCCP_P2_VRHOT",
                                     "P2_MEM23_MEMHOT", "P2_MEM01_MEMHOT", "P2_THERMTRIP_N"};
struct Backplane {
  const char* sensor;
  const char* dn;
};
constexpr Backplane kBackplanes[] = {{"HDD_BP1_TEMP", "drive-backplane-1"},
                                     {"SB_NVME1_TEMP", "drive-backplane-2"},
                                     {"IOE_NVME1_TEMP", "drive-backplane-3"},
                                     {"IOE_NVME2_TEMP", "drive-backplane-4"}};

// Every ladder of the mapping, for every sensor that the library knows by name and for some of each kind that it knows
// by number.
std::vector<Play> all_plays() {
  std::vector<Play> plays;
  const auto add = [&plays](const SensorOf& sensor, const std::string& ladder, const std::string& dn,
                            const Texts& rungs, const Texts& words = {}) {
    plays.push_back({sensor, ladder, dn, rungs, words});
  };

  // The system board.
  for (const char* name : kBoardVoltages) {
    add({name, 0x02}, "board-voltage-lower", kBoard, {"F0921 major", "F0921 major", "F0919 critical"});
    add({name, 0x02}, "upper", kBoard, {"F0920 major", "F0920 major", "F0918 critical"});
  }
  add({"P3V3_BAT_V_MOIN", 0x02}, "board-voltage-lower", kBoard, {"F0424 minor", "F0424 minor", "F0425 critical"});
  add({"P3V3_BAT_V_MOIN", 0x02}, "upper", kBoard, {"F0424 minor", "F0424 minor", "F0425 critical"});
  for (const char* name : kRisers) {
    add({name, 0x01}, "board-lower", kBoard, {"F0410 minor", "F0409 major", "F0411 critical"});
    add({name, 0x01}, "upper", kBoard, {"F0410 minor", "F0409 major", "F0411 critical"});
  }
  add({"PCH_TEMP_SENS", 0x01}, "board-voltage-lower", kBoard, {"F0869 major", "F0869 major", "F0869 major"});
  add({"PCH_TEMP_SENS", 0x01}, "upper", kBoard, {"F0869 major", "F0869 major", "F0869 major"});
  add({"PCH_THERMTRIP_N", 0x07, 0x03}, "signal", kBoard, {"F0869 major"});
  add({"POWER_USAGE", 0x0B}, "board-voltage-lower", kBoard, {"F1040 minor", "F1040 minor", "F1040 minor"});
  add({"POWER_USAGE", 0x0B}, "upper", kBoard, {"F1040 minor", "F1040 minor", "F1040 minor"});
  add({"POWER_ON_FAIL", 0x09, 0x03}, "signal", kBoard, {"F0868 critical"});
  add({"PWR_UNIT", 0x09, 0x6F}, "power-on-fail", kBoard, {"F0868 critical"});
  add({"BIOSPOST_TIMEOUT", 0x0F, 0x03}, "signal", kBoard, {"F0313 major"});
  add({"POST_WATCH", 0x0F, 0x03}, "signal", kBoard, {"F0313 major"});
  add({"SEL_FULLNESS", 0x10}, "log-full", kRack + "/mgmt/log-SEL-0", {"F0460 warning", "F0461 minor", "F0462 major"},
      {"capacity is low", "capacity is very low", "is full"});

  // Processors.
  for (int number = 1; number <= 2; ++number) {
    const std::string n = std::to_string(number);
    const std::string processor = kBoard + "/cpu-" + n;
    for (const char* ladder : {"cpu-lower", "cpu-upper"}) {
      add({"P" + n + "_TEMP_SENS", 0x01}, ladder, processor, {"F0175 minor", "F0176 major", "F0177 critical"});
      for (const char* name : number == 1 ? kVoltages1 : kVoltages2) {
        add({name, 0x02}, ladder, processor, {"F0178 minor", "F0179 major", "F0180 critical"});
      }
      add({"CPU" + n + " Temp", 0x01, kThresholdReading, 0x03, static_cast<std::uint8_t>(number)}, ladder, processor,
          {"F0175 minor", "F0176 major", "F0177 critical"});
    }
    for (const char* name : number == 1 ? kSignals1 : kSignals2) {
      add({name, 0x07, 0x03}, "signal", processor, {"F0174 critical"});
    }
    add({"P" + n + "_PRESENT", 0x07, 0x6F}, "cpu-missing", processor, {"F0842 warning"});
    add({"P" + n + "_PRESENT", 0x25, 0x6F}, "cpu-absent", processor, {"F0842 warning"});
    const SensorOf status{"CPU" + n + " Status", 0x07, 0x6F, 0x03, static_cast<std::uint8_t>(number)};
    add(status, "cpu-missing", processor, {"F0842 warning"});
    add(status, "signal", processor, {"F0174 critical"});
    add(status, "cpu-failed", kBoard, {"F0174 critical"});
  }
  add({"P_CATERR_N", 0x07, 0x03}, "signal", kBoard, {"F0174 critical"});

  // Fans. A module has two tachometers.
  for (int number = 1; number <= 6; ++number) {
    const std::string n = std::to_string(number);
    for (const char* tachometer : {"1", "2"}) {
      const std::string fan = kRack + "/fan-module-1-" + n + "/fan-" + tachometer;
      add({"FAN" + n + "_TACH" + tachometer, 0x04}, "fan-slow", fan, {"F0395 minor", "F0396 major", "F0397 critical"});
      add({"FAN" + n + "_TACH" + tachometer, 0x04, 0x04}, "fan-failing", fan, {"F0371 warning"});
    }
    const std::string first = kRack + "/fan-module-1-" + n + "/fan-1";
    add({"FAN" + n + "_PRS", 0x04, 0x08}, "fan-missing", first, {"F0434 warning"});
    add({"FAN" + n + "_PRS", 0x04, 0x08}, "fan-missing.2", kRack + "/fan-module-1-" + n + "/fan-2", {"F0434 warning"});
    add({"FAN" + n + "_STATUS", 0x04, 0x04}, "fan-failing", first, {"F0371 warning"});
    add({"FAN" + n + "_SPEED", 0x04}, "fan-slow", first, {"F0395 minor", "F0396 major", "F0397 critical"});
  }
  for (const SensorOf& fan : {SensorOf{"System Fan 7", 0x04, 0x01}, SensorOf{"Fan", 0x04, 0x01, 0x1D, 7}}) {
    const std::string dn = kRack + "/fan-module-1-7/fan-1";
    SensorOf other = fan;
    add(other, "fan-slow", dn, {"F0395 minor", "F0396 major", "F0397 critical"});
    other.reading = 0x04;
    add(other, "fan-failing", dn, {"F0371 warning"});
    other.reading = 0x08;
    add(other, "fan-missing", dn, {"F0434 warning"});
  }

  // Power supplies.
  for (int number = 1; number <= 2; ++number) {
    const std::string n = std::to_string(number);
    const std::string supply = kRack + "/psu-" + n;
    for (const SensorOf& status : {SensorOf{"PSU" + n + "_STATUS", 0x08, 0x6F},
                                   SensorOf{"Status", 0x08, 0x6F, 0x0A, static_cast<std::uint8_t>(number)}}) {
      add(status, "ps-missing", supply, {"F0378 warning"});
      add(status, "ps-failing", supply, {"F0883 major"});
      add(status, "ps-input", supply, {"F0374 critical", "F0374 critical", "F0374 critical"});
      add(status, "ps-configuration", supply, Texts(6, "F0407 warning"),
          {"unknown error", "vendor mismatch", "revision mismatch", "processor missing", "supply rating mismatch",
           "voltage rating mismatch"});
    }
    for (const char* reading : {"_PIN", "_POUT"}) {
      // Here the library's text has the sensor's name in place of the threshold.
      add({"PSU" + n + reading, 0x0B}, "ps-power-lower", supply, {"F0392 minor", "F0393 major", "F0394 critical"},
          Texts(3, "power is psu" + n + "_p"));
      add({"PSU" + n + reading, 0x0B}, "ps-power-upper", supply, {"F0392 minor", "F0393 major", "F0394 critical"});
    }
    add({"PSU" + n + "_IOUT", 0x03}, "ps-current-upper", supply, {"F0882 major", "F0882 major", "F0882 major"});
    add({"PSU" + n + "_VOUT", 0x02}, "ps-voltage-upper", supply, {"F0389 major", "F0391 critical"});
    add({"PSU" + n + "_TEMP", 0x01}, "ps-hot", supply, {"F0381 minor", "F0383 major", "F0385 critical"});
    const auto instance = static_cast<std::uint8_t>(number);
    add({"Inlet", 0x01, 0x01, 0x0A, instance}, "ps-hot", supply, {"F0381 minor", "F0383 major", "F0385 critical"});
    add({"VOut", 0x02, 0x01, 0x0A, instance}, "ps-voltage-upper", supply, {"F0389 major", "F0391 critical"});
    add({"IOut", 0x03, 0x01, 0x0A, instance}, "ps-current-upper", supply, Texts(3, "F0882 major"));
    add({"Pwr", 0x0B, 0x01, 0x0A, instance}, "ps-power-upper", supply,
        {"F0392 minor", "F0393 major", "F0394 critical"});
  }
  add({"PS_RDNDNT", 0x08, 0x0B}, "ps-redundancy", kRack, {"F0743 major", "F0743 major", "F0743 major"},
      {"redundancy degraded", "redundancy is lost", "redundancy is lost"});
  add({"PS_RDNDNT", 0x09, 0x0B}, "ps-redundancy", kRack, {"F0743 major", "F0743 major", "F0743 major"},
      {"redundancy degraded", "redundancy is lost", "redundancy is lost"});

  // Memory. The events of the risers are the array's.
  const std::string array = kBoard + "/memarray-1";
  const std::string unit = array + "/mem-12";
  const SensorOf unit_status{"P2_DIMM_F2", 0x0C, 0x6F, 0x20, 12};
  add(unit_status, "mem-missing", unit, {"F0502 warning"});
  add(unit_status, "mem-disabled", unit, {"F0844 warning"});
  for (const SensorOf& temperature : {SensorOf{"P2_DIMM_F2_TEMP", 0x01, 0x01, kAny, 12},
                                      SensorOf{"Temp", 0x01, 0x01, 0x08, 12}, SensorOf{"Temp", 0x01, 0x01, 0x20, 12}}) {
    add(temperature, "mem-hot", unit, {"F0186 minor", "F0187 major", "F0188 critical"});
  }
  for (const char* riser : {"MEM_RISER1", "MEM_RISER2"}) {
    const std::string name = riser;
    add({name, 0x15, 0x08}, "riser-missing", array, {"F0502 warning"});
    add({name + "_TEMP", 0x01}, "riser-hot", array, {"F0186 minor", "F0187 major", "F0188 critical"});
    add({name + "_VOLT", 0x02}, "riser-voltage-lower", array, {"F0190 major", "F0191 critical"});
    add({name + "_VOLT", 0x02}, "riser-voltage-upper", array, {"F0190 major", "F0191 critical"});
  }

  // Disks.
  struct Disk {
    SensorOf sensor;
    const char* dn;
  };
  for (const Disk& disk : {Disk{{"SAS11_HDD3", 0x0D, 0x6F}, "storage-SAS-SLOT-11/pd-3"},
                           Disk{{"HDD4", 0x0D, 0x6F}, "storage-SAS-SLOT-1/pd-4"},
                           Disk{{"Drive", 0x0D, 0x6F, 0x04, 5}, "storage-SAS-SLOT-1/pd-5"}}) {
    const std::string dn = kBoard + "/" + disk.dn;
    add(disk.sensor, "disk-missing", dn, {"F1256 warning"});
    add(disk.sensor, "disk-inoperable", dn, {"F0181 critical"});
    add(disk.sensor, "disk-degraded", dn, {"F0996 warning"});
    add(disk.sensor, "disk-rebuild", dn, {"F1005 major"});
  }
  for (const Backplane& backplane : kBackplanes) {
    const std::string dn = kRack + "/" + backplane.dn;
    add({backplane.sensor, 0x01}, "lower", dn, {"F1310 minor", "F1311 major", "F1312 critical"});
    add({backplane.sensor, 0x01}, "backplane-upper", dn, {"F1310 minor", "F1311 major", "F1312 critical"});
  }

  // Cards.
  for (const SensorOf& card : {SensorOf{"PCI2_TEMP", 0x01}, SensorOf{"Riser", 0x01, 0x01, 0x30, 2}}) {
    add(card, "card-hot", kRack + "/equipped-slot-2", {"F0729 minor", "F0730 major", "F0731 critical"});
  }
  add({"PCI2_PRESENT", 0x15, 0x08}, "card-missing", kRack + "/equipped-slot-2", {"F0376 warning"});
  for (const SensorOf& card : {SensorOf{"ADAPTOR3_TEMP", 0x01}, SensorOf{"Card", 0x01, 0x01, 0x0B, 3}}) {
    add(card, "card-hot", kRack + "/adaptor-3", {"F0729 minor", "F0730 major", "F0731 critical"});
  }
  add({"ADAPTOR3_PRESENT", 0x15, 0x08}, "card-missing", kRack + "/adaptor-3", {"F0203 warning"});
  add({"ADAPTOR3_TRIP", 0x15, 0x03}, "card-overheated", kRack + "/adaptor-3", {"F0379 major"});
  add({"TPM_STATUS", 0x06, 0x03, 0x0B, 2}, "tpm-mismatch", kRack + "/adaptor-2", {"F1783 major"});

  // All else.
  for (const SensorOf& panel : {SensorOf{"FP_TEMP_SENSOR", 0x01}, SensorOf{"Ambient", 0x01, 0x01, 0x0C}}) {
    add(panel, "front-panel-hot", kRack, {"F0154 minor", "F0153 major", "F0155 critical"});
  }
  add({"CHASSIS_INTR", 0x05, 0x6F}, "intrusion", kRack, {"F0320 warning"});
  add({"MGMT_LINK", 0x27, 0x6F}, "link-down", kRack + "/mgmt/if-1", {"F0717 warning"});
  // The library fills a record for a failed self test, but never reports it.
  add({"BIOS_POST", 0x0F, 0x6F}, "post-failed", kRack, {""});
  for (const char* number : {"1", "2"}) {
    add({std::string("CMC") + number + "_TEMP", 0x01}, "upper", kRack + "/chassis-controller-" + number,
        {"F1320 minor", "F1321 major", "F1322 critical"});
  }
  add({"CMC1_INLET_TEMP", 0x01}, "upper", kRack + "/chassis-controller-1/inlet",
      {"F1320 minor", "F1321 major", "F1322 critical"});
  add({"CHASSIS_POWER", 0x0B}, "upper", kRack + "/chassis-power", {"F1323 minor", "F1324 major", "F1325 critical"});
  const std::string manager = kRack + "/node-manager-1";
  add({"NM_POLICY", 0x0B, 0x03}, "nm-power-limit", manager, {"F1300 minor"});
  add({"NM_INLET", 0x01, 0x03}, "nm-inlet-limit", manager, {"F1301 major"});
  add({"NM_POWER_READING", 0x0B, 0x03}, "nm-power-lost", manager, {"F1302 warning"});
  add({"NM_INLET_READING", 0x01, 0x03}, "nm-inlet-lost", manager, {"F1303 warning"});
  add({"NM_HOST", 0x28, 0x03}, "nm-host-lost", manager, {"F1304 warning"});
  add({"NM_HEALTH", 0x28, 0x6F}, "nm-inoperable", manager, {"F1305 critical"});
  return plays;
}

TEST(LaddersTest, EveryOneGoesUpAndDownInEveryWay) {
  for (const Play& play : all_plays()) play_all_ways(play);
}

// No event of the library makes an inoperable memory unit a good one: state 0 of its offset raises "degraded".
TEST(LaddersTest, AnInoperableMemoryUnitStaysActive) {
  const Mapped one = mapped({{"P2_DIMM_F2", 0x0C, 0x6F, 0x20, 12}, "mem-inoperable", "", {}, {}});
  Engine engine;
  const std::set<std::string> inoperable{"F0185 critical sys/rack-unit-1/board/memarray-1/mem-12"};
  engine.send(one.target, one.ladder->steps(0, 1));
  EXPECT_EQ(engine.active(), inoperable);
  engine.send(one.target, one.ladder->steps(1, 0));
  EXPECT_EQ(engine.active(), inoperable);
  engine.send(one.target, one.ladder->steps(0, 1));
  EXPECT_EQ(engine.active(), inoperable);
  engine.send(one.target, {{72, 0}});
  EXPECT_EQ(engine.active(), std::set<std::string>{"F0184 warning sys/rack-unit-1/board/memarray-1/mem-12"});
}

// The states that the events of a sensor have which gets worse: its level for a threshold, else 1. Most filters take
// any state but 0 for the same, but a rung says what it means.
TEST(LaddersTest, TheLastEventUpHasTheStateOfItsRung) {
  std::set<std::string> seen;
  for (const Play& play : all_plays()) {
    const Mapped one = mapped(play);
    if (play.ladder == "log-full" || !seen.insert(play.ladder).second) continue;
    for (const Rung& rung : one.ladder->rungs) {
      static const std::map<int, int> kLevels{{0, 4}, {2, 5}, {4, 6}, {7, 4}, {9, 5}, {11, 6}};
      const bool is_threshold = play.sensor.reading == kThresholdReading;
      EXPECT_EQ(rung.up.back().state, is_threshold ? kLevels.at(rung.when.at(0).offset) : 1) << play;
    }
  }
}

// The ladders that the file defines, as its lines name them.
std::set<std::string> ladders_of_the_file() {
  std::set<std::string> names;
  bool in_ladders = false;
  std::istringstream lines(engine::read_table_file(POLAIGA_SOURCE_DIR "/sources/ipmi/ipmi.tsv"));
  for (std::string line; std::getline(lines, line);) {
    const std::string first = line.substr(0, line.find('\t'));
    if (first == "ladder" || first == "sensor") {
      in_ladders = first == "ladder";
    } else if (in_ladders && !first.empty() && !first.starts_with('#')) {
      names.insert(first);
    }
  }
  return names;
}

TEST(LaddersTest, EveryLadderOfTheFileIsPlayed) {
  std::set<std::string> played{"mem-inoperable"};
  for (const Play& play : all_plays()) played.insert(play.ladder.substr(0, play.ladder.find('.')));
  EXPECT_EQ(played, ladders_of_the_file());
}

// The lines of the rows of sensors.
std::set<std::size_t> rows_of_the_file() {
  std::set<std::size_t> rows;
  std::size_t number = 0;
  bool in_sensors = false;
  std::istringstream lines(engine::read_table_file(POLAIGA_SOURCE_DIR "/sources/ipmi/ipmi.tsv"));
  for (std::string line; std::getline(lines, line);) {
    ++number;
    const std::string first = line.substr(0, line.find('\t'));
    if (first == "ladder" || first == "sensor") {
      in_sensors = first == "sensor";
    } else if (in_sensors && !first.empty() && !first.starts_with('#')) {
      rows.insert(number);
    }
  }
  return rows;
}

TEST(LaddersTest, EveryRowOfTheFileIsPlayed) {
  std::set<std::size_t> played;
  for (const Play& play : all_plays()) played.insert(mapped(play).line);
  const std::set<std::size_t> rows = rows_of_the_file();
  EXPECT_FALSE(rows.empty());
  for (const std::size_t row : rows) EXPECT_TRUE(played.contains(row)) << "line " << row << " of ipmi.tsv";
}

TEST(LaddersTest, EverySensorThatTheLibraryKnowsByNameIsPlayed) {
  const Engine engine;  // with the host's tables
  std::map<std::string, std::set<std::string>> played;
  for (const Play& play : all_plays()) {
    const Mapped one = mapped(play);
    ASSERT_NE(one.target.entity, nullptr);
    played[std::string(one.target.entity->name)].insert(one.target.sensor);
  }
  const auto is_played = [&played](const char* entity, const fe_sensor_map_row* rows, std::int32_t count) {
    ASSERT_GT(count, 0);
    for (std::int32_t i = 0; i < count; ++i) {
      EXPECT_TRUE(played[entity].contains(rows[i].sensor_name)) << entity << " " << rows[i].sensor_name;
    }
  };
  is_played("sys_board", ent_map, ent_map_sz);
  is_played("cpu", ent_cpu_map, ent_cpu_map_sz);
  is_played("ps", ent_ps_map, ent_ps_map_sz);
  is_played("cmc", ent_cmc_map, ent_cmc_map_sz);
  is_played("drive_bp", ent_drive_bp_map, ent_drive_bp_map_sz);
}

// A sensor that crosses from the lower side to the upper one: first it goes down on one ladder, then up on the other.
TEST(LaddersTest, ASensorChangesSides) {
  const std::vector<Play> plays = all_plays();
  int pairs = 0;
  for (const Play& lower : plays) {
    for (const Play& upper : plays) {
      if (lower.sensor.name != upper.sensor.name || lower.sensor.type != upper.sensor.type ||
          lower.sensor.reading != kThresholdReading || !lower.ladder.ends_with("lower") ||
          !upper.ladder.ends_with("upper") || lower.sensor.entity_instance != upper.sensor.entity_instance) {
        continue;
      }
      ++pairs;
      SCOPED_TRACE(testing::Message() << lower);
      const Mapped low = mapped(lower);
      const Mapped high = mapped(upper);
      Engine engine;
      for (int from = 1; from <= static_cast<int>(lower.rungs.size()); ++from) {
        for (int to = 1; to <= static_cast<int>(upper.rungs.size()); ++to) {
          engine.send(low.target, low.ladder->steps(0, from));
          EXPECT_EQ(engine.active(), expected(lower, from));
          engine.send(low.target, low.ladder->steps(from, 0));
          engine.send(high.target, high.ladder->steps(0, to));
          EXPECT_EQ(engine.active(), expected(upper, to)) << "from " << from << " to " << to;
          engine.send(high.target, high.ladder->steps(to, 0));
          EXPECT_EQ(engine.active(), std::set<std::string>{});
        }
      }
    }
  }
  EXPECT_EQ(pairs, 14 + 1 + 4 + 1 + 1 + 18 + 2 + 4 + 2 + 4);
}

// Why an "all is well" is never sent to all offsets: these events raise a fault in state 0. Those of a power supply's
// current are not among them: 49 and 50 end the one fault that it has.
TEST(LaddersTest, SomeOffsetsRaiseAFaultInStateZero) {
  std::set<std::string> raising;
  auto engine = std::make_unique<Engine>();
  const auto try_offset = [&](const engine::Entity& entity, const char* sensor, int offset) {
    engine->send({.entity = &entity, .sensor = sensor, .entity_id = entity.entity_id}, {{offset, 0}});
    if (engine->active().empty()) return;
    raising.insert(std::string(entity.name) + " " + std::to_string(offset));
    engine.reset();
    engine = std::make_unique<Engine>();
  };
  for (const engine::Entity& entity : engine::entities()) {
    for (const char* sensor : {"FAN1_TACH1", "PSU1_PIN", "RISER1_INLET_TMP", "P12V_V_MOIN", "P3V3_BAT_V_MOIN",
                               "P1_TEMP_SENS", "PVDDQ_AB", "HDD_BP1_TEMP", "CMC1_TEMP"}) {
      for (int offset = 0; offset <= 255; ++offset) try_offset(entity, sensor, offset);
      try_offset(entity, sensor, 883);
    }
  }
  EXPECT_EQ(raising, (std::set<std::string>{
                         "fan 4",           "fan 5",           "ps 46",        "ps 53",   "ps 54",      "ps 57",
                         "ps 58",           "mem 67",          "mem 68",       "mem 72",  "mem 76",     "mem 77",
                         "mem 97",          "mem 100",         "pci 109",      "pci 110", "add_in 109", "add_in 110",
                         "front_panel 106", "front_panel 107", "sys_board 119"}));
}

// Two sensors with the same faults of the same object. Each goes from each level to each other one, whatever the level
// of the other is.
void play_two(const Play& first, const Play& second) {
  SCOPED_TRACE(testing::Message() << first << " and " << second);
  const Mapped one = mapped(first);
  const Mapped two = mapped(second);
  ASSERT_NE(one.ladder, nullptr);
  ASSERT_NE(two.ladder, nullptr);
  Engine engine;
  int one_level = 0;
  int two_level = 0;
  const auto go = [&](int one_to, int two_to) {
    engine.send(one.target, one.ladder->steps(one_level, one_to));
    engine.send(two.target, two.ladder->steps(two_level, two_to));
    std::set<std::string> all = expected(first, one_to);
    all.merge(expected(second, two_to));
    ASSERT_EQ(engine.active(), all) << one_level << "," << two_level << " to " << one_to << "," << two_to;
    one_level = one_to;
    two_level = two_to;
  };
  const int one_top = static_cast<int>(first.rungs.size());
  const int two_top = static_cast<int>(second.rungs.size());
  for (int a = 0; a <= one_top; ++a) {
    for (int b = 0; b <= two_top; ++b) {
      for (int c = 0; c <= one_top; ++c) {
        for (int d = 0; d <= two_top; ++d) {
          ASSERT_NO_FATAL_FAILURE(go(a, b));
          ASSERT_NO_FATAL_FAILURE(go(c, b));
          ASSERT_NO_FATAL_FAILURE(go(c, d));
        }
      }
    }
  }
  go(0, 0);
}

TEST(LaddersTest, TwoSensorsOfOneFaultDoNotEndEachOthers) {
  const std::string array = kBoard + "/memarray-1";
  const std::string supply = kRack + "/psu-1";
  const Texts voltages{"F0920 major", "F0920 major", "F0918 critical"};
  play_two({{"P12V_V_MOIN", 0x02}, "upper", kBoard, voltages}, {{"P5V_V_MOIN", 0x02}, "upper", kBoard, voltages});
  const Texts low{"F0921 major", "F0921 major", "F0919 critical"};
  play_two({{"P1V5_SSB", 0x02}, "board-voltage-lower", kBoard, low},
           {{"P1V8_AUX", 0x02}, "board-voltage-lower", kBoard, low});
  const Texts risers{"F0410 minor", "F0409 major", "F0411 critical"};
  play_two({{"RISER1_INLET_TMP", 0x01}, "upper", kBoard, risers},
           {{"RISER2_OUTLETTMP", 0x01}, "upper", kBoard, risers});
  play_two({{"RISER1_INLET_TMP", 0x01}, "board-lower", kBoard, risers},
           {{"RISER2_INLET_TMP", 0x01}, "upper", kBoard, risers});
  const Texts channels{"F0178 minor", "F0179 major", "F0180 critical"};
  play_two({{"PVDDQ_AB", 0x02}, "cpu-upper", kBoard + "/cpu-1", channels},
           {{"PVTT_P1", 0x02}, "cpu-lower", kBoard + "/cpu-1", channels});
  play_two({{"P1_PROCHOT", 0x07, 0x03}, "signal", kBoard + "/cpu-1", {"F0174 critical"}},
           {{"P1_THERMTRIP_N", 0x07, 0x03}, "signal", kBoard + "/cpu-1", {"F0174 critical"}});
  const Texts power{"F0392 minor", "F0393 major", "F0394 critical"};
  play_two({{"PSU1_PIN", 0x0B}, "ps-power-upper", supply, power},
           {{"PSU1_POUT", 0x0B}, "ps-power-lower", supply, power});
  const Texts memory{"F0186 minor", "F0187 major", "F0188 critical"};
  play_two({{"MEM_RISER1_TEMP", 0x01}, "riser-hot", array, memory},
           {{"MEM_RISER2_TEMP", 0x01}, "riser-hot", array, memory});
  const Texts array_voltage{"F0190 major", "F0191 critical"};
  play_two({{"MEM_RISER1_VOLT", 0x02}, "riser-voltage-lower", array, array_voltage},
           {{"MEM_RISER2_VOLT", 0x02}, "riser-voltage-upper", array, array_voltage});
  const Texts panel{"F0154 minor", "F0153 major", "F0155 critical"};
  play_two({{"FP_TEMP_1", 0x01}, "front-panel-hot", kRack, panel},
           {{"FP_TEMP_2", 0x01}, "front-panel-hot", kRack, panel});
  const Texts fan{"F0395 minor", "F0396 major", "F0397 critical"};
  play_two({{"Fan 9 front", 0x04}, "fan-slow", kRack + "/fan-module-1-9/fan-1", fan},
           {{"Fan 9 rear", 0x04}, "fan-slow", kRack + "/fan-module-1-9/fan-1", fan});
  play_two({{"MEM_RISER1", 0x15, 0x08}, "riser-missing", array, {"F0502 warning"}},
           {{"MEM_RISER2", 0x15, 0x08}, "riser-missing", array, {"F0502 warning"}});
  // Here the name is fixed, and the instance tells the sensors apart.
  play_two({{"Unit A", 0x09, 0x6F, 0x13, 1}, "power-on-fail", kBoard, {"F0868 critical"}},
           {{"Unit B", 0x09, 0x6F, 0x13, 2}, "power-on-fail", kBoard, {"F0868 critical"}});
}

// While a unit is missing its filter drops the events of its other sensors. The ladders that say so are those of which
// that is true.
TEST(LaddersTest, AMissingUnitTellsNothingElse) {
  struct Unit {
    Play missing;
    Play other;
  };
  const std::string disk = kBoard + "/storage-SAS-SLOT-11/pd-3";
  const std::string unit = kBoard + "/memarray-1/mem-12";
  const std::vector<Unit> silent{
      {{{"FAN3_PRS", 0x04, 0x08}, "fan-missing", kRack + "/fan-module-1-3/fan-1", {"F0434 warning"}},
       {{"FAN3_TACH1", 0x04}, "fan-slow", "", {}}},
      {{{"FAN3_PRS", 0x04, 0x08}, "fan-missing.2", kRack + "/fan-module-1-3/fan-2", {"F0434 warning"}},
       {{"FAN3_TACH2", 0x04}, "fan-slow", "", {}}},
      {{{"PSU2_STATUS", 0x08, 0x6F}, "ps-missing", kRack + "/psu-2", {"F0378 warning"}},
       {{"PSU2_TEMP", 0x01}, "ps-hot", "", {}}},
      {{{"ADAPTOR3_PRESENT", 0x15, 0x08}, "card-missing", kRack + "/adaptor-3", {"F0203 warning"}},
       {{"ADAPTOR3_TEMP", 0x01}, "card-hot", "", {}}}};
  for (const Unit& one : silent) {
    SCOPED_TRACE(testing::Message() << one.missing);
    const Mapped missing = mapped(one.missing);
    const Mapped other = mapped(one.other);
    EXPECT_TRUE(missing.ladder->tells_presence);
    Engine engine;
    engine.send(missing.target, missing.ladder->steps(0, 1));
    engine.send(other.target, other.ladder->steps(0, 1));
    EXPECT_EQ(engine.active(), expected(one.missing, 1));
    engine.send(missing.target, missing.ladder->steps(1, 0));
    EXPECT_EQ(engine.active(), std::set<std::string>{});
  }
  const std::vector<Unit> talking{
      {{{"PSU1_STATUS", 0x08, 0x6F}, "ps-missing", kRack + "/psu-1", {"F0378 warning"}},
       {{"PS_RDNDNT", 0x08, 0x0B}, "ps-redundancy", kRack, {"F0743 major", "F0743 major", "F0743 major"}}},
      {{{"SAS11_HDD3", 0x0D, 0x6F}, "disk-missing", disk, {"F1256 warning"}},
       {{"SAS11_HDD3", 0x0D, 0x6F}, "disk-inoperable", disk, {"F0181 critical"}}},
      {{{"P2_DIMM_F2", 0x0C, 0x6F, 0x20, 12}, "mem-missing", unit, {"F0502 warning"}},
       {{"P2_DIMM_F2_TEMP", 0x01, 0x01, 0x20, 12}, "mem-hot", unit, {"F0186 minor", "F0187 major", "F0188 critical"}}},
      {{{"P1_PRESENT", 0x07, 0x6F}, "cpu-missing", kBoard + "/cpu-1", {"F0842 warning"}},
       {{"P1_TEMP_SENS", 0x01}, "cpu-lower", kBoard + "/cpu-1", {"F0175 minor", "F0176 major", "F0177 critical"}}}};
  for (const Unit& one : talking) play_two(one.missing, one.other);
  // The second fan of a module that is missing is not the next module.
  for (const char* ladder : {"fan-missing", "fan-missing.2"}) {
    const std::string fan = kRack + "/fan-module-1-1/fan-" + (ladder == std::string("fan-missing") ? "1" : "2");
    play_two({{"FAN1_PRS", 0x04, 0x08}, ladder, fan, {"F0434 warning"}},
             {{"FAN2_STATUS", 0x04, 0x04}, "fan-failing", kRack + "/fan-module-1-2/fan-1", {"F0371 warning"}});
  }
}

}  // namespace ladders_test
}  // namespace polaiga::ipmi
