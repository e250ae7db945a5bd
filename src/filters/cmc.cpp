// The chassis management controller: the upper thresholds of the sensors that the host
// describes in its table ent_cmc_map.
#include <polaiga/filters.h>

#include "framework/host_row_filter.h"

namespace polaiga {
namespace {

// An unknown sensor is reported, too, with empty texts and zero codes: intended.
constexpr fe_sensor_map_row kBlankRow{};

Sensors group_of(const char* /*sensor*/) { return kAnySensor; }

constinit std::uint32_t cmc_last_state[FE_HOST_TABLE_ROWS] = {};

// The cause of every clear, whatever cause the row has: intended.
constexpr ClearCauseId kThermal = id_of(kThermalProblem);

using enum Code;
using enum Disposition;

// clang-format off
constexpr RowRule kRules[] = {
    {.when = {.offsets = FE_OFFSET_UPPER_NON_CRITICAL, .states = kAsserted},
     .code = kBase, .disposition = kRaise, .clear_code = kNoCode, .clear_cause_id = kNoCause, .words = "upper non-critical"},
    {.when = {.offsets = FE_OFFSET_UPPER_NON_CRITICAL, .states = kDeasserted},
     .code = kBase, .disposition = kNonCritical, .clear_code = kBase, .clear_cause_id = kThermal, .words = "upper non-critical"},

    {.when = {.offsets = FE_OFFSET_UPPER_CRITICAL, .states = kDeasserted},
     .code = kUpperCritical, .disposition = kCritical, .clear_code = kUpperCritical, .clear_cause_id = kThermal, .words = "upper critical"},
    {.when = {.offsets = FE_OFFSET_UPPER_CRITICAL, .states = only(5)},
     .code = kUpperCritical, .disposition = kNonCritical, .clear_code = kUpperNonCritical, .clear_cause_id = kThermal, .words = "upper critical"},
    {.when = {.offsets = FE_OFFSET_UPPER_CRITICAL, .states = except(0, 5)},
     .code = kUpperNonCritical, .disposition = kCritical, .clear_code = kUpperCritical, .clear_cause_id = kThermal, .words = "upper non-critical"},

    // The level has fallen from non-recoverable to critical: the words are those of the level
    // that is now in force.
    {.when = {.offsets = FE_OFFSET_UPPER_NON_RECOVERABLE, .states = only(5)},
     .code = kUpperCritical, .disposition = kNonRecoverable, .clear_code = kUpperNonRecoverable, .clear_cause_id = kThermal, .words = "upper critical"},
    {.when = {.offsets = FE_OFFSET_UPPER_NON_RECOVERABLE, .states = kDeasserted},
     .code = kUpperNonRecoverable, .disposition = kNonRecoverable, .clear_code = kUpperNonRecoverable, .clear_cause_id = kThermal, .words = "upper non-recoverable"},
    {.when = {.offsets = FE_OFFSET_UPPER_NON_RECOVERABLE, .states = except(0, 5)},
     .code = kUpperNonRecoverable, .disposition = kCritical, .clear_code = kUpperCritical, .clear_cause_id = kThermal, .words = "upper non-recoverable"},

    // All other offsets, the lower thresholds among them, are raises without words: intended.
    {.when = {.offsets = outside(FE_OFFSET_UPPER_NON_CRITICAL, FE_OFFSET_UPPER_NON_RECOVERABLE)},
     .code = kBase, .disposition = kRaise, .clear_code = kNoCode, .clear_cause_id = kNoCause},
};
static_assert(decides_once(kRules) && decides_all(kRules));
// clang-format on

constexpr HostRowFilter kManagementController{
    .fault_class = {1, 9, 6, 1},
    .rows = ent_cmc_map,
    .row_count = &ent_cmc_map_sz,
    .unknown = &kBlankRow,
    .group_of = group_of,
    .rules = kRules,
};

}  // namespace
}  // namespace polaiga

std::int32_t process_cmc_fault(fe_sensor_event* ev, fe_fault_record** out) {
  using namespace polaiga;
  return filter_event(kManagementController, RowStates(cmc_last_state), ev, out);
}
