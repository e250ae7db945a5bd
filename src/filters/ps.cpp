// Power supplies: presence, input, configuration, thresholds, redundancy. The faults
// of the lower thresholds of the power readings come from the rows of ent_ps_map.
#include <polaiga/filters.h>
#include <polaiga/services.h>
#include <polaiga/tables.h>

#include "framework/clear_text.h"
#include "framework/faults.h"
#include "framework/sensor_rows.h"

namespace polaiga {
namespace {

constexpr FaultClass kClass{1, 15, 56, 1};

constexpr Fault kMissing{378, "fltEquipmentPsuMissing", kEquipmentMissing};
constexpr Fault kInoperable{374, "fltEquipmentPsuInoperable", kEquipmentInoperable};
constexpr Fault kIdentity{407, "fltEquipmentPsuIdentity", kFruProblem};
constexpr Fault kVoltageCritical{389, "fltEquipmentPsuVoltageThresholdCritical", kVoltageProblem};
constexpr Fault kVoltageNonRecoverable{391, "fltEquipmentPsuVoltageThresholdNonRecoverable", kVoltageProblem};
constexpr Fault kCurrent{882, "fltEquipmentPsuPowerThreshold", kPowerProblem};
constexpr Fault kPowerNonCritical{392, "fltEquipmentPsuPerfThresholdNonCritical", kPowerProblem};
constexpr Fault kPowerCritical{393, "fltEquipmentPsuPerfThresholdCritical", kPowerProblem};
constexpr Fault kPowerNonRecoverable{394, "fltEquipmentPsuPerfThresholdNonRecoverable", kPowerProblem};
constexpr Fault kThermalNonCritical{381, "fltEquipmentPsuThermalThresholdNonCritical", kThermalProblem};
constexpr Fault kThermalCritical{383, "fltEquipmentPsuThermalThresholdCritical", kThermalProblem};
constexpr Fault kThermalNonRecoverable{385, "fltEquipmentPsuThermalThresholdNonRecoverable", kThermalProblem};
constexpr Fault kRedundancy{743, "fltPowerChassisMemberChassisPsuRedundanceFailure", kPsuRedundancyFail};
constexpr Fault kInputError{883, "fltEquipmentPsuInputError", kPowerProblem};

// What is remembered of each power supply. While one is missing, none of its other
// faults is raised. The other bits are kept, but no rule asks for them.
constexpr Memory kIsMissing = 1 << 0;
constexpr Memory kVoltageIsCritical = 1 << 2;
constexpr Memory kVoltageIsNonRecoverable = 1 << 3;
constexpr Memory kCurrentIsNonCritical = 1 << 7;
constexpr Memory kCurrentIsCritical = 1 << 8;
constexpr Memory kCurrentIsNonRecoverable = 1 << 9;
constexpr Memory kPowerIsNonCritical = 1 << 10;
constexpr Memory kPowerIsCritical = 1 << 11;
constexpr Memory kPowerIsNonRecoverable = 1 << 12;
constexpr Memory kThermalIsNonCritical = 1 << 13;
constexpr Memory kThermalIsCritical = 1 << 14;
constexpr Memory kThermalFellToCritical = 1 << 15;
using SupplyMemory = UnitMemory<0, 255, std::uint16_t>;
constinit SupplyMemory psu_fault_state = {};

// What the rules are told of the memory. They are not told that a supply is missing
// when the event is a clear, since clears are reported of a missing supply, too.
constexpr Memory recalled(Memory memory, std::int32_t state) {
  return state == FE_STATE_DEASSERTED ? static_cast<Memory>(memory & ~unsigned{kIsMissing}) : memory;
}

using enum Code;
using enum Disposition;

// The lower thresholds of the power readings. A missing supply does not suppress
// them, and nothing of them is remembered.
// clang-format off
constexpr RowRule kRowRules[] = {
    {.when = {.offsets = 3, .states = kDeasserted},
     .code = kBase, .disposition = kNonCritical, .clear_code = kBase, .clear_cause_id = kRowCause, .words = "lower non-critical"},
    {.when = {.offsets = 3, .states = kAsserted},
     .code = kBase, .disposition = kRaise, .clear_code = kNoCode, .clear_cause_id = kNoCause, .words = "lower non-critical"},

    {.when = {.offsets = 4, .states = kDeasserted},
     .code = kUpperCritical, .disposition = kCritical, .clear_code = kUpperCritical, .clear_cause_id = kRowCause, .words = "lower critical"},
    {.when = {.offsets = 4, .states = only(5)},
     .code = kUpperCritical, .disposition = kNonCritical, .clear_code = kUpperNonCritical, .clear_cause_id = kRowCause, .words = "lower critical"},
    {.when = {.offsets = 4, .states = except(0, 5)},
     .code = kUpperNonCritical, .disposition = kCritical, .clear_code = kUpperCritical, .clear_cause_id = kRowCause, .words = "lower non-critical"},

    {.when = {.offsets = 5, .states = kDeasserted},
     .code = kUpperNonRecoverable, .disposition = kNonRecoverable, .clear_code = kUpperNonRecoverable, .clear_cause_id = kRowCause, .words = "lower non-recoverable"},
    {.when = {.offsets = 5, .states = only(5)},
     .code = kUpperCritical, .disposition = kNonRecoverable, .clear_code = kUpperNonRecoverable, .clear_cause_id = kRowCause, .words = "lower non-recoverable"},
    {.when = {.offsets = 5, .states = except(0, 5)},
     .code = kUpperNonRecoverable, .disposition = kCritical, .clear_code = kUpperCritical, .clear_cause_id = kRowCause, .words = "lower non-recoverable"},
};
static_assert(decides_once(kRowRules));

// Offsets 46, 49, 50, 53, 54, 57 and 58 have no clear: their state 0 raises a fault,
// as their other states do. The texts differ in their capitals, and in the blanks in
// front of colons and at the end. All of this is intended.
constexpr FaultRule kRules[] = {
    // The rows of both kinds of "missing" leave the text of the clear cause as it is: intended.
    {.when = {.offsets = 30, .states = kAsserted},
     .descr = "%s: Power Supply %d missing: reseat or replace PS %d",
     .fault = &kMissing, .disposition = kRaise, .clear_cause = kNumberOnly, .sets = kIsMissing},
    {.when = {.offsets = 30, .states = kDeasserted},
     .descr = "%s: Power Supply %d missing: Cleared",
     .fault = &kMissing, .disposition = kPresence, .cleared = &kMissing, .clear_cause = kNumberOnly, .clears = kIsMissing},
    {.when = {.offsets = 112, .states = kAsserted},
     .descr = "%s: Main Power Supply missing, check AC/DC power input",
     .fault = &kMissing, .disposition = kRaise, .clear_cause = kNumberOnly, .sets = kIsMissing},
    {.when = {.offsets = 112, .states = kDeasserted},
     .descr = "%s: Main Power missing: Cleared",
     .fault = &kMissing, .disposition = kPresence, .cleared = &kMissing, .clear_cause = kNumberOnly, .clears = kIsMissing},

    {.when = {.offsets = {32, 34}, .states = kAsserted, .none_of = kIsMissing},
     .descr = "%s: Power Supply %d has lost input or input is out of range : Check input to PS or replace PS %d",
     .fault = &kInoperable, .disposition = kRaise, .clear_cause = kNumberAndText},
    {.when = {.offsets = {32, 34}, .states = kDeasserted},
     .descr = "%s: Power Supply %d input error: Cleared",
     .fault = &kInoperable, .disposition = kCritical, .cleared = &kInoperable, .clear_cause = kNumberAndText},

    {.when = {.offsets = 35, .states = kAsserted, .none_of = kIsMissing}, .descr = Format::of_table(psu_config_error[0]),
     .fault = &kIdentity, .disposition = kRaise, .clear_cause = kNumberAndText},
    {.when = {.offsets = 36, .states = kAsserted, .none_of = kIsMissing}, .descr = Format::of_table(psu_config_error[1]),
     .fault = &kIdentity, .disposition = kRaise, .clear_cause = kNumberAndText},
    {.when = {.offsets = 37, .states = kAsserted, .none_of = kIsMissing}, .descr = Format::of_table(psu_config_error[2]),
     .fault = &kIdentity, .disposition = kRaise, .clear_cause = kNumberAndText},
    {.when = {.offsets = 38, .states = kAsserted, .none_of = kIsMissing}, .descr = Format::of_table(psu_config_error[3]),
     .fault = &kIdentity, .disposition = kRaise, .clear_cause = kNumberAndText},
    {.when = {.offsets = 39, .states = kAsserted, .none_of = kIsMissing}, .descr = Format::of_table(psu_config_error[4]),
     .fault = &kIdentity, .disposition = kRaise, .clear_cause = kNumberAndText},
    {.when = {.offsets = 40, .states = kAsserted, .none_of = kIsMissing}, .descr = Format::of_table(psu_config_error[5]),
     .fault = &kIdentity, .disposition = kRaise, .clear_cause = kNumberAndText},
    {.when = {.offsets = {35, 40}, .states = kDeasserted},
     .descr = "%s: Power Supply %d FRU configuration error: Cleared",
     .fault = &kIdentity, .disposition = kNonRecoverable, .cleared = &kIdentity, .clear_cause = kNumberAndText},

    {.when = {.offsets = 45, .states = kAsserted, .none_of = kIsMissing},
     .descr = "%s: Power Supply %d Voltage is upper critical : Reseat or replace Power Supply ",
     .fault = &kVoltageCritical, .disposition = kRaise, .clear_cause = kNumberAndText, .sets = kVoltageIsCritical},
    {.when = {.offsets = 45, .states = kDeasserted},
     .descr = "%s: Power Supply %d Voltage is upper critical : Cleared",
     .fault = &kVoltageCritical, .disposition = kCritical, .cleared = &kVoltageCritical, .clear_cause = kNumberAndText, .clears = kVoltageIsCritical},
    {.when = {.offsets = 46, .states = only(5), .none_of = kIsMissing},
     .descr = "%s: Power Supply %d Voltage is upper critical : Reseat or replace Power Supply ",
     .fault = &kVoltageCritical, .disposition = kNonRecoverable, .cleared = &kVoltageNonRecoverable, .clear_cause = kNumberAndText, .clears = kVoltageIsNonRecoverable},
    {.when = {.offsets = 46, .states = except(5), .none_of = kIsMissing},
     .descr = "%s: Power Supply %d Voltage is upper non Recoverable : Reseat or replace Power Supply ",
     .fault = &kVoltageNonRecoverable, .disposition = kCritical, .cleared = &kVoltageCritical, .clear_cause = kNumberAndText, .sets = kVoltageIsNonRecoverable},

    // All levels of the current are reported as the same fault: intended.
    {.when = {.offsets = 48, .states = kAsserted, .none_of = kIsMissing},
     .descr = "%s: Power Supply %d current is upper non critical : Reseat or replace Power Supply ",
     .fault = &kCurrent, .disposition = kRaise, .clear_cause = kNumberAndText, .sets = kCurrentIsNonCritical},
    {.when = {.offsets = 48, .states = kDeasserted},
     .descr = "%s: Power Supply %d current is upper non critical: Cleared ",
     .fault = &kCurrent, .disposition = kNonCritical, .cleared = &kCurrent, .clear_cause = kNumberAndText, .clears = kCurrentIsNonCritical},
    {.when = {.offsets = 49, .states = only(4), .none_of = kIsMissing},
     .descr = "%s: Power Supply %d Current is upper non critical : Reseat or replace Power Supply ",
     .fault = &kCurrent, .disposition = kCritical, .cleared = &kCurrent, .clear_cause = kNumberAndText, .clears = kCurrentIsCritical},
    {.when = {.offsets = 49, .states = except(4), .none_of = kIsMissing},
     .descr = "%s: Power Supply %d Current is upper critical : Reseat or replace Power Supply ",
     .fault = &kCurrent, .disposition = kNonCritical, .cleared = &kCurrent, .clear_cause = kNumberAndText, .sets = kCurrentIsCritical},
    {.when = {.offsets = 50, .states = only(5), .none_of = kIsMissing},
     .descr = "%s: Power Supply %d Current is upper critical : Reseat or replace Power Supply ",
     .fault = &kCurrent, .disposition = kNonRecoverable, .cleared = &kCurrent, .clear_cause = kNumberAndText, .clears = kCurrentIsNonRecoverable},
    {.when = {.offsets = 50, .states = except(5), .none_of = kIsMissing},
     .descr = "%s: Power Supply %d Current is upper non recoverable : Reseat or replace Power Supply ",
     .fault = &kCurrent, .disposition = kCritical, .cleared = &kCurrent, .clear_cause = kNumberAndText, .sets = kCurrentIsNonRecoverable},

    {.when = {.offsets = 52, .states = kAsserted, .none_of = kIsMissing},
     .descr = "%s: Power Supply %d %s power is upper non critical : Reseat or replace Power Supply ",
     .fault = &kPowerNonCritical, .disposition = kRaise, .clear_cause = kNumberAndText, .sets = kPowerIsNonCritical},
    {.when = {.offsets = 52, .states = kDeasserted},
     .descr = "%s: Power Supply %d %s power is upper non critical levels: Cleared ",
     .fault = &kPowerNonCritical, .disposition = kNonCritical, .cleared = &kPowerNonCritical, .clear_cause = kNumberAndText, .clears = kPowerIsNonCritical},
    {.when = {.offsets = 53, .states = only(4), .none_of = kIsMissing},
     .descr = "%s: Power Supply %d %s power is upper non critical : Reseat or replace Power Supply ",
     .fault = &kPowerNonCritical, .disposition = kCritical, .cleared = &kPowerCritical, .clear_cause = kNumberAndText, .clears = kPowerIsCritical},
    {.when = {.offsets = 53, .states = except(4), .none_of = kIsMissing},
     .descr = "%s: Power Supply %d %s power is upper critical : Reseat or replace Power Supply ",
     .fault = &kPowerCritical, .disposition = kNonCritical, .cleared = &kPowerNonCritical, .clear_cause = kNumberAndText, .sets = kPowerIsCritical},
    {.when = {.offsets = 54, .states = only(5), .none_of = kIsMissing},
     .descr = "%s: Power Supply %d %s power is upper critical : Reseat or replace Power Supply ",
     .fault = &kPowerCritical, .disposition = kNonRecoverable, .cleared = &kPowerNonRecoverable, .clear_cause = kNumberAndText, .clears = kPowerIsNonRecoverable},
    {.when = {.offsets = 54, .states = except(5), .none_of = kIsMissing},
     .descr = "%s: Power Supply %d %s power is upper non recoverable : Reseat or replace Power Supply ",
     .fault = &kPowerNonRecoverable, .disposition = kCritical, .cleared = &kPowerCritical, .clear_cause = kNumberAndText, .sets = kPowerIsNonRecoverable},

    {.when = {.offsets = 56, .states = kAsserted, .none_of = kIsMissing},
     .descr = "%s: Power Supply %d temperature is upper non critical : Check Power Supply Status",
     .fault = &kThermalNonCritical, .disposition = kRaise, .clear_cause = kNumberAndText, .sets = kThermalIsNonCritical},
    {.when = {.offsets = 56, .states = kDeasserted},
     .descr = "%s: Power Supply %d temperature is upper non critical: Cleared ",
     .fault = &kThermalNonCritical, .disposition = kNonCritical, .cleared = &kThermalNonCritical, .clear_cause = kNumberAndText, .clears = kThermalIsNonCritical},
    {.when = {.offsets = 57, .states = only(4), .none_of = kIsMissing},
     .descr = "%s: Power Supply %d temperature is upper non critical : Check Power Supply Status",
     .fault = &kThermalNonCritical, .disposition = kCritical, .cleared = &kThermalCritical, .clear_cause = kNumberAndText, .clears = kThermalIsCritical},
    {.when = {.offsets = 57, .states = except(4), .none_of = kIsMissing},
     .descr = "%s: Power Supply %d temperature is upper critical : Check Power Supply Status",
     .fault = &kThermalCritical, .disposition = kNonCritical, .cleared = &kThermalNonCritical, .clear_cause = kNumberAndText, .sets = kThermalIsCritical},
    // Unlike the bits of the other levels, this one is set when the temperature falls and
    // forgotten when it rises: intended.
    {.when = {.offsets = 58, .states = only(5), .none_of = kIsMissing},
     .descr = "%s: Power Supply %d temperature is upper critical : Check Power Supply Status",
     .fault = &kThermalCritical, .disposition = kNonRecoverable, .cleared = &kThermalNonRecoverable, .clear_cause = kNumberAndText, .sets = kThermalFellToCritical},
    {.when = {.offsets = 58, .states = except(5), .none_of = kIsMissing},
     .descr = "%s: Power Supply %d temperature is upper non recoverable : Check Power Supply Status",
     .fault = &kThermalNonRecoverable, .disposition = kCritical, .cleared = &kThermalCritical, .clear_cause = kNumberAndText, .clears = kThermalFellToCritical},

    {.when = {.offsets = {60, 61}, .states = kAsserted, .none_of = kIsMissing},
     .descr = "%s: Power Supply redundancy is lost: Reseat or replace Power Supply ",
     .fault = &kRedundancy, .disposition = kRaise, .clear_cause = kNumberAndText},
    {.when = {.offsets = 62, .states = kAsserted, .none_of = kIsMissing},
     .descr = "%s: Power Supply redundancy degraded : Reseat or replace Power Supply ",
     .fault = &kRedundancy, .disposition = kRaise, .clear_cause = kNumberAndText},
    {.when = {.offsets = {60, 62}, .states = kDeasserted},
     .descr = "%s: Power Supply redundancy is lost: Cleared",
     .fault = &kRedundancy, .disposition = kCritical, .cleared = &kRedundancy, .clear_cause = kNumberAndText},

    // The offset and the fault code are the same number: intended.
    {.when = {.offsets = 883, .states = kAsserted, .none_of = kIsMissing},
     .descr = "%s: Power supply %d is in a degraded state, or has bad input voltage: Check Power Supply status",
     .fault = &kInputError, .disposition = kRaise, .clear_cause = kNumberAndText},
    {.when = {.offsets = 883, .states = kDeasserted},
     .descr = "%s: Power supply %d is in a degraded state, or has bad input voltage: Cleared",
     .fault = &kInputError, .disposition = kNonRecoverable, .cleared = &kInputError, .clear_cause = kNumberAndText},
};
static_assert(decides_once(kRules));
// clang-format on

// Reports a lower threshold of a power reading. It leaves the number of the cause and
// the text of the clear cause as they are: intended.
std::int32_t report_row(const RowRule& rule, fe_fault_record& record, const fe_sensor_map_row& row) {
  apply(rule, record, row, 0);
  write_text(record.dn, field_text(row.dn));
  write_row_texts(record, row, rule.words);
  if (record.event.event_state == FE_STATE_DEASSERTED) clear_at_last_colon(record.descr);
  return kFilled;
}

std::int32_t report_supply(const fe_sensor_event& event, fe_fault_record& record) {
  const std::int32_t supply = event.entity_instance;
  if (!SupplyMemory::covers(supply)) return kNoFault;
  const FaultRule* rule = decide(kRules, {.offset = event.event_offset,
                                          .state = event.event_state,
                                          .memory = recalled(psu_fault_state.recall(supply), event.event_state)});
  if (rule == nullptr) return kNoFault;
  psu_fault_state.update(supply, *rule);
  if (rule->fault == &kRedundancy) write_text(record.dn, "sys/rack-unit-1");  // the RN stays the supply's: intended
  const std::string_view name = sensor_name(event);
  const std::string_view direction = contains(name, "POUT") ? "output" : "input";
  return report(*rule, record, {.first = name, .further = direction, .number = supply});
}

}  // namespace
}  // namespace polaiga

