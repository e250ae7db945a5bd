#include "explore/fault_search.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <regex>
#include <set>

#include "explore/catalog_forms.h"
#include "filter/host_tables.h"
#include "filter/services.h"
#include "model/fault.h"

namespace polaiga::engine {
namespace fault_search_test {

const std::vector<FoundFilter>& found() {
  static const std::vector<FoundFilter> filters = [] {
    load_host_tables(POLAIGA_TABLES_DIR);
    return find_faults();
  }();
  return filters;
}

const FoundFilter& filter_of(std::string_view entity) {
  return *std::ranges::find(found(), entity, &FoundFilter::entity);
}

// A fault of one name; the test fails where there is none.
const FoundFault& fault_of(std::string_view entity, std::uint32_t code, std::string_view cause) {
  static const FoundFault kNone{};
  for (const FoundFault& fault : filter_of(entity).faults) {
    if (fault.code == code && fault.cause == cause) return fault;
  }
  ADD_FAILURE() << entity << " has no fault " << code << " with " << cause;
  return kNone;
}

const Behaviour& behaviour_of(const FoundFault& fault, const std::string& sensor) {
  static const Behaviour kNone{};
  for (const Behaviour& behaviour : fault.behaviours) {
    if (std::ranges::find(behaviour.sensors, sensor) != behaviour.sensors.end()) return behaviour;
  }
  ADD_FAILURE() << fault.name << " has no sensor " << sensor;
  return kNone;
}

std::string brief(std::string_view entity, const Events& events) {
  return brief_events(events, filter_of(entity).memories);
}

std::string brief(std::string_view entity, const std::map<std::uint32_t, Events>& others, std::uint32_t code) {
  const auto other = others.find(code);
  return other != others.end() ? brief(entity, other->second) : "none";
}

TEST(FaultSearch, FiltersInTheOrderOfTheirHeader) {
  std::ifstream header(POLAIGA_SOURCE_DIR "/include/polaiga/filters.h");
  const std::regex declaration("POLAIGA_API int32_t process_(\\w+)_fault\\(.*");
  std::vector<std::string> want;
  std::smatch match;
  for (std::string line; std::getline(header, line);) {
    if (std::regex_match(line, match, declaration)) want.push_back(match[1]);
  }
  std::vector<std::string> got;
  for (const FoundFilter& filter : found()) got.emplace_back(filter.entity);
  EXPECT_EQ(want.size(), 16U);
  EXPECT_EQ(got, want);
}

// What is found is what the dictionary knows, and the other way round.
TEST(FaultSearch, EveryCodeOfTheDictionary) {
  std::set<std::uint32_t> got;
  for (const FoundFilter& filter : found()) {
    for (const FoundFault& fault : filter.faults) got.insert(fault.code);
  }
  std::set<std::uint32_t> want;
  for (const FaultEntry& entry : fault_entries()) want.insert(entry.code);
  EXPECT_EQ(got, want);
}

TEST(FaultSearch, Fault) {
  const FoundFault& fault = fault_of("fan", 396, "performance-problem");
  EXPECT_EQ(fault.name, "fltEquipmentFanPerfThresholdCritical");
  EXPECT_EQ(fault.cause_id, 381U);
  EXPECT_EQ(severity_word(fault.severity), "major");
  EXPECT_TRUE(fault.reported);
  const Behaviour& got = behaviour_of(fault, "FAN3_TACH2");
  const std::pair<std::string, std::string> object{"sys/rack-unit-1/fan-module-1-3/fan-2",
                                                   "1.3.6.1.4.1.32473.5.100.1.15.12.1"};
  EXPECT_EQ(got.objects, std::vector{object});
  EXPECT_EQ(brief("fan", got.raises), "4: any but 4; 5: 5");
  EXPECT_EQ(brief("fan", got.clears), "");
  EXPECT_EQ(brief("fan", got.supersedes, 395), "4: any but 4");
  EXPECT_EQ(brief("fan", got.supersedes, 397), "5: 5");
  EXPECT_EQ(brief("fan", got.superseded_by, 395), "4: 4");
  EXPECT_EQ(brief("fan", got.superseded_by, 397), "5: any but 5");
  ASSERT_EQ(got.raise_texts.size(), 2U);
  const auto& [text, events] = *got.raise_texts.begin();
  EXPECT_EQ(text, "SENSOR: Fan speed for fan-6 is lower critical : Check the air intake to the server ");
  EXPECT_EQ(brief("fan", events), "4: any but 0, 4; 5: 5");
  EXPECT_EQ(brief("fan", got.raise_texts.rbegin()->second), "4: 0");
}

TEST(FaultSearch, RaisesAndClears) {
  struct Row {
    const char* entity;
    std::uint32_t code;
    const char* cause;
    const char* sensor;
    const char* raises;
    const char* clears;
  };
  const Row kRows[] = {
      {"sys_board", 868, "power-problem", "POWER_ON_FAIL", "any: any but 0", "any: 0"},
      {"ps", 378, "equipment-missing", "SENSOR", "30, 112: any but 0", "30, 112: 0"},
      {"ps", 407, "fru-problem", "SENSOR", "35-40: any but 0", "35-40: 0"},
      {"ps", 883, "power-problem", "SENSOR", "883: any but 0", "883: 0"},
      {"ps", 392, "power-problem", "PSU2_POUT", "3, 52: any but 0; 4: any but 0, 5; 53: 4", "3, 52: 0"},
      {"cpu", 842, "equipment-disabled", "P2_PRESENT", "any: any but 0", "any: 0"},
      {"cpu", 180, "voltage-problem", "PVSA_P1", "threshold 116, 119: any but 0, 5", "threshold 116, 119: 0"},
      {"mem", 185, "equipment-inoperable", "SENSOR", "72: any but 0", ""},
      {"mem", 184, "equipment-inoperable", "SENSOR", "72: 0", ""},
      {"fw_bios_post", 517, "equipment-problem", "SENSOR", "103: any but 0", "103: 0"},
      {"pci", 729, "thermal-problem", "SENSOR", "108: any but 0; 109: 4", "108: 0"},
      {"add_in", 1783, "equipment-inoperable", "SENSOR", "127: any but 0", "127: 0"},
      {"caddora", 1259, "equipment-missing", "SENSOR", "18-20: any but 0", "18-20: 0"},
      {"storage", 181, "equipment-missing", "SENSOR", "18-20: any but 0", "18-20: 0"},
      {"storage", 181, "equipment-inoperable", "SENSOR", "14: any but 0", "14: 0"},
      {"storage", 1003, "equipment-inoperable", "SENSOR", "12: any but 0", "12: 0"},
      {"drive_bp", 1312, "thermal-problem", "IOE_NVME1_TEMP", "116, 119: any but 0, 5", "116, 119: 0"},
      {"chassis", 320, "equipment-problem", "SENSOR", "104: any but 0", "104: 0"},
      {"front_panel", 155, "thermal-problem", "SENSOR", "107: any but 5", ""},
      {"nm", 1303, "equipment-problem", "SENSOR", "203: any but 0", "203: 0"},
      {"ne", 717, "link-missing", "SENSOR", "126: any but 0", "126: 0"},
      {"cmc", 1321, "thermal-problem", "CMC2_TEMP", "118-119: 5", "118: 0"},
  };
  for (const Row& row : kRows) {
    const Behaviour& got = behaviour_of(fault_of(row.entity, row.code, row.cause), row.sensor);
    EXPECT_EQ(brief(row.entity, got.raises), row.raises) << row.entity << " " << row.code;
    EXPECT_EQ(brief(row.entity, got.clears), row.clears) << row.entity << " " << row.code;
  }
}

TEST(FaultSearch, OneFilterReportsNothing) {
  for (const FoundFilter& filter : found()) {
    for (const FoundFault& fault : filter.faults) {
      EXPECT_EQ(fault.reported, filter.entity != "fw_bios_post") << filter.entity << " " << fault.code;
    }
  }
}

// The event log goes by what is remembered of it.
TEST(FaultSearch, WhatIsRememberedOfTheLog) {
  const Behaviour& very_low = behaviour_of(fault_of("sys_board", 461, "log-capacity"), "SEL_FULLNESS");
  const auto text = very_low.raise_texts.find("SENSOR: System Event log capacity is very low");
  ASSERT_NE(text, very_low.raise_texts.end());
  EXPECT_EQ(brief("sys_board", text->second), "threshold 118: 1 (log low); threshold 119: 1 (log full)");
  const Behaviour& full = behaviour_of(fault_of("sys_board", 462, "log-capacity"), "SEL_FULLNESS");
  const auto full_text = full.raise_texts.find("SENSOR: System Event log is Full: Clear the log");
  ASSERT_NE(full_text, full.raise_texts.end());
  EXPECT_EQ(brief("sys_board", full_text->second), "threshold 119: 1 (log very low)");
  const Behaviour& low = behaviour_of(fault_of("sys_board", 460, "log-capacity"), "SEL_FULLNESS");
  EXPECT_EQ(brief("sys_board", low.clears),
            "threshold any but 115-119: 0; discrete any: 0; threshold 117: 0 (log low)");
}

// By the name and the number that a unit really has.
TEST(FaultSearch, OfOneUnit) {
  found();
  fe_sensor_event event = {};
  event.entity_instance = 2;
  std::string_view("FAN2_TACH2").copy(event.sensor_name, sizeof event.sensor_name - 1);
  const FoundFilter got = find_faults(*find_entity("fan"), event);
  EXPECT_EQ(got.entity, "fan");
  ASSERT_EQ(got.faults.size(), 5U);
  const FoundFault& slower = got.faults[2];
  EXPECT_EQ(slower.code, 396U);
  ASSERT_EQ(slower.behaviours.size(), 1U);
  EXPECT_EQ(slower.behaviours[0].sensors, std::vector<std::string>{"FAN2_TACH2"});
  EXPECT_EQ(slower.behaviours[0].objects.at(0).first, "sys/rack-unit-1/fan-module-1-2/fan-2");
  EXPECT_EQ(brief("fan", slower.behaviours[0].raises), "4: any but 4; 5: 5");
  EXPECT_EQ(brief("fan", slower.behaviours[0].superseded_by, 397), "5: any but 5");
}

TEST(FaultSearch, TriedAs) {
  struct Row {
    const char* entity;
    std::uint32_t reading_type;
    std::int32_t offset;
    std::int32_t state;
    EventKey want;
  };
  const Row kRows[] = {
      {"fan", 0, 4, 5, {false, 4, 5}},           {"fan", 1, 116, 0, {false, 116, 0}},
      {"cpu", 1, 116, 1, {true, 116, 1}},        {"sys_board", 1, 118, 6, {true, 118, 6}},
      {"sys_board", 0, 118, 6, {false, 118, 6}}, {"fan", 0, -2147483647, 7, {false, -1, 7}},
      {"fan", 0, 255, 8, {false, 255, 7}},       {"fan", 0, 256, -1, {false, 255, 7}},
      {"fan", 0, 879, 100, {false, 255, 7}},     {"fan", 0, 880, 1, {false, 880, 1}},
      {"fan", 0, 5000, 2, {false, 1024, 2}},
  };
  for (const Row& row : kRows) {
    fe_sensor_event event = {};
    event.reading_type = row.reading_type;
    event.event_offset = row.offset;
    event.event_state = row.state;
    EXPECT_EQ(tried_as(*find_entity(row.entity), event), row.want) << row.entity << " " << row.offset;
  }
}

TEST(FaultSearch, ObjectsAreShownByExample) {
  const Behaviour& disk = behaviour_of(fault_of("storage", 996, "equipment-degraded"), "SENSOR");
  ASSERT_EQ(disk.objects.size(), 3U);
  EXPECT_EQ(disk.objects[0].first, "sys/rack-unit-1/board/storage-SAS-SLOT-2/pd-7");
  EXPECT_EQ(disk.objects[2].first, "sys/rack-unit-1/board/storage-FLASH-SLOT-2/pd-7");
  const FoundFault& riser = fault_of("pci", 376, "equipment-missing");
  ASSERT_EQ(riser.behaviours.size(), 1U);
  EXPECT_EQ(riser.behaviours[0].objects.size(), 2U);
}

// No filter knows an offset among those that are not tried.
TEST(FaultSearch, OffsetsBetweenAreOfNoInterest) {
  found();
  provide_services([](const std::string& /*fault_dn*/) {}, 0, Log::kOff);
  for (const Entity& entity : entities()) {
    if (entity.name == "sys_board" || entity.name == "cpu" || entity.name == "drive_bp") continue;  // by sensor, below
    for (std::int32_t offset = kTriedOffsets[0].last + 1; offset < kTriedOffsets[1].first; ++offset) {
      for (std::int32_t state = 0; state < 2; ++state) {
        fe_sensor_event event = {};
        event.entity_id = entity.entity_id;
        event.entity_instance = 7;
        event.event_offset = offset;
        event.event_state = state;
        fe_fault_record record = {};
        fe_fault_record* out = &record;
        entity.filter(&event, &out);
        EXPECT_EQ(record.code, 0U) << entity.name << " " << offset;
      }
    }
  }
  const std::pair<const char*, const char*> kSensors[] = {
      {"sys_board", "P1V5_AUX"}, {"cpu", "PVSA_P1"}, {"drive_bp", "HDD_BP1_TEMP"}, {"cmc", "CMC1_TEMP"}};
  for (const auto& [name, sensor] : kSensors) {
    for (std::int32_t offset = kTriedOffsets[0].last; offset <= kTriedOffsets[1].first; ++offset) {
      fe_sensor_event event = {};
      std::string_view(sensor).copy(event.sensor_name, sizeof event.sensor_name - 1);
      event.event_offset = offset;
      event.event_state = 1;
      fe_fault_record record = {};
      fe_fault_record* out = &record;
      static std::map<std::string, std::uint32_t> first;
      EXPECT_EQ(find_entity(name)->filter(&event, &out), 0);
      EXPECT_EQ(record.code, first.try_emplace(name, record.code).first->second) << name << " " << offset;
    }
  }
}

}  // namespace fault_search_test
}  // namespace polaiga::engine
