// Sensors of the processors and of their memory channels.
#include "tables/row.h"

namespace polaiga {
namespace {

enum : std::uint8_t { kTemperature = 1, kVoltage = 2, kProcessor = 7, kPresence = 37 };

constexpr RowObject kBoard{3, "sys/rack-unit-1/board", "board"};
constexpr RowObject kProcessor1{3, "sys/rack-unit-1/board/cpu-1", "cpu-1"};
constexpr RowObject kProcessor2{3, "sys/rack-unit-1/board/cpu-2", "cpu-2"};

// The names of the critical and non-recoverable codes are not in the row: they come from
// the engine's dictionary.
constexpr RowKind kInoperable{
    174, 214, "fltProcessorUnitInoperable", "equipment-inoperable", {174, 174, 174, 174, 174}};
constexpr RowKind kDisabled{842, 388, "fltProcessorUnitDisabled", "equipment-disabled", {842, 842, 842, 842, 842}};
constexpr RowKind kThermal{
    175, 215, "fltProcessorUnitThermalNonCritical", "thermal-problem", {176, 177, 175, 176, 177}};
constexpr RowKind kVoltageThreshold{
    178, 216, "fltProcessorUnitVoltageThresholdNonCritical", "voltage-problem", {179, 180, 178, 179, 180}};

}  // namespace
}  // namespace polaiga

using namespace polaiga;

// The subtype is the number of the processor, except in row 33, where it is 1: intended.
// clang-format off
constexpr fe_sensor_map_row ent_cpu_map[] = {
    make_row(1, "P_CATERR_N", kBoard, 1, kProcessor, kInoperable, "A catastrophic fault has occurred on one of the processors: Please check the processors' status."),
    make_row(2, "P1_PROCHOT", kProcessor1, 1, kProcessor, kInoperable, "Processor 1 is operating at a high temperature: Check cooling"),
    make_row(3, "P2_PROCHOT", kProcessor2, 2, kProcessor, kInoperable, "Processor 2 is operating at a high temperature: Check cooling"),
    make_row(4, "PVCCD_P1_VRHOT", kProcessor1, 1, kProcessor, kInoperable, "Processor 1 has asserted a Thermal problem: Check cooling"),
    make_row(5, "PVCCP_P1_VRHOT", kProcessor1, 1, kProcessor, kInoperable, "Processor 1 has asserted a Thermal problem: Check cooling"),
    make_row(6, "PVCCD_P2_VRHOT", kProcessor2, 2, kProcessor, kInoperable, "Processor 2 has asserted a Thermal problem: Check cooling"),
    make_row(7, "PVCCP_P2_VRHOT", kProcessor2, 2, kProcessor, kInoperable, "Processor 2 has asserted a Thermal problem: Check cooling"),
    make_row(8, "P1_MEM23_MEMHOT", kProcessor1, 1, kProcessor, kInoperable, "Temperature sensor corresponding to Processor 1 Memory 2/3 has asserted a Thermal Problem: Check server cooling"),
    make_row(9, "P1_MEM01_MEMHOT", kProcessor1, 1, kProcessor, kInoperable, "Temperature sensor corresponding to Processor 1 Memory 1 has asserted a Thermal Problem: Check server cooling"),
    make_row(10, "P2_MEM23_MEMHOT", kProcessor2, 2, kProcessor, kInoperable, "Temperature sensor corresponding to Processor 2 Memory 2/3 has asserted a Thermal Problem: Check server cooling"),
    make_row(11, "P2_MEM01_MEMHOT", kProcessor2, 2, kProcessor, kInoperable, "Temperature sensor corresponding to Processor 2 Memory 1 has asserted a Thermal Problem: Check server cooling"),
    make_row(12, "P1_PRESENT", kProcessor1, 1, kPresence, kDisabled, "Processor 1 missing: Please reseat or replace Processor 1"),
    make_row(13, "P2_PRESENT", kProcessor2, 2, kPresence, kDisabled, "Processor 2 missing: Please reseat or replace Processor 2"),
    make_row(14, "P1_TEMP_SENS", kProcessor1, 1, kTemperature, kThermal, "Processor 1 Thermal threshold has crossed %s threshold: Check cooling"),
    make_row(15, "P2_TEMP_SENS", kProcessor2, 2, kTemperature, kThermal, "Processor 2 Thermal threshold has crossed %s threshold: Check cooling"),
    make_row(16, "PVTT_DDR_AB", kProcessor1, 1, kVoltage, kVoltageThreshold, "Memory channel (AB) voltage is %s"),
    make_row(17, "PVTT_DDR_CD", kProcessor1, 1, kVoltage, kVoltageThreshold, "Memory channel (CD) voltage is %s"),
    make_row(18, "PVTT_DDR_EF", kProcessor2, 2, kVoltage, kVoltageThreshold, "Memory channel (EF) voltage is %s"),
    make_row(19, "PVTT_DDR_GH", kProcessor2, 2, kVoltage, kVoltageThreshold, "Memory channel (GH) voltage is %s"),
    make_row(20, "PVTT_P1", kProcessor1, 1, kVoltage, kVoltageThreshold, "Processor - 1 voltage is %s"),
    make_row(21, "PVDDQ_AB", kProcessor1, 1, kVoltage, kVoltageThreshold, "Memory channel (AB) voltage is %s"),
    make_row(22, "PVDDQ_CD", kProcessor1, 1, kVoltage, kVoltageThreshold, "Memory channel (CD) voltage is %s"),
    make_row(23, "PVSA_P1", kProcessor1, 1, kVoltage, kVoltageThreshold, "Processor 1 voltage is %s"),
    make_row(24, "PVPLL_P1", kProcessor1, 1, kVoltage, kVoltageThreshold, "Processor 1 voltage is %s"),
    make_row(25, "PVCCP_P1", kProcessor1, 1, kVoltage, kVoltageThreshold, "Processor 1 voltage is %s"),
    make_row(26, "PVTT_P2", kProcessor2, 2, kVoltage, kVoltageThreshold, "Processor 2 voltage is %s"),
    make_row(27, "PVSA_P2", kProcessor2, 2, kVoltage, kVoltageThreshold, "Processor 2 voltage is %s"),
    make_row(28, "PVCCP_P2", kProcessor2, 2, kVoltage, kVoltageThreshold, "Processor 2 voltage is %s"),
    make_row(29, "PVDDQ_EF", kProcessor2, 2, kVoltage, kVoltageThreshold, "Memory channel (EF) voltage is %s"),
    make_row(30, "PVDDQ_GH", kProcessor2, 2, kVoltage, kVoltageThreshold, "Memory channel (GH) voltage is %s"),
    make_row(31, "PVPLL_P2", kProcessor2, 2, kVoltage, kVoltageThreshold, "Processor 2 voltage is %s"),
    make_row(32, "P1_THERMTRIP_N", kProcessor1, 1, kProcessor, kInoperable, "Processor 1 is inoperable due to high temperature: Check cooling"),
    make_row(33, "P2_THERMTRIP_N", kProcessor2, 1, kProcessor, kInoperable, "Processor 2 is inoperable due to high temperature: Check cooling"),
};
// clang-format on
static_assert(numbered(ent_cpu_map));
constinit std::int32_t ent_cpu_map_sz = std::size(ent_cpu_map);
