#include <gtest/gtest.h>

#include "support/table_image.h"

namespace polaiga::test {
namespace ent_cpu_map_test {

// clang-format off
const SensorRow kRows[] = {
    {"P_CATERR_N", 3, 1, 1, 7, 174, 214, "fltProcessorUnitInoperable", "equipment-inoperable", "sys/rack-unit-1/board", "board",
     "A catastrophic fault has occurred on one of the processors: Please check the processors' status.", {174, 174, 174, 174, 174}},
    {"P1_PROCHOT", 3, 2, 1, 7, 174, 214, "fltProcessorUnitInoperable", "equipment-inoperable", "sys/rack-unit-1/board/cpu-1", "cpu-1",
     "Processor 1 is operating at a high temperature: Check cooling", {174, 174, 174, 174, 174}},
    {"P2_PROCHOT", 3, 3, 2, 7, 174, 214, "fltProcessorUnitInoperable", "equipment-inoperable", "sys/rack-unit-1/board/cpu-2", "cpu-2",
     "Processor 2 is operating at a high temperature: Check cooling", {174, 174, 174, 174, 174}},
    {"PVCCD_P1_VRHOT", 3, 4, 1, 7, 174, 214, "fltProcessorUnitInoperable", "equipment-inoperable", "sys/rack-unit-1/board/cpu-1", "cpu-1",
     "Processor 1 has asserted a Thermal problem: Check cooling", {174, 174, 174, 174, 174}},
    {"PVCCP_P1_VRHOT", 3, 5, 1, 7, 174, 214, "fltProcessorUnitInoperable", "equipment-inoperable", "sys/rack-unit-1/board/cpu-1", "cpu-1",
     "Processor 1 has asserted a Thermal problem: Check cooling", {174, 174, 174, 174, 174}},
    {"PVCCD_P2_VRHOT", 3, 6, 2, 7, 174, 214, "fltProcessorUnitInoperable", "equipment-inoperable", "sys/rack-unit-1/board/cpu-2", "cpu-2",
     "Processor 2 has asserted a Thermal problem: Check cooling", {174, 174, 174, 174, 174}},
    {"PVCCP_P2_VRHOT", 3, 7, 2, 7, 174, 214, "fltProcessorUnitInoperable", "equipment-inoperable", "sys/rack-unit-1/board/cpu-2", "cpu-2",
     "Processor 2 has asserted a Thermal problem: Check cooling", {174, 174, 174, 174, 174}},
    {"P1_MEM23_MEMHOT", 3, 8, 1, 7, 174, 214, "fltProcessorUnitInoperable", "equipment-inoperable", "sys/rack-unit-1/board/cpu-1", "cpu-1",
     "Temperature sensor corresponding to Processor 1 Memory 2/3 has asserted a Thermal Problem: Check server cooling", {174, 174, 174, 174, 174}},
    {"P1_MEM01_MEMHOT", 3, 9, 1, 7, 174, 214, "fltProcessorUnitInoperable", "equipment-inoperable", "sys/rack-unit-1/board/cpu-1", "cpu-1",
     "Temperature sensor corresponding to Processor 1 Memory 1 has asserted a Thermal Problem: Check server cooling", {174, 174, 174, 174, 174}},
    {"P2_MEM23_MEMHOT", 3, 10, 2, 7, 174, 214, "fltProcessorUnitInoperable", "equipment-inoperable", "sys/rack-unit-1/board/cpu-2", "cpu-2",
     "Temperature sensor corresponding to Processor 2 Memory 2/3 has asserted a Thermal Problem: Check server cooling", {174, 174, 174, 174, 174}},
    {"P2_MEM01_MEMHOT", 3, 11, 2, 7, 174, 214, "fltProcessorUnitInoperable", "equipment-inoperable", "sys/rack-unit-1/board/cpu-2", "cpu-2",
     "Temperature sensor corresponding to Processor 2 Memory 1 has asserted a Thermal Problem: Check server cooling", {174, 174, 174, 174, 174}},
    {"P1_PRESENT", 3, 12, 1, 37, 842, 388, "fltProcessorUnitDisabled", "equipment-disabled", "sys/rack-unit-1/board/cpu-1", "cpu-1",
     "Processor 1 missing: Please reseat or replace Processor 1", {842, 842, 842, 842, 842}},
    {"P2_PRESENT", 3, 13, 2, 37, 842, 388, "fltProcessorUnitDisabled", "equipment-disabled", "sys/rack-unit-1/board/cpu-2", "cpu-2",
     "Processor 2 missing: Please reseat or replace Processor 2", {842, 842, 842, 842, 842}},
    {"P1_TEMP_SENS", 3, 14, 1, 1, 175, 215, "fltProcessorUnitThermalNonCritical", "thermal-problem", "sys/rack-unit-1/board/cpu-1", "cpu-1",
     "Processor 1 Thermal threshold has crossed %s threshold: Check cooling", {176, 177, 175, 176, 177}},
    {"P2_TEMP_SENS", 3, 15, 2, 1, 175, 215, "fltProcessorUnitThermalNonCritical", "thermal-problem", "sys/rack-unit-1/board/cpu-2", "cpu-2",
     "Processor 2 Thermal threshold has crossed %s threshold: Check cooling", {176, 177, 175, 176, 177}},
    {"PVTT_DDR_AB", 3, 16, 1, 2, 178, 216, "fltProcessorUnitVoltageThresholdNonCritical", "voltage-problem", "sys/rack-unit-1/board/cpu-1", "cpu-1",
     "Memory channel (AB) voltage is %s", {179, 180, 178, 179, 180}},
    {"PVTT_DDR_CD", 3, 17, 1, 2, 178, 216, "fltProcessorUnitVoltageThresholdNonCritical", "voltage-problem", "sys/rack-unit-1/board/cpu-1", "cpu-1",
     "Memory channel (CD) voltage is %s", {179, 180, 178, 179, 180}},
    {"PVTT_DDR_EF", 3, 18, 2, 2, 178, 216, "fltProcessorUnitVoltageThresholdNonCritical", "voltage-problem", "sys/rack-unit-1/board/cpu-2", "cpu-2",
     "Memory channel (EF) voltage is %s", {179, 180, 178, 179, 180}},
    {"PVTT_DDR_GH", 3, 19, 2, 2, 178, 216, "fltProcessorUnitVoltageThresholdNonCritical", "voltage-problem", "sys/rack-unit-1/board/cpu-2", "cpu-2",
     "Memory channel (GH) voltage is %s", {179, 180, 178, 179, 180}},
    {"PVTT_P1", 3, 20, 1, 2, 178, 216, "fltProcessorUnitVoltageThresholdNonCritical", "voltage-problem", "sys/rack-unit-1/board/cpu-1", "cpu-1",
     "Processor - 1 voltage is %s", {179, 180, 178, 179, 180}},
    {"PVDDQ_AB", 3, 21, 1, 2, 178, 216, "fltProcessorUnitVoltageThresholdNonCritical", "voltage-problem", "sys/rack-unit-1/board/cpu-1", "cpu-1",
     "Memory channel (AB) voltage is %s", {179, 180, 178, 179, 180}},
    {"PVDDQ_CD", 3, 22, 1, 2, 178, 216, "fltProcessorUnitVoltageThresholdNonCritical", "voltage-problem", "sys/rack-unit-1/board/cpu-1", "cpu-1",
     "Memory channel (CD) voltage is %s", {179, 180, 178, 179, 180}},
    {"PVSA_P1", 3, 23, 1, 2, 178, 216, "fltProcessorUnitVoltageThresholdNonCritical", "voltage-problem", "sys/rack-unit-1/board/cpu-1", "cpu-1",
     "Processor 1 voltage is %s", {179, 180, 178, 179, 180}},
    {"PVPLL_P1", 3, 24, 1, 2, 178, 216, "fltProcessorUnitVoltageThresholdNonCritical", "voltage-problem", "sys/rack-unit-1/board/cpu-1", "cpu-1",
     "Processor 1 voltage is %s", {179, 180, 178, 179, 180}},
    {"PVCCP_P1", 3, 25, 1, 2, 178, 216, "fltProcessorUnitVoltageThresholdNonCritical", "voltage-problem", "sys/rack-unit-1/board/cpu-1", "cpu-1",
     "Processor 1 voltage is %s", {179, 180, 178, 179, 180}},
    {"PVTT_P2", 3, 26, 2, 2, 178, 216, "fltProcessorUnitVoltageThresholdNonCritical", "voltage-problem", "sys/rack-unit-1/board/cpu-2", "cpu-2",
     "Processor 2 voltage is %s", {179, 180, 178, 179, 180}},
    {"PVSA_P2", 3, 27, 2, 2, 178, 216, "fltProcessorUnitVoltageThresholdNonCritical", "voltage-problem", "sys/rack-unit-1/board/cpu-2", "cpu-2",
     "Processor 2 voltage is %s", {179, 180, 178, 179, 180}},
    {"PVCCP_P2", 3, 28, 2, 2, 178, 216, "fltProcessorUnitVoltageThresholdNonCritical", "voltage-problem", "sys/rack-unit-1/board/cpu-2", "cpu-2",
     "Processor 2 voltage is %s", {179, 180, 178, 179, 180}},
    {"PVDDQ_EF", 3, 29, 2, 2, 178, 216, "fltProcessorUnitVoltageThresholdNonCritical", "voltage-problem", "sys/rack-unit-1/board/cpu-2", "cpu-2",
     "Memory channel (EF) voltage is %s", {179, 180, 178, 179, 180}},
    {"PVDDQ_GH", 3, 30, 2, 2, 178, 216, "fltProcessorUnitVoltageThresholdNonCritical", "voltage-problem", "sys/rack-unit-1/board/cpu-2", "cpu-2",
     "Memory channel (GH) voltage is %s", {179, 180, 178, 179, 180}},
    {"PVPLL_P2", 3, 31, 2, 2, 178, 216, "fltProcessorUnitVoltageThresholdNonCritical", "voltage-problem", "sys/rack-unit-1/board/cpu-2", "cpu-2",
     "Processor 2 voltage is %s", {179, 180, 178, 179, 180}},
    {"P1_THERMTRIP_N", 3, 32, 1, 7, 174, 214, "fltProcessorUnitInoperable", "equipment-inoperable", "sys/rack-unit-1/board/cpu-1", "cpu-1",
     "Processor 1 is inoperable due to high temperature: Check cooling", {174, 174, 174, 174, 174}},
    {"P2_THERMTRIP_N", 3, 33, 1, 7, 174, 214, "fltProcessorUnitInoperable", "equipment-inoperable", "sys/rack-unit-1/board/cpu-2", "cpu-2",
     "Processor 2 is inoperable due to high temperature: Check cooling", {174, 174, 174, 174, 174}},
};
// clang-format on

TEST(EntCpuMap, EveryRow) { expect_sensor_map(Library(), "ent_cpu_map", kRows); }

TEST(EntCpuMap, SizeAndCount) {
  const Library library;
  EXPECT_EQ(symbol_size(library, "ent_cpu_map"), 33U * 484U);
  expect_count(library, "ent_cpu_map_sz", 33);
}

}  // namespace ent_cpu_map_test
}  // namespace polaiga::test
