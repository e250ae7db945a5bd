// Drive backplanes and NVMe drives: the thresholds of the sensors that the host
// describes in its table ent_drive_bp_map.
#include <polaiga/filters.h>

#include "framework/host_row_filter.h"
#include "framework/lookups.h"

namespace polaiga {
namespace {

// Sensors whose upper critical threshold is a clear in every state but 5.
constexpr fe_exceptional_row kExceptionalSensors[] = {
    {1, "HDD_BP1_TEMP"}, {2, "SB_NVME1_TEMP"}, {3, "IOE_NVME1_TEMP"}, {4, "IOE_NVME2_TEMP"}, {kNotListed, ""},
};
constexpr Sensors kExceptional = 1 << 0;
constexpr Sensors kOrdinary = 1 << 1;

Sensors group_of(const char* sensor) {
  return find_id(kExceptionalSensors, sensor) != kNotListed ? kExceptional : kOrdinary;
}

constinit std::uint32_t drive_bp_last_state[FE_HOST_TABLE_ROWS] = {};

constexpr ClearCauseId kDegraded = id_of(kEquipmentDegraded);

using enum Code;
using enum Disposition;

// When a level goes from non-critical to critical or back, the code of the non-critical
// level is that of the column "upper non-critical", for the lower side, too: intended.
// clang-format off
constexpr RowRule kRules[] = {
    {.when = {.offsets = FE_OFFSET_LOWER_NON_CRITICAL, .states = kAsserted},
     .code = kBase, .disposition = kRaise, .clear_code = kNoCode, .clear_cause_id = kNoCause, .words = "lower non-critical"},
    {.when = {.offsets = FE_OFFSET_LOWER_NON_CRITICAL, .states = kDeasserted},
     .code = kBase, .disposition = kNonCritical, .clear_code = kBase, .clear_cause_id = kRowCause, .words = "lower non-critical"},

    {.when = {.offsets = FE_OFFSET_LOWER_CRITICAL, .states = kDeasserted},
     .code = kLowerCritical, .disposition = kCritical, .clear_code = kLowerCritical, .clear_cause_id = kRowCause, .words = "lower critical"},
    {.when = {.offsets = FE_OFFSET_LOWER_CRITICAL, .states = only(5)},
     .code = kLowerCritical, .disposition = kNonCritical, .clear_code = kUpperNonCritical, .clear_cause_id = kRowCause, .words = "lower critical"},
    {.when = {.offsets = FE_OFFSET_LOWER_CRITICAL, .states = except(0, 5)},
     .code = kUpperNonCritical, .disposition = kCritical, .clear_code = kLowerCritical, .clear_cause_id = kRowCause, .words = "lower non-critical"},

    // The level has fallen from non-recoverable to critical: the words are those of the level
    // that is now in force.
    {.when = {.offsets = FE_OFFSET_LOWER_NON_RECOVERABLE, .states = only(5)},
     .code = kLowerCritical, .disposition = kNonRecoverable, .clear_code = kLowerNonRecoverable, .clear_cause_id = kRowCause, .words = "lower critical"},
    {.when = {.offsets = FE_OFFSET_LOWER_NON_RECOVERABLE, .states = kDeasserted},
     .code = kLowerNonRecoverable, .disposition = kNonRecoverable, .clear_code = kLowerNonRecoverable, .clear_cause_id = kRowCause, .words = "lower non-recoverable"},
    {.when = {.offsets = FE_OFFSET_LOWER_NON_RECOVERABLE, .states = except(0, 5)},
     .code = kLowerNonRecoverable, .disposition = kCritical, .clear_code = kLowerCritical, .clear_cause_id = kRowCause, .words = "lower non-recoverable"},

    {.when = {.offsets = FE_OFFSET_UPPER_NON_CRITICAL, .states = kAsserted},
     .code = kBase, .disposition = kRaise, .clear_code = kNoCode, .clear_cause_id = kNoCause, .words = "upper non-critical"},
    {.when = {.offsets = FE_OFFSET_UPPER_NON_CRITICAL, .states = kDeasserted},
     .code = kBase, .disposition = kNonCritical, .clear_code = kBase, .clear_cause_id = kRowCause, .words = "upper non-critical"},

    {.when = {.offsets = FE_OFFSET_UPPER_CRITICAL, .states = kDeasserted},
     .code = kUpperCritical, .disposition = kCritical, .clear_code = kUpperCritical, .clear_cause_id = kRowCause, .words = "upper critical"},
    {.when = {.offsets = FE_OFFSET_UPPER_CRITICAL, .states = only(5)},
     .code = kUpperCritical, .disposition = kNonCritical, .clear_code = kUpperNonCritical, .clear_cause_id = kRowCause, .words = "upper critical"},
    {.when = {.offsets = FE_OFFSET_UPPER_CRITICAL, .states = except(0, 5), .sensors = all_but(kExceptional)},
     .code = kUpperNonCritical, .disposition = kCritical, .clear_code = kUpperCritical, .clear_cause_id = kRowCause, .words = "upper non-critical"},
    {.when = {.offsets = FE_OFFSET_UPPER_CRITICAL, .states = except(0, 5), .sensors = kExceptional},
     .code = kUpperCritical, .disposition = kCritical, .clear_code = kUpperCritical, .clear_cause_id = kDegraded, .words = "upper critical", .deasserts = true},

    {.when = {.offsets = FE_OFFSET_UPPER_NON_RECOVERABLE, .states = only(5)},
     .code = kUpperCritical, .disposition = kNonRecoverable, .clear_code = kUpperNonRecoverable, .clear_cause_id = kRowCause, .words = "upper critical"},
    {.when = {.offsets = FE_OFFSET_UPPER_NON_RECOVERABLE, .states = kDeasserted},
     .code = kUpperNonRecoverable, .disposition = kNonRecoverable, .clear_code = kUpperNonRecoverable, .clear_cause_id = kRowCause, .words = "upper non-recoverable"},
    {.when = {.offsets = FE_OFFSET_UPPER_NON_RECOVERABLE, .states = except(0, 5)},
     .code = kUpperNonRecoverable, .disposition = kCritical, .clear_code = kUpperCritical, .clear_cause_id = kRowCause, .words = "upper non-recoverable"},

    // All other offsets are raises without words, even in state 0: intended.
    {.when = {.offsets = outside(FE_OFFSET_LOWER_NON_CRITICAL, FE_OFFSET_UPPER_NON_RECOVERABLE)},
     .code = kBase, .disposition = kRaise, .clear_code = kNoCode, .clear_cause_id = kNoCause},
};
static_assert(decides_once(kRules) && decides_all(kRules));
// clang-format on

constexpr HostRowFilter kDriveBackplane{
    .fault_class = {1, 9, 6, 1},
    .rows = ent_drive_bp_map,
    .row_count = &ent_drive_bp_map_sz,
    .unknown = nullptr,
    .group_of = group_of,
    .rules = kRules,
};

}  // namespace
}  // namespace polaiga

std::int32_t process_drive_bp_fault(fe_sensor_event* ev, fe_fault_record** out) {
  using namespace polaiga;
  return filter_event(kDriveBackplane, RowStates(drive_bp_last_state), ev, out);
}
