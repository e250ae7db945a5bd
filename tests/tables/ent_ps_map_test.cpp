#include <gtest/gtest.h>

#include "support/table_image.h"

namespace polaiga::test {
namespace ent_ps_map_test {

// clang-format off
const SensorRow kRows[] = {
    {"PSU1_PIN", 10, 1, 1, 8, 392, 344, "fltEquipmentPsuPerfThresholdNonCritical", "power-problem", "sys/rack-unit-1/psu-1", "psu-1",
     "Power Supply 1 input power is %s: Reseat or replace Power Supply", {393, 394, 392, 393, 394}},
    {"PSU2_PIN", 10, 2, 2, 8, 392, 344, "fltEquipmentPsuPerfThresholdNonCritical", "power-problem", "sys/rack-unit-1/psu-2", "psu-2",
     "Power Supply 2 input power is %s: Reseat or replace Power Supply", {393, 394, 392, 393, 394}},
    {"PSU1_POUT", 10, 3, 1, 8, 392, 344, "fltEquipmentPsuPerfThresholdNonCritical", "power-problem", "sys/rack-unit-1/psu-1", "psu-1",
     "Power Supply 1 output power is %s: Reseat or replace Power Supply", {393, 394, 392, 393, 394}},
    {"PSU2_POUT", 10, 4, 2, 8, 392, 344, "fltEquipmentPsuPerfThresholdNonCritical", "power-problem", "sys/rack-unit-1/psu-2", "psu-2",
     "Power Supply 2 output power is %s: Reseat or replace Power Supply", {393, 394, 392, 393, 394}},
};
// clang-format on

TEST(EntPsMap, EveryRow) { expect_sensor_map(Library(), "ent_ps_map", kRows); }

TEST(EntPsMap, SizeAndCount) {
  const Library library;
  EXPECT_EQ(symbol_size(library, "ent_ps_map"), 4U * 484U);
  expect_count(library, "ent_ps_map_sz", 4);
}

}  // namespace ent_ps_map_test
}  // namespace polaiga::test
