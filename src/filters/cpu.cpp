// Processors. Every one of their sensors is a row of ent_cpu_map.
#include <polaiga/filters.h>

#include "framework/dictionary_filter.h"

namespace polaiga {
namespace {

// Groups of sensors. The id in the exceptional list decides to which a sensor belongs.
constexpr Sensors kCoreTemperature = 1 << 0;
constexpr Sensors kOtherListed = 1 << 1;
constexpr Sensors kUnlisted = 1 << 2;
constexpr Sensors kListed = kCoreTemperature | kOtherListed;

Sensors group_of(const char* sensor) {
  const std::int32_t id = exceptional_sensor_lookup(sensor);
  if (id >= 1 && id <= 4) return kCoreTemperature;
  if (id >= 5 && id <= 20) return kOtherListed;
  return kUnlisted;
}

constinit std::uint32_t cpu_row_state[33] = {};

constexpr ClearCauseId kDegraded = id_of(kEquipmentDegraded);
constexpr ClearCauseId kInoperable = id_of(kEquipmentInoperable);

using enum Code;
using enum Disposition;

// In state 4 a lower critical threshold means a fall to non-critical, but an upper one
// means a rise to critical: intended.
// clang-format off
constexpr RowRule kThresholds[] = {
    {.when = {.offsets = FE_OFFSET_LOWER_NON_CRITICAL, .states = kDeasserted},
     .code = kBase, .disposition = kNonCritical, .clear_code = kBase, .clear_cause_id = kDegraded},
    {.when = {.offsets = FE_OFFSET_LOWER_NON_CRITICAL, .states = kAsserted},
     .code = kBase, .disposition = kRaise, .clear_code = kNoCode, .clear_cause_id = kNoCause},

    {.when = {.offsets = FE_OFFSET_LOWER_CRITICAL, .states = kDeasserted},
     .code = kLowerCritical, .disposition = kCritical, .clear_code = kLowerCritical, .clear_cause_id = kDegraded},
    {.when = {.offsets = FE_OFFSET_LOWER_CRITICAL, .states = only(4)},
     .code = kBase, .disposition = kCritical, .clear_code = kLowerCritical, .clear_cause_id = kDegraded},
    {.when = {.offsets = FE_OFFSET_LOWER_CRITICAL, .states = except(0, 4)},
     .code = kLowerCritical, .disposition = kNonCritical, .clear_code = kBase, .clear_cause_id = kDegraded},

    {.when = {.offsets = FE_OFFSET_LOWER_NON_RECOVERABLE, .states = kDeasserted},
     .code = kLowerNonRecoverable, .disposition = kNonRecoverable, .clear_code = kLowerNonRecoverable, .clear_cause_id = kInoperable},
    {.when = {.offsets = FE_OFFSET_LOWER_NON_RECOVERABLE, .states = only(5)},
     .code = kLowerCritical, .disposition = kNonRecoverable, .clear_code = kLowerNonRecoverable, .clear_cause_id = kInoperable},
    {.when = {.offsets = FE_OFFSET_LOWER_NON_RECOVERABLE, .states = except(0, 5)},
     .code = kLowerNonRecoverable, .disposition = kCritical, .clear_code = kLowerCritical, .clear_cause_id = kDegraded},

    {.when = {.offsets = FE_OFFSET_UPPER_NON_CRITICAL, .states = kDeasserted},
     .code = kUpperNonCritical, .disposition = kNonCritical, .clear_code = kUpperNonCritical, .clear_cause_id = kDegraded},
    {.when = {.offsets = FE_OFFSET_UPPER_NON_CRITICAL, .states = kAsserted},
     .code = kUpperNonCritical, .disposition = kRaise, .clear_code = kNoCode, .clear_cause_id = kNoCause},

    {.when = {.offsets = FE_OFFSET_UPPER_CRITICAL, .states = kDeasserted},
     .code = kUpperCritical, .disposition = kCritical, .clear_code = kUpperCritical, .clear_cause_id = kDegraded},
    {.when = {.offsets = FE_OFFSET_UPPER_CRITICAL, .states = only(5)},
     .code = kUpperCritical, .disposition = kNonRecoverable, .clear_code = kUpperNonRecoverable, .clear_cause_id = kInoperable},
    {.when = {.offsets = FE_OFFSET_UPPER_CRITICAL, .states = except(0, 5), .sensors = kCoreTemperature},
     .code = kUpperCritical, .disposition = kCritical, .clear_code = kUpperCritical, .clear_cause_id = kDegraded, .deasserts = true},
    {.when = {.offsets = FE_OFFSET_UPPER_CRITICAL, .states = except(0, 5), .sensors = all_but(kCoreTemperature)},
     .code = kUpperCritical, .disposition = kNonCritical, .clear_code = kUpperNonCritical, .clear_cause_id = kDegraded},

    {.when = {.offsets = FE_OFFSET_UPPER_NON_RECOVERABLE, .states = kDeasserted},
     .code = kUpperNonRecoverable, .disposition = kNonRecoverable, .clear_code = kUpperNonRecoverable, .clear_cause_id = kInoperable},
    {.when = {.offsets = FE_OFFSET_UPPER_NON_RECOVERABLE, .states = only(5)},
     .code = kUpperCritical, .disposition = kNonRecoverable, .clear_code = kUpperNonRecoverable, .clear_cause_id = kInoperable},
    {.when = {.offsets = FE_OFFSET_UPPER_NON_RECOVERABLE, .states = except(0, 5)},
     .code = kUpperNonRecoverable, .disposition = kCritical, .clear_code = kUpperCritical, .clear_cause_id = kDegraded},

    {.when = {.offsets = outside(FE_OFFSET_LOWER_NON_CRITICAL, FE_OFFSET_UPPER_NON_RECOVERABLE), .states = kDeasserted},
     .code = kBase, .disposition = kPreviousState, .clear_code = kBase, .clear_cause_id = kDegraded},
    {.when = {.offsets = outside(FE_OFFSET_LOWER_NON_CRITICAL, FE_OFFSET_UPPER_NON_RECOVERABLE), .states = kAsserted},
     .code = kBase, .disposition = kRaise, .clear_code = kNoCode, .clear_cause_id = kNoCause},
};
static_assert(decides_once(kThresholds) && decides_all(kThresholds));

// The words that the sensor's format inserts. The first rule that holds counts. A clear
// for which no rule holds has no words: intended.
constexpr WordRule kWords[] = {
    {.when = {.offsets = FE_OFFSET_UPPER_CRITICAL, .states = only(0), .sensors = kListed}, .words = "upper critical"},
    {.when = {.offsets = FE_OFFSET_LOWER_CRITICAL, .states = only(0), .sensors = kListed}, .words = "lower critical"},
    {.when = {.offsets = FE_OFFSET_UPPER_NON_CRITICAL, .states = only(0), .sensors = kUnlisted}, .words = "upper non-critical"},
    {.when = {.offsets = FE_OFFSET_LOWER_NON_CRITICAL, .states = only(0), .sensors = kUnlisted}, .words = "lower non-critical"},

    {.when = {.offsets = FE_OFFSET_LOWER_NON_CRITICAL, .states = only(4)}, .words = "lower non-critical"},
    {.when = {.states = only(4)}, .words = "upper non-critical"},

    {.when = {.offsets = {FE_OFFSET_LOWER_CRITICAL, FE_OFFSET_LOWER_NON_RECOVERABLE}, .states = only(5)}, .words = "lower critical"},
    {.when = {.offsets = {FE_OFFSET_UPPER_CRITICAL, FE_OFFSET_UPPER_NON_RECOVERABLE}, .states = only(5)}, .words = "upper critical"},

    {.when = {.offsets = FE_OFFSET_LOWER_NON_RECOVERABLE, .states = only(6)}, .words = "lower non-recoverable"},
    {.when = {.states = only(6)}, .words = "upper non-recoverable"},

    {.when = {.states = except(0, 4, 5, 6)}, .words = "a preset"},
};
static_assert(each_can_hold(kWords));
// clang-format on

constexpr DictionaryFilter kProcessors{
    .fault_class = {1, 41, 9},
    .rows = ent_cpu_map,
    .row_count = &ent_cpu_map_sz,
    .subtype = &fe_sensor_map_row::sensor_class,  // the system board takes `subtype` instead: intended
    .group_of = group_of,
    .thresholds = kThresholds,
    .words = kWords,
    .named_clears = 0,
};

}  // namespace
}  // namespace polaiga

std::int32_t process_cpu_fault(fe_sensor_event* ev, fe_fault_record** out) {
  using namespace polaiga;
  Memory nothing = 0;
  return filter_event(kProcessors, nothing, RowStates(cpu_row_state), ev, out);
}
