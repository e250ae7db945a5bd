// A state with something in every member.
#pragma once

#include "follow/state.h"
#include "model/entities.h"

namespace polaiga::ipmi::test {

inline State full_state() {
  State state;
  state.guid = Guid{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 255};
  state.position = {.epoch = ~std::uint64_t{0} - 1,
                    .wants_new_epoch = false,
                    .trail = {{1, SelBytes{1, 0, 2}}, {0xFFFE, SelBytes{0xFE, 0xFF, 0xC0}}},
                    .erased = 0xFFFFFFFF,
                    .cut_at = ReadRecord{7, SelBytes{7, 0, 2}}};
  state.readings = 12;
  state.log_wraps = true;
  const SensorId id{{0x20, 3, 9}, 0x6F};
  state.memory[id] = {.state = {.asserted = 0x8001, .known = 0xFFFF, .data_3 = {{6, 2}}},
                      .records = {.asserted = 1, .known = 3, .data_3 = {}},
                      .undescribed_type = 0xC5};
  state.memory[{{0x20, 0, 1}, 1}] = {};
  state.delivered[{id, "upper ps 1 0 TEMP"}] = {
      .target = {.entity = engine::find_entity("ps"), .sensor = "PS1", .instance = 1, .group = -2, .entity_id = 255},
      .level = 2,
      .down = {{57, 4}, {56, 0}}};
  state.pending = {R"({"id":"a"})", R"({"id":"b"})"};
  return state;
}

}  // namespace polaiga::ipmi::test
