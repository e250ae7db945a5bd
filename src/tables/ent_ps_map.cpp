// Power readings of the power supplies.
#include "tables/row.h"

namespace polaiga {
namespace {

enum : std::uint8_t { kPowerSupply = 8 };

constexpr RowObject kSupply1{10, "sys/rack-unit-1/psu-1", "psu-1"};
constexpr RowObject kSupply2{10, "sys/rack-unit-1/psu-2", "psu-2"};

constexpr RowKind kPower{
    392, 344, "fltEquipmentPsuPerfThresholdNonCritical", "power-problem", {393, 394, 392, 393, 394}};

}  // namespace
}  // namespace polaiga

using namespace polaiga;

// clang-format off
constexpr fe_sensor_map_row ent_ps_map[] = {
    make_row(1, "PSU1_PIN", kSupply1, 1, kPowerSupply, kPower, "Power Supply 1 input power is %s: Reseat or replace Power Supply"),
    make_row(2, "PSU2_PIN", kSupply2, 2, kPowerSupply, kPower, "Power Supply 2 input power is %s: Reseat or replace Power Supply"),
    make_row(3, "PSU1_POUT", kSupply1, 1, kPowerSupply, kPower, "Power Supply 1 output power is %s: Reseat or replace Power Supply"),
    make_row(4, "PSU2_POUT", kSupply2, 2, kPowerSupply, kPower, "Power Supply 2 output power is %s: Reseat or replace Power Supply"),
};
// clang-format on
static_assert(numbered(ent_ps_map));
constinit std::int32_t ent_ps_map_sz = std::size(ent_ps_map);
