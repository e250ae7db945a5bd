// The filters over the library's own sensor rows: system board and processors. They
// take fault names and cause texts from the engine's dictionaries.
#pragma once

#include <polaiga/records.h>
#include <polaiga/tables.h>

#include <cstdint>
#include <span>

#include "framework/framing.h"
#include "framework/sensor_rows.h"

namespace polaiga {

// What distinguishes one such filter from the other.
struct DictionaryFilter {
  FaultClass fault_class;
  const fe_sensor_map_row* rows;
  const std::int32_t* row_count;
  std::uint8_t fe_sensor_map_row::*subtype;  // row byte that becomes the entity subtype
  Sensors (*group_of)(const char* sensor);   // the group of sensors that it belongs to
  std::span<const RowRule> thresholds;       // of threshold sensors, for all events
  std::span<const WordRule> words;           // the first that holds counts
  Sensors named_clears;                      // groups whose clear text is the sensor name alone
};

// The rules of discrete sensors, which do not depend on the offset.
// clang-format off
inline constexpr RowRule kDiscreteRules[] = {
    {.when = {.states = kDeasserted},
     .code = Code::kBase, .disposition = Disposition::kPreviousState, .clear_code = Code::kBase, .clear_cause_id = kRowCause},
    {.when = {.states = kAsserted},
     .code = Code::kBase, .disposition = Disposition::kRaise, .clear_code = Code::kNoCode, .clear_cause_id = kNoCause},
};
static_assert(decides_once(kDiscreteRules) && decides_all(kDiscreteRules));
// clang-format on

// Handles one event. `memory` and `states` are what the filter remembers.
std::int32_t filter_event(const DictionaryFilter& filter, Memory& memory, RowStates states, fe_sensor_event* ev,
                          fe_fault_record** out);

}  // namespace polaiga
