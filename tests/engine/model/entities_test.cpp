#include "model/entities.h"

#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <set>

namespace polaiga::engine {
namespace entities_test {

// In the order of polaiga/filters.h.
TEST(Entities, EachHasItsFilterAndId) {
  const struct {
    const char* name;
    fe_fault_filter* filter;
    int entity_id;
  } kRows[] = {
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
  ASSERT_EQ(entities().size(), std::size(kRows));
  for (std::size_t i = 0; i < std::size(kRows); ++i) {
    const Entity& entity = entities()[i];
    EXPECT_EQ(entity.name, kRows[i].name);
    EXPECT_EQ(entity.filter, kRows[i].filter) << kRows[i].name;
    EXPECT_EQ(entity.entity_id, kRows[i].entity_id) << kRows[i].name;
    EXPECT_EQ(find_entity(kRows[i].name), &entity) << kRows[i].name;
  }
}

TEST(Entities, NamesAreExact) {
  for (const char* name : {"", "Fan", "fan ", "fa", "fans", "sys-board"}) EXPECT_EQ(find_entity(name), nullptr) << name;
}

TEST(Entities, TheSchemaHasTheSameNames) {
  std::ifstream file(POLAIGA_SOURCE_DIR "/docs/schemas/event.schema.json");
  const auto schema = nlohmann::json::parse(file);
  std::set<std::string> known;
  for (const auto& name : schema["properties"]["entity"]["enum"]) known.insert(name);
  std::set<std::string> names;
  for (const Entity& entity : entities()) names.emplace(entity.name);
  EXPECT_EQ(known, names);
}

}  // namespace entities_test
}  // namespace polaiga::engine
