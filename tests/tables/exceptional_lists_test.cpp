#include <gtest/gtest.h>

#include "support/table_image.h"

namespace polaiga::test {
namespace exceptional_lists_test {

struct ListRow {
  std::int32_t id;
  const char* sensor_name;
};

const ListRow kFans[] = {
    {1, "FAN1_TACH1"},  {2, "FAN1_TACH2"},  {3, "FAN2_TACH1"},  {4, "FAN2_TACH2"},  {5, "FAN3_TACH1"},
    {6, "FAN3_TACH2"},  {7, "FAN4_TACH1"},  {8, "FAN4_TACH2"},  {9, "FAN5_TACH1"},  {10, "FAN5_TACH2"},
    {11, "FAN6_TACH1"}, {12, "FAN6_TACH2"}, {13, "FAN1_SPEED"}, {14, "FAN2_SPEED"}, {15, "FAN3_SPEED"},
    {16, "FAN4_SPEED"}, {17, "FAN5_SPEED"}, {18, "FAN6_SPEED"}, {-1, ""},
};

const ListRow kSysBoard[] = {
    {1, "SEL_FULLNESS"},     {2, "P3V_BAT_SCALED"},
    {3, "P3V3_BAT_V_MOIN"},  {4, "P1CORE_TEMP"},
    {5, "P2CORE_TEMP"},      {6, "P3CORE_TEMP"},
    {7, "P4CORE_TEMP"},      {8, "KELDA_SEL_FULLNESS"},
    {9, "P12V_STBY_V_MOIN"}, {10, "P12V_AUX_V_MOIN"},
    {11, "P3V_BAT_V_MOIN"},  {12, "P3V3_AUX"},
    {13, "P1V8_AUX"},        {14, "P1V5_AUX"},
    {16, "P1V0_AUX"},        {17, "P1V2_AUX"},
    {18, "P0V75_AUX"},       {19, "P5V_AUX"},
    {20, "P1V05_STBY_PCH"},  {21, "P12V_V_MOIN"},
    {23, "P5V_V_MOIN"},      {24, "P3V3_V_MOIN"},
    {25, "P1V5_PCH_V_MOIN"}, {26, "P1V05_PCH_V_MOIN"},
    {27, "PVCCIO_V_MOIN"},   {-1, ""},
};

const ListRow kProcessors[] = {
    {1, "P1_VCORE_TEMP"}, {2, "P2_VCORE_TEMP"},    {3, "P3_VCORE_TEMP"},
    {4, "P4_VCORE_TEMP"}, {5, "PVCCIN_P1_V_MOIN"}, {6, "PVCCIN_P2_V_MOIN"},
    {7, "PVDDQ_AB"},      {8, "PVDDQ_CD"},         {9, "PVDDQ_EF"},
    {10, "PVDDQ_GH"},     {11, "PVTT_DDR_AB"},     {12, "PVTT_DDR_CD"},
    {13, "PVTT_DDR_EF"},  {14, "PVTT_DDR_GH"},     {15, "PVPP_AB"},
    {16, "PVPP_CD"},      {17, "PVPP_EF"},         {18, "PVPP_GH"},
    {19, "P1_TEMP_SENS"}, {20, "P2_TEMP_SENS"},    {-1, ""},
};

template <std::size_t N>
void expect_list(const char* name, const ListRow (&rows)[N]) {
  std::vector<Bytes> images;
  for (const ListRow& row : rows) {
    Bytes image(24);
    place(image, 0, static_cast<std::uint32_t>(row.id));
    place(image, 4, row.sensor_name);
    images.push_back(image);
  }
  expect_table(Library(), name, images);
}

TEST(ExceptionalLists, Fans) { expect_list("exceptional_fan_sensor_map", kFans); }
TEST(ExceptionalLists, SysBoard) { expect_list("exceptional_sensor_map", kSysBoard); }
TEST(ExceptionalLists, Processors) { expect_list("exceptional_sensor_map_cpu", kProcessors); }

// The sizes include the last row, which ends the list.
TEST(ExceptionalLists, Sizes) {
  const Library library;
  EXPECT_EQ(symbol_size(library, "exceptional_fan_sensor_map"), 19U * 24U);
  EXPECT_EQ(symbol_size(library, "exceptional_sensor_map"), 26U * 24U);
  EXPECT_EQ(symbol_size(library, "exceptional_sensor_map_cpu"), 21U * 24U);
}

}  // namespace exceptional_lists_test
}  // namespace polaiga::test