std::int32_t process_ps_fault(fe_sensor_event* ev, fe_fault_record** out) {
  using namespace polaiga;
  fe_fault_record* const record = open_record(ev, out);
  if (record == nullptr) return kNoFault;
  write_oid(*record, kClass);
  const std::string_view name = sensor_name(*ev);
  const std::int32_t index = find_row(ent_ps_map, ent_ps_map_sz, name);
  const fe_sensor_map_row* const row = index >= 0 ? &ent_ps_map[index] : nullptr;
  const std::int32_t supply = ev->entity_instance;
  TextWriter(record->dn).add_literal("sys/rack-unit-1/psu-").add_number(supply);
  TextWriter(record->rn).add_literal("psu-").add_number(supply);
  write_key(*record, row != nullptr ? row->row_number : supply);
  fe_logger("sensor: %s id: %d instance: %d type: %d Index: %d\n", name.data(), record->event.entity_id, supply,
            record->event.entity_subtype, static_cast<std::int32_t>(record->fault_key));
  stamp_event(*record, *ev);

  std::int32_t result = kNoFault;
  if (const RowRule* rule = decide(kRowRules, {.offset = ev->event_offset, .state = ev->event_state})) {
    if (row != nullptr) result = report_row(*rule, *record, *row);
  } else {
    result = report_supply(*ev, *record);
  }
  // A power reading leaves with its row number, whatever supply it belongs to.
  // Every key leaves with the record's code on top, which is the caller's code
  // when the event yields no fault. Both are intended.
  if (row != nullptr) record->event.entity_instance = row->row_number;
  record->fault_key += record->code;
  return result;
}
