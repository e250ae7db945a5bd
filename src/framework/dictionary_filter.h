// Filters over the library's own sensor rows that take fault names and cause
// texts from the engine's dictionaries: system board and processors.
#pragma once

#include <polaiga/records.h>
#include <polaiga/tables.h>

#include <cstdint>
#include <span>

#include "framework/framing.h"
#include "framework/sensor_rows.h"

namespace polaiga {

// What sets one such filter apart.
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

// Discrete sensors, at any offset.
// clang-format off
inline constexpr RowRule kDiscreteRules[] = {
    {.when = {.states = kDeasserted},
     .code = Code::kBase, .disposition = Disposition::kPreviousState, .clear_code = Code::kBase, .clear_cause_id = kRowCause},
    {.when = {.states = kAsserted},
     .code = Code::kBase, .disposition = Disposition::kRaise, .clear_code = Code::kNoCode, .clear_cause_id = kNoCause},
};
static_assert(decides_once(kDiscreteRules) && decides_all(kDiscreteRules));
// clang-format on

// Takes one event through the filter; `memory` and `states` are the filter's own.
std::int32_t filter_event(const DictionaryFilter& filter, Memory& memory, RowStates states, fe_sensor_event* ev,
                          fe_fault_record** out);

}  // namespace polaiga
