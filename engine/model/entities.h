// The entity classes, each with the filter that gets its events. This is the only
// list of the filters; every part of the program and of its tools takes it from here.
#pragma once

#include <polaiga/filters.h>

#include <cstdint>
#include <span>
#include <string_view>

namespace polaiga::engine {

struct Entity {
  std::string_view name;
  fe_fault_filter* filter;
  std::uint8_t entity_id;  // for an event that does not bring one
};

// In the order of polaiga/filters.h.
std::span<const Entity> entities();

// Null if there is no entity class of that name.
const Entity* find_entity(std::string_view name);

}  // namespace polaiga::engine
