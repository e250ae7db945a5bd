// Filters over sensor rows that the host supplies: drive backplanes and the
// chassis management controller.
#pragma once

#include <polaiga/records.h>
#include <polaiga/tables.h>

#include <cstdint>
#include <span>
#include <string_view>

#include "framework/framing.h"
#include "framework/sensor_rows.h"

namespace polaiga {

// What distinguishes one such filter from the other.
struct HostRowFilter {
  FaultClass fault_class;
  const fe_sensor_map_row* rows;
  const std::int32_t* row_count;
  const fe_sensor_map_row* unknown;         // stands for the row of an unknown sensor; null: its events are rejected
  Sensors (*group_of)(const char* sensor);  // the group of sensors that it belongs to
  std::span<const RowRule> rules;           // for all events
};

// Handles one event. `states` is what the filter remembers.
std::int32_t filter_event(const HostRowFilter& filter, RowStates states, const fe_sensor_event* ev,
                          fe_fault_record** out);

}  // namespace polaiga
