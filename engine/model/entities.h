// The entity classes: which filter an event is given to.
#pragma once

#include <polaiga/filters.h>

#include <cstdint>
#include <span>
#include <string_view>

namespace polaiga::engine {

struct Entity {
  std::string_view name;
  fe_fault_filter* filter;
  std::uint8_t entity_id;  // of an event that brings none
};

std::span<const Entity> entities();

// Null when this build has no filter of that name.
const Entity* find_entity(std::string_view name);

}  // namespace polaiga::engine
