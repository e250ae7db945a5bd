// The system board. Every one of its sensors is a row of ent_map.
#include <polaiga/filters.h>

#include "framework/dictionary_filter.h"

namespace polaiga {
namespace {

// Groups of sensors. The id in the exceptional list decides to which a sensor belongs.
constexpr Sensors kEventLog = 1 << 0;
constexpr Sensors kBattery = 1 << 1;
constexpr Sensors kCoreTemperature = 1 << 2;
constexpr Sensors kVoltage = 1 << 3;
constexpr Sensors kOther = 1 << 4;

Sensors group_of(const char* sensor) {
  const std::int32_t id = expectional_sensor_lookup(sensor);
  if (id == 1 || id == 8) return kEventLog;
  if (id == 2 || id == 3) return kBattery;
  if (id >= 4 && id <= 7) return kCoreTemperature;
  if (id >= 9 && id <= 28) return kVoltage;
  return kOther;
}

// How full the event log is, as far as events have told. There is one such memory for all
// rows, and events of sensors that are no event logs change it, too: intended.
constexpr Memory kLow = 1 << 0;
constexpr Memory kVeryLow = 1 << 1;
constexpr Memory kFull = 1 << 2;
constinit Memory sel_state = 0;

constinit std::uint32_t sys_board_row_state[25] = {};

constexpr std::string_view kCapacityIsLow = "capacity is low";
constexpr std::string_view kCapacityIsVeryLow = "capacity is very low";
constexpr std::string_view kLogIsFull = "is Full: Clear the log";

constexpr ClearCauseId kDegraded = id_of(kEquipmentDegraded);
constexpr ClearCauseId kInoperable = id_of(kEquipmentInoperable);

using enum Code;
using enum Disposition;

// clang-format off
// The words in this table are those of the event log. For every other sensor, kWords
// below has the words for state 1.
constexpr RowRule kThresholds[] = {
    {.when = {.offsets = outside(FE_OFFSET_LOWER_NON_CRITICAL, FE_OFFSET_UPPER_NON_RECOVERABLE), .states = kAsserted},
     .code = kBase, .disposition = kRaise, .clear_code = kNoCode, .clear_cause_id = kNoCause},
    {.when = {.offsets = outside(FE_OFFSET_LOWER_NON_CRITICAL, FE_OFFSET_UPPER_NON_RECOVERABLE), .states = kDeasserted},
     .code = kBase, .disposition = kPreviousState, .clear_code = kBase, .clear_cause_id = kDegraded},

    {.when = {.offsets = FE_OFFSET_LOWER_NON_CRITICAL, .states = kAsserted},
     .code = kBase, .disposition = kRaise, .clear_code = kNoCode, .clear_cause_id = kNoCause},
    {.when = {.offsets = FE_OFFSET_LOWER_NON_CRITICAL, .states = kDeasserted},
     .code = kBase, .disposition = kNonCritical, .clear_code = kBase, .clear_cause_id = kDegraded},

    {.when = {.offsets = FE_OFFSET_LOWER_CRITICAL, .states = kDeasserted},
     .code = kLowerCritical, .disposition = kCritical, .clear_code = kLowerCritical, .clear_cause_id = kDegraded},
    {.when = {.offsets = FE_OFFSET_LOWER_CRITICAL, .states = only(5)},
     .code = kLowerCritical, .disposition = kNonRecoverable, .clear_code = kLowerNonRecoverable, .clear_cause_id = kInoperable},
    {.when = {.offsets = FE_OFFSET_LOWER_CRITICAL, .states = except(0, 5)},
     .code = kLowerCritical, .disposition = kNonCritical, .clear_code = kBase, .clear_cause_id = kDegraded},

    {.when = {.offsets = FE_OFFSET_LOWER_NON_RECOVERABLE, .states = kDeasserted},
     .code = kLowerNonRecoverable, .disposition = kNonRecoverable, .clear_code = kLowerNonRecoverable, .clear_cause_id = kInoperable},
    {.when = {.offsets = FE_OFFSET_LOWER_NON_RECOVERABLE, .states = only(5)},
     .code = kLowerCritical, .disposition = kNonRecoverable, .clear_code = kLowerNonRecoverable, .clear_cause_id = kInoperable},
    {.when = {.offsets = FE_OFFSET_LOWER_NON_RECOVERABLE, .states = except(0, 5)},
     .code = kLowerNonRecoverable, .disposition = kCritical, .clear_code = kLowerCritical, .clear_cause_id = kDegraded},

    {.when = {.offsets = FE_OFFSET_UPPER_NON_CRITICAL, .states = only(1)},
     .code = kUpperNonCritical, .disposition = kTransition, .clear_code = kUpperNonCritical, .clear_cause_id = kDegraded,
     .words = kCapacityIsLow, .sets = kLow, .clears = kVeryLow | kFull},
    {.when = {.offsets = FE_OFFSET_UPPER_NON_CRITICAL, .states = except(0, 1)},
     .code = kUpperNonCritical, .disposition = kRaise, .clear_code = kNoCode, .clear_cause_id = kNoCause},
    {.when = {.offsets = FE_OFFSET_UPPER_NON_CRITICAL, .states = kDeasserted, .sensors = kEventLog, .all_of = kLow},
     .code = kUpperNonCritical, .disposition = kTransition, .clear_code = kUpperNonCritical, .clear_cause_id = kDegraded,
     .clears = kLow | kVeryLow | kFull},
    // A log that was not low has nothing to clear. The record's codes are not written: intended.
    {.when = {.offsets = FE_OFFSET_UPPER_NON_CRITICAL, .states = kDeasserted, .sensors = kEventLog, .none_of = kLow},
     .code = kCodeUntouched, .disposition = kDispositionUntouched, .clear_code = kCodeUntouched, .clear_cause_id = kCauseIdUntouched},
    {.when = {.offsets = FE_OFFSET_UPPER_NON_CRITICAL, .states = kDeasserted, .sensors = all_but(kEventLog)},
     .code = kUpperNonCritical, .disposition = kNonCritical, .clear_code = kUpperNonCritical, .clear_cause_id = kDegraded},

    {.when = {.offsets = FE_OFFSET_UPPER_CRITICAL, .states = only(1), .all_of = kVeryLow},
     .code = kUpperNonCritical, .disposition = kTransition, .clear_code = kUpperCritical, .clear_cause_id = kDegraded,
     .words = kCapacityIsLow, .sets = kLow, .clears = kVeryLow},
    {.when = {.offsets = FE_OFFSET_UPPER_CRITICAL, .states = only(1), .all_of = kLow, .none_of = kVeryLow},
     .code = kUpperCritical, .disposition = kTransition, .clear_code = kUpperNonCritical, .clear_cause_id = kDegraded,
     .words = kCapacityIsVeryLow, .sets = kVeryLow, .clears = kLow},
    // The code is that of "very low", the words are those of "low": intended.
    {.when = {.offsets = FE_OFFSET_UPPER_CRITICAL, .states = only(1), .none_of = kLow | kVeryLow},
     .code = kUpperCritical, .disposition = kTransition, .clear_code = kUpperNonCritical, .clear_cause_id = kDegraded,
     .words = kCapacityIsLow, .sets = kLow},
    {.when = {.offsets = FE_OFFSET_UPPER_CRITICAL, .states = kDeasserted},
     .code = kUpperCritical, .disposition = kCritical, .clear_code = kUpperCritical, .clear_cause_id = kDegraded},
    {.when = {.offsets = FE_OFFSET_UPPER_CRITICAL, .states = only(5), .sensors = kEventLog},
     .code = kUpperNonCritical, .disposition = kTransition, .clear_code = kUpperCritical, .clear_cause_id = kDegraded},
    {.when = {.offsets = FE_OFFSET_UPPER_CRITICAL, .states = only(5), .sensors = all_but(kEventLog)},
     .code = kUpperCritical, .disposition = kNonCritical, .clear_code = kUpperNonCritical, .clear_cause_id = kInoperable},
    {.when = {.offsets = FE_OFFSET_UPPER_CRITICAL, .states = except(0, 1, 5), .sensors = kEventLog},
     .code = kCodeUntouched, .disposition = kDispositionUntouched, .clear_code = kCodeUntouched, .clear_cause_id = kCauseIdUntouched},
    {.when = {.offsets = FE_OFFSET_UPPER_CRITICAL, .states = except(0, 1, 5), .sensors = kCoreTemperature},
     .code = kUpperCritical, .disposition = kCritical, .clear_code = kUpperCritical, .clear_cause_id = kDegraded, .deasserts = true},
    {.when = {.offsets = FE_OFFSET_UPPER_CRITICAL, .states = except(0, 1, 5), .sensors = all_but(kEventLog | kCoreTemperature)},
     .code = kUpperNonCritical, .disposition = kNonCritical, .clear_code = kUpperCritical, .clear_cause_id = kDegraded},

    {.when = {.offsets = FE_OFFSET_UPPER_NON_RECOVERABLE, .states = only(5)},
     .code = kUpperCritical, .disposition = kNonRecoverable, .clear_code = kUpperNonRecoverable, .clear_cause_id = kInoperable},
    {.when = {.offsets = FE_OFFSET_UPPER_NON_RECOVERABLE, .states = only(6), .sensors = kEventLog},
     .code = kUpperCritical, .disposition = kTransition, .clear_code = kUpperNonRecoverable, .clear_cause_id = kInoperable},
    {.when = {.offsets = FE_OFFSET_UPPER_NON_RECOVERABLE, .states = only(6), .sensors = all_but(kEventLog)},
     .code = kUpperNonRecoverable, .disposition = kCritical, .clear_code = kUpperCritical, .clear_cause_id = kDegraded},
    {.when = {.offsets = FE_OFFSET_UPPER_NON_RECOVERABLE, .states = only(1), .all_of = kFull, .none_of = kVeryLow},
     .code = kUpperCritical, .disposition = kTransition, .clear_code = kUpperNonRecoverable, .clear_cause_id = kDegraded,
     .words = kCapacityIsVeryLow, .sets = kVeryLow, .clears = kFull},
    // The code is that of "full", the words are those of "very low": intended.
    {.when = {.offsets = FE_OFFSET_UPPER_NON_RECOVERABLE, .states = only(1), .none_of = kVeryLow | kFull},
     .code = kUpperNonRecoverable, .disposition = kTransition, .clear_code = kUpperCritical, .clear_cause_id = kDegraded,
     .words = kCapacityIsVeryLow, .sets = kVeryLow},
    {.when = {.offsets = FE_OFFSET_UPPER_NON_RECOVERABLE, .states = only(1), .all_of = kVeryLow},
     .code = kUpperNonRecoverable, .disposition = kTransition, .clear_code = kUpperCritical, .clear_cause_id = kDegraded,
     .words = kLogIsFull, .sets = kFull, .clears = kVeryLow},
    {.when = {.offsets = FE_OFFSET_UPPER_NON_RECOVERABLE, .states = except(1, 5, 6), .sensors = kEventLog},
     .code = kUpperNonRecoverable, .disposition = kTransition, .clear_code = kUpperCritical, .clear_cause_id = kDegraded},
    // State 0 is an escalation here, as the other states are: intended.
    {.when = {.offsets = FE_OFFSET_UPPER_NON_RECOVERABLE, .states = except(1, 5, 6), .sensors = all_but(kEventLog)},
     .code = kUpperNonRecoverable, .disposition = kCritical, .clear_code = kUpperCritical, .clear_cause_id = kDegraded},
};
static_assert(decides_once(kThresholds) && decides_all(kThresholds));

// The words that the sensor's format inserts. The first rule that holds counts. The words
// of state 0 have no hyphen, those of state 4 have one: intended.
constexpr WordRule kWords[] = {
    {.when = {.offsets = FE_OFFSET_UPPER_NON_CRITICAL, .states = only(0), .sensors = all_but(kVoltage)}, .words = "upper non critical"},
    {.when = {.offsets = FE_OFFSET_LOWER_NON_CRITICAL, .states = only(0), .sensors = all_but(kVoltage)}, .words = "lower non critical"},
    {.when = {.offsets = FE_OFFSET_UPPER_CRITICAL, .states = only(0), .sensors = kVoltage}, .words = "upper critical"},
    {.when = {.offsets = FE_OFFSET_LOWER_CRITICAL, .states = only(0), .sensors = kVoltage}, .words = "lower critical"},

    {.when = {.offsets = FE_OFFSET_LOWER_NON_CRITICAL, .states = only(4)}, .words = "lower non-critical"},
    {.when = {.states = only(4)}, .words = "upper non-critical"},

    {.when = {.offsets = {FE_OFFSET_LOWER_CRITICAL, FE_OFFSET_LOWER_NON_RECOVERABLE}, .states = only(5)}, .words = "lower critical"},
    {.when = {.offsets = {FE_OFFSET_UPPER_CRITICAL, FE_OFFSET_UPPER_NON_RECOVERABLE}, .states = only(5)}, .words = "upper critical"},
    // These two offsets are no thresholds, yet they have words of their own in state 5: intended.
    {.when = {.offsets = {109, 110}, .states = only(5)}, .words = "upper critical"},

    {.when = {.offsets = FE_OFFSET_LOWER_NON_RECOVERABLE, .states = only(6), .sensors = kBattery},
     .words = "lower non-recoverable. Possible loss of CMOS settings"},
    {.when = {.offsets = FE_OFFSET_LOWER_NON_RECOVERABLE, .states = only(6)}, .words = "lower non-recoverable"},
    {.when = {.states = only(6)}, .words = "upper non-recoverable"},

    {.when = {.states = except(0, 4, 5, 6), .sensors = all_but(kEventLog)}, .words = "a preset"},
};
static_assert(each_can_hold(kWords));
// clang-format on

constexpr DictionaryFilter kSysBoard{
    .fault_class = {1, 9, 6, 1},
    .rows = ent_map,
    .row_count = &ent_map_sz,
    .subtype = &fe_sensor_map_row::subtype,
    .group_of = group_of,
    .thresholds = kThresholds,
    .words = kWords,
    .named_clears = kEventLog,
};

}  // namespace
}  // namespace polaiga

std::int32_t process_sys_board_fault(fe_sensor_event* ev, fe_fault_record** out) {
  using namespace polaiga;
  return filter_event(kSysBoard, sel_state, RowStates(sys_board_row_state), ev, out);
}
