#include <gtest/gtest.h>

#include <cstdint>

#include "support/library.h"

namespace polaiga::test {
namespace lookups_test {

using Lookup = std::int32_t(const char*);

struct Listed {
  const char* sensor_name;
  std::int32_t id;
};

const Listed kFans[] = {
    {"FAN1_TACH1", 1},  {"FAN1_TACH2", 2},  {"FAN2_TACH1", 3},  {"FAN2_TACH2", 4},  {"FAN3_TACH1", 5},
    {"FAN3_TACH2", 6},  {"FAN4_TACH1", 7},  {"FAN4_TACH2", 8},  {"FAN5_TACH1", 9},  {"FAN5_TACH2", 10},
    {"FAN6_TACH1", 11}, {"FAN6_TACH2", 12}, {"FAN1_SPEED", 13}, {"FAN2_SPEED", 14}, {"FAN3_SPEED", 15},
    {"FAN4_SPEED", 16}, {"FAN5_SPEED", 17}, {"FAN6_SPEED", 18},
};

const Listed kSysBoard[] = {
    {"SEL_FULLNESS", 1},     {"P3V_BAT_SCALED", 2},   {"P3V3_BAT_V_MOIN", 3},  {"P1CORE_TEMP", 4},
    {"P2CORE_TEMP", 5},      {"P3CORE_TEMP", 6},      {"P4CORE_TEMP", 7},      {"KELDA_SEL_FULLNESS", 8},
    {"P12V_STBY_V_MOIN", 9}, {"P12V_AUX_V_MOIN", 10}, {"P3V_BAT_V_MOIN", 11},  {"P3V3_AUX", 12},
    {"P1V8_AUX", 13},        {"P1V5_AUX", 14},        {"P1V0_AUX", 16},        {"P1V2_AUX", 17},
    {"P0V75_AUX", 18},       {"P5V_AUX", 19},         {"P1V05_STBY_PCH", 20},  {"P12V_V_MOIN", 21},
    {"P5V_V_MOIN", 23},      {"P3V3_V_MOIN", 24},     {"P1V5_PCH_V_MOIN", 25}, {"P1V05_PCH_V_MOIN", 26},
    {"PVCCIO_V_MOIN", 27},
};

const Listed kProcessors[] = {
    {"P1_VCORE_TEMP", 1},    {"P2_VCORE_TEMP", 2}, {"P3_VCORE_TEMP", 3}, {"P4_VCORE_TEMP", 4}, {"PVCCIN_P1_V_MOIN", 5},
    {"PVCCIN_P2_V_MOIN", 6}, {"PVDDQ_AB", 7},      {"PVDDQ_CD", 8},      {"PVDDQ_EF", 9},      {"PVDDQ_GH", 10},
    {"PVTT_DDR_AB", 11},     {"PVTT_DDR_CD", 12},  {"PVTT_DDR_EF", 13},  {"PVTT_DDR_GH", 14},  {"PVPP_AB", 15},
    {"PVPP_CD", 16},         {"PVPP_EF", 17},      {"PVPP_GH", 18},      {"P1_TEMP_SENS", 19}, {"P2_TEMP_SENS", 20},
};

// Names that are in none of the lists.
const char* const kUnlisted[] = {
    "",
    " ",
    "FAN7_TACH1",
    "FAN0_SPEED",
    "FAN10_TACH1",
    "FAN1_TACH",
    "FAN1_TACH11",
    "FAN1_TACH1 ",
    " FAN1_TACH1",
    "fan1_tach1",
    "Fan6_SPEED",
    "sel_fullness",
    "SEL_FULLNES",
    "SEL_FULLNESS_",
    "KELDA_SEL_FULLNES",
    "P1V1_AUX",
    "P5V_AUX_V_MOIN",
    "P1V5_SSB",
    "POWER_USAGE",
    "p1v0_aux",
    "P5CORE_TEMP",
    "P3_TEMP_SENS",
    "P1_TEMP_SEN",
    "P1_TEMP_SENSX",
    "PVTT_P1",
    "PVDDQ_ab",
    "PVCCIN_P3_V_MOIN",
    "ABCDEFGHIJKLMNOPQRST",
    "KELDA_SEL_FULLNESSXX",
    "FAN1_TACH1FAN1_TACH1FAN1_TACH1FAN1_TACH1FAN1_TACH1FAN1_TACH1FAN1_TACH1",
};

class LookupsTest : public ::testing::Test {
 protected:
  template <std::size_t N>
  static void expect_ids(Lookup* lookup, const Listed (&list)[N]) {
    for (const Listed& listed : list) EXPECT_EQ(lookup(listed.sensor_name), listed.id) << listed.sensor_name;
    for (const char* name : kUnlisted) EXPECT_EQ(lookup(name), -1) << name;
  }

  template <std::size_t N>
  static void expect_none(Lookup* lookup, const Listed (&list)[N]) {
    for (const Listed& listed : list) EXPECT_EQ(lookup(listed.sensor_name), -1) << listed.sensor_name;
  }

  Library library_;
  Lookup* fans_ = library_.get<Lookup>("expectional_fan_sensor_lookup");
  Lookup* sys_board_ = library_.get<Lookup>("expectional_sensor_lookup");
  Lookup* processors_ = library_.get<Lookup>("exceptional_sensor_lookup");
};

TEST_F(LookupsTest, Fans) { expect_ids(fans_, kFans); }
TEST_F(LookupsTest, SysBoard) { expect_ids(sys_board_, kSysBoard); }
TEST_F(LookupsTest, Processors) { expect_ids(processors_, kProcessors); }

TEST_F(LookupsTest, EachSearchesItsOwnListOnly) {
  expect_none(fans_, kSysBoard);
  expect_none(fans_, kProcessors);
  expect_none(sys_board_, kFans);
  expect_none(sys_board_, kProcessors);
  expect_none(processors_, kFans);
  expect_none(processors_, kSysBoard);
}

}  // namespace lookups_test
}  // namespace polaiga::test
