#include "model/entities.h"

#include <algorithm>

namespace polaiga::engine {
namespace {

// The order is that of polaiga/filters.h. The ids are those of the IPMI entities,
// but for 208 and 212: these belong to the range that IPMI leaves to the maker.
constexpr Entity kEntities[] = {
    {"sys_board", process_sys_board_fault, 7},
    {"fan", process_fan_fault, 29},
    {"ps", process_ps_fault, 10},
    {"cpu", process_cpu_fault, 3},
    {"mem", process_mem_fault, 32},
    {"fw_bios_post", process_fw_bios_post_fault, 34},
    {"pci", process_pci_fault, 48},
    {"add_in", process_add_in_fault, 11},
    {"caddora", process_caddora_fault, 212},
    {"storage", process_storage_fault, 208},
    {"drive_bp", process_drive_bp_fault, 15},
    {"chassis", process_chassis_fault, 23},
    {"front_panel", process_front_panel_fault, 12},
    {"nm", process_nm_fault, 46},
    {"ne", process_ne_fault, 38},
    {"cmc", process_cmc_fault, 6},
};

}  // namespace

std::span<const Entity> entities() { return kEntities; }

const Entity* find_entity(std::string_view name) {
  const auto* const found = std::ranges::find(kEntities, name, &Entity::name);
  return found != std::end(kEntities) ? found : nullptr;
}

}  // namespace polaiga::engine
