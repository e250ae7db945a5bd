#include <gtest/gtest.h>

#include "support/table_image.h"

namespace polaiga::test {
namespace ent_map_test {

// clang-format off
const SensorRow kRows[] = {
    {"SEL_FULLNESS", 7, 1, 12, 0, 460, 338, "fltSysdebugMEpLogMEpLogLog", "log-capacity", "sys/rack-unit-1/mgmt/log-SEL-0", "log-SEL-0",
     "System Event log %s", {461, 462, 460, 461, 462}},
    {"BIOSPOST_TIMEOUT", 7, 2, 24, 0, 313, 348, "fltComputePhysicalBiosPostTimeout", "equipment-problem", "sys/rack-unit-1/board", "rack-unit-1/board",
     "BIOS POST Timeout occurred: Contact Kelda TAC", {313, 313, 313, 313, 313}},
    {"POWER_ON_FAIL", 7, 3, 24, 0, 868, 344, "fltComputeBoardPowerFail", "power-problem", "sys/rack-unit-1/board", "rack-unit-1/board",
     "The server failed to power ON: Check Power Supply", {868, 868, 868, 868, 868}},
    {"RISER1_INLET_TMP", 7, 4, 1, 0, 410, 215, "fltEquipmentChassisThermalThresholdNonCritical", "thermal-problem", "sys/rack-unit-1/board", "rack-unit-1/board",
     "Riser 1 inlet temperature has crossed %s threshold: Check device cooling", {409, 411, 410, 409, 411}},
    {"RISER1_OUTLETTMP", 7, 5, 1, 0, 410, 215, "fltEquipmentChassisThermalThresholdNonCritical", "thermal-problem", "sys/rack-unit-1/board", "rack-unit-1/board",
     "Riser 1 outlet temperature has crossed %s threshold: Check device cooling", {409, 411, 410, 409, 411}},
    {"RISER2_INLET_TMP", 7, 6, 1, 0, 410, 215, "fltEquipmentChassisThermalThresholdNonCritical", "thermal-problem", "sys/rack-unit-1/board", "rack-unit-1/board",
     "Riser 2 inlet temperature has crossed %s threshold: Check device cooling", {409, 411, 410, 409, 411}},
    {"RISER2_OUTLETTMP", 7, 7, 1, 0, 410, 215, "fltEquipmentChassisThermalThresholdNonCritical", "thermal-problem", "sys/rack-unit-1/board", "rack-unit-1/board",
     "Riser 2 outlet temperature has crossed %s threshold: Check device cooling", {409, 411, 410, 409, 411}},
    {"P12V_STBY_V_MOIN", 7, 8, 2, 0, 921, 216, "fltComputeBoardMotherBoardVoltageUpperThresholdCritical", "voltage-problem", "sys/rack-unit-1/board", "rack-unit-1/board",
     "Stand-by voltage (12V) to the motherboard is %s: Check the power supply", {921, 919, 920, 920, 918}},
    {"P12V_AUX_V_MOIN", 7, 9, 2, 0, 921, 216, "fltComputeBoardMotherBoardVoltageUpperThresholdCritical", "voltage-problem", "sys/rack-unit-1/board", "rack-unit-1/board",
     "Auxiliary voltage (12V) to the motherboard is %s: Check the power supply", {921, 919, 920, 920, 918}},
    {"P5V_AUX_V_MOIN", 7, 10, 2, 0, 921, 216, "fltComputeBoardMotherBoardVoltageUpperThresholdCritical", "voltage-problem", "sys/rack-unit-1/board", "rack-unit-1/board",
     "Auxiliary voltage (5V) to the motherboard is %s: Check the power supply", {921, 919, 920, 920, 918}},
    {"P12V_V_MOIN", 7, 11, 2, 0, 921, 216, "fltComputeBoardMotherBoardVoltageUpperThresholdCritical", "voltage-problem", "sys/rack-unit-1/board", "rack-unit-1/board",
     "Motherboard voltage (12V) is %s: Check the power supply", {921, 919, 920, 920, 918}},
    {"P5V_V_MOIN", 7, 12, 2, 0, 921, 216, "fltComputeBoardMotherBoardVoltageUpperThresholdCritical", "voltage-problem", "sys/rack-unit-1/board", "rack-unit-1/board",
     "Motherboard voltage (5V) is %s: Check the power supply", {921, 919, 920, 920, 918}},
    {"P3V3_V_MOIN", 7, 13, 2, 0, 921, 216, "fltComputeBoardMotherBoardVoltageUpperThresholdCritical", "voltage-problem", "sys/rack-unit-1/board", "rack-unit-1/board",
     "Motherboard voltage (3.3V) is %s: Check the power supply", {921, 919, 920, 920, 918}},
    {"P1V5_SSB", 7, 14, 2, 0, 921, 216, "fltComputeBoardMotherBoardVoltageUpperThresholdCritical", "voltage-problem", "sys/rack-unit-1/board", "rack-unit-1/board",
     "Motherboard IOH voltage (1.5V) is %s: Check the power supply", {921, 919, 920, 920, 918}},
    {"P1V1_SSB", 7, 15, 2, 0, 921, 216, "fltComputeBoardMotherBoardVoltageUpperThresholdCritical", "voltage-problem", "sys/rack-unit-1/board", "rack-unit-1/board",
     "Motherboard IOH voltage (1.1V) is %s: Check the power supply", {921, 919, 920, 920, 918}},
    {"P3V3_BAT_V_MOIN", 7, 16, 2, 0, 424, 216, "fltComputeBoardMotherBoardVoltageUpperThresholdCritical", "voltage-problem", "sys/rack-unit-1/board", "rack-unit-1/board",
     "Battery voltage level is %s: Replace battery", {424, 425, 424, 424, 425}},
    {"POWER_USAGE", 7, 17, 8, 0, 1040, 344, "fltComputeBoardPowerUsageProblem", "power-problem", "sys/rack-unit-1/board", "rack-unit-1/board",
     "Motherboard Power usage is %s: Check hardware", {1040, 1040, 1040, 1040, 1040}},
    {"P3V3_AUX", 7, 18, 2, 0, 921, 216, "fltComputeBoardMotherBoardVoltageUpperThresholdCritical", "voltage-problem", "sys/rack-unit-1/board", "rack-unit-1/board",
     "Auxiliary voltage (3.3V) to the motherboard is %s: Check the power supply", {921, 919, 920, 920, 918}},
    {"P1V8_AUX", 7, 19, 2, 0, 921, 216, "fltComputeBoardMotherBoardVoltageUpperThresholdCritical", "voltage-problem", "sys/rack-unit-1/board", "rack-unit-1/board",
     "Auxiliary voltage (1.8V) to the motherboard is %s: Check the power supply", {921, 919, 920, 920, 918}},
    {"P1V5_AUX", 7, 20, 2, 0, 921, 216, "fltComputeBoardMotherBoardVoltageUpperThresholdCritical", "voltage-problem", "sys/rack-unit-1/board", "rack-unit-1/board",
     "Auxiliary voltage (1.5V) to the motherboard is %s: Check the power supply", {921, 919, 920, 920, 918}},
    {"P1V0_AUX", 7, 21, 2, 0, 921, 216, "fltComputeBoardMotherBoardVoltageUpperThresholdCritical", "voltage-problem", "sys/rack-unit-1/board", "rack-unit-1/board",
     "Auxiliary voltage (1V) to the motherboard is %s: Check the power supply", {921, 919, 920, 920, 918}},
    {"P1V1_AUX", 7, 22, 2, 0, 921, 216, "fltComputeBoardMotherBoardVoltageUpperThresholdCritical", "voltage-problem", "sys/rack-unit-1/board", "rack-unit-1/board",
     "Auxiliary voltage (1.1V) to the motherboard is %s: Check the power supply", {921, 919, 920, 920, 918}},
    {"P0V75_AUX", 7, 23, 2, 0, 921, 216, "fltComputeBoardMotherBoardVoltageUpperThresholdCritical", "voltage-problem", "sys/rack-unit-1/board", "rack-unit-1/board",
     "Auxiliary voltage (0.75V) to the motherboard is %s: Check the power supply", {921, 919, 920, 920, 918}},
    {"PCH_TEMP_SENS", 7, 24, 1, 0, 869, 215, "fltComputeBoardThermalProblem", "thermal-problem", "sys/rack-unit-1/board", "rack-unit-1/board",
     "Motherboard chipset temperature is %s", {869, 869, 869, 869, 869}},
    {"PCH_THERMTRIP_N", 7, 25, 7, 0, 869, 215, "fltComputeBoardThermalProblem", "thermal-problem", "sys/rack-unit-1/board", "rack-unit-1/board",
     "Motherboard chipset inoperable due to high temperature", {869, 869, 869, 869, 869}},
};
// clang-format on

TEST(EntMap, EveryRow) { expect_sensor_map(Library(), "ent_map", kRows); }

TEST(EntMap, SizeAndCount) {
  const Library library;
  EXPECT_EQ(symbol_size(library, "ent_map"), 25U * 484U);
  expect_count(library, "ent_map_sz", 25);
}

}  // namespace ent_map_test
}  // namespace polaiga::test
