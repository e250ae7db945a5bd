// Sensors of the system board.
#include "tables/row.h"

namespace polaiga {
namespace {

// The classes of board sensors. They stand in the subtype byte; the class byte is always 0.
enum : std::uint8_t {
  kNoClass = 0,
  kTemperature = 1,
  kVoltage = 2,
  kTrip = 7,
  kPowerUse = 8,
  kEventLog = 12,
  kPowerOn = 24
};

constexpr RowObject kBoard{7, "sys/rack-unit-1/board", "rack-unit-1/board"};
constexpr RowObject kEventLogObject{7, "sys/rack-unit-1/mgmt/log-SEL-0", "log-SEL-0"};

constexpr RowKind kLogCapacity{460, 338, "fltSysdebugMEpLogMEpLogLog", "log-capacity", {461, 462, 460, 461, 462}};
constexpr RowKind kBiosPostTimeout{
    313, 348, "fltComputePhysicalBiosPostTimeout", "equipment-problem", {313, 313, 313, 313, 313}};
constexpr RowKind kPowerFail{868, 344, "fltComputeBoardPowerFail", "power-problem", {868, 868, 868, 868, 868}};
constexpr RowKind kRiserThermal{
    410, 215, "fltEquipmentChassisThermalThresholdNonCritical", "thermal-problem", {409, 411, 410, 409, 411}};
constexpr RowKind kVoltageThreshold{
    921, 216, "fltComputeBoardMotherBoardVoltageUpperThresholdCritical", "voltage-problem", {921, 919, 920, 920, 918}};
constexpr RowKind kBattery{
    424, 216, "fltComputeBoardMotherBoardVoltageUpperThresholdCritical", "voltage-problem", {424, 425, 424, 424, 425}};
constexpr RowKind kPowerUsage{
    1040, 344, "fltComputeBoardPowerUsageProblem", "power-problem", {1040, 1040, 1040, 1040, 1040}};
constexpr RowKind kBoardThermal{
    869, 215, "fltComputeBoardThermalProblem", "thermal-problem", {869, 869, 869, 869, 869}};

}  // namespace
}  // namespace polaiga

using namespace polaiga;

// clang-format off
constexpr fe_sensor_map_row ent_map[] = {
    make_row(1, "SEL_FULLNESS", kEventLogObject, kEventLog, kNoClass, kLogCapacity, "System Event log %s"),
    make_row(2, "BIOSPOST_TIMEOUT", kBoard, kPowerOn, kNoClass, kBiosPostTimeout, "BIOS POST Timeout occurred: Contact Kelda TAC"),
    make_row(3, "POWER_ON_FAIL", kBoard, kPowerOn, kNoClass, kPowerFail, "The server failed to power ON: Check Power Supply"),
    make_row(4, "RISER1_INLET_TMP", kBoard, kTemperature, kNoClass, kRiserThermal, "Riser 1 inlet temperature has crossed %s threshold: Check device cooling"),
    make_row(5, "RISER1_OUTLETTMP", kBoard, kTemperature, kNoClass, kRiserThermal, "Riser 1 outlet temperature has crossed %s threshold: Check device cooling"),
    make_row(6, "RISER2_INLET_TMP", kBoard, kTemperature, kNoClass, kRiserThermal, "Riser 2 inlet temperature has crossed %s threshold: Check device cooling"),
    make_row(7, "RISER2_OUTLETTMP", kBoard, kTemperature, kNoClass, kRiserThermal, "Riser 2 outlet temperature has crossed %s threshold: Check device cooling"),
    make_row(8, "P12V_STBY_V_MOIN", kBoard, kVoltage, kNoClass, kVoltageThreshold, "Stand-by voltage (12V) to the motherboard is %s: Check the power supply"),
    make_row(9, "P12V_AUX_V_MOIN", kBoard, kVoltage, kNoClass, kVoltageThreshold, "Auxiliary voltage (12V) to the motherboard is %s: Check the power supply"),
    make_row(10, "P5V_AUX_V_MOIN", kBoard, kVoltage, kNoClass, kVoltageThreshold, "Auxiliary voltage (5V) to the motherboard is %s: Check the power supply"),
    make_row(11, "P12V_V_MOIN", kBoard, kVoltage, kNoClass, kVoltageThreshold, "Motherboard voltage (12V) is %s: Check the power supply"),
    make_row(12, "P5V_V_MOIN", kBoard, kVoltage, kNoClass, kVoltageThreshold, "Motherboard voltage (5V) is %s: Check the power supply"),
    make_row(13, "P3V3_V_MOIN", kBoard, kVoltage, kNoClass, kVoltageThreshold, "Motherboard voltage (3.3V) is %s: Check the power supply"),
    make_row(14, "P1V5_SSB", kBoard, kVoltage, kNoClass, kVoltageThreshold, "Motherboard IOH voltage (1.5V) is %s: Check the power supply"),
    make_row(15, "P1V1_SSB", kBoard, kVoltage, kNoClass, kVoltageThreshold, "Motherboard IOH voltage (1.1V) is %s: Check the power supply"),
    make_row(16, "P3V3_BAT_V_MOIN", kBoard, kVoltage, kNoClass, kBattery, "Battery voltage level is %s: Replace battery"),
    make_row(17, "POWER_USAGE", kBoard, kPowerUse, kNoClass, kPowerUsage, "Motherboard Power usage is %s: Check hardware"),
    make_row(18, "P3V3_AUX", kBoard, kVoltage, kNoClass, kVoltageThreshold, "Auxiliary voltage (3.3V) to the motherboard is %s: Check the power supply"),
    make_row(19, "P1V8_AUX", kBoard, kVoltage, kNoClass, kVoltageThreshold, "Auxiliary voltage (1.8V) to the motherboard is %s: Check the power supply"),
    make_row(20, "P1V5_AUX", kBoard, kVoltage, kNoClass, kVoltageThreshold, "Auxiliary voltage (1.5V) to the motherboard is %s: Check the power supply"),
    make_row(21, "P1V0_AUX", kBoard, kVoltage, kNoClass, kVoltageThreshold, "Auxiliary voltage (1V) to the motherboard is %s: Check the power supply"),
    make_row(22, "P1V1_AUX", kBoard, kVoltage, kNoClass, kVoltageThreshold, "Auxiliary voltage (1.1V) to the motherboard is %s: Check the power supply"),
    make_row(23, "P0V75_AUX", kBoard, kVoltage, kNoClass, kVoltageThreshold, "Auxiliary voltage (0.75V) to the motherboard is %s: Check the power supply"),
    make_row(24, "PCH_TEMP_SENS", kBoard, kTemperature, kNoClass, kBoardThermal, "Motherboard chipset temperature is %s"),
    make_row(25, "PCH_THERMTRIP_N", kBoard, kTrip, kNoClass, kBoardThermal, "Motherboard chipset inoperable due to high temperature"),
};
// clang-format on
static_assert(numbered(ent_map));
constinit std::int32_t ent_map_sz = std::size(ent_map);
