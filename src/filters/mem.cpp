// Memory units (DIMMs) and memory risers. Most events of a riser are addressed to the
// memory array.
#include <polaiga/filters.h>

#include "framework/faults.h"

namespace polaiga {
namespace {

constexpr FaultClass kUnitClass{1, 30, 11, 1};
constexpr FaultClass kArrayClass{1, 30, 1, 1};

// The offsets that are addressed to the array. Offset 85 belongs to risers and is not
// among them; offsets 87 to 89 raise nothing and are among them. Both is intended.
constexpr Offsets kArrayOffsets[] = {{75, 77}, {87, 90}, {96, 97}, {99, 100}};

constexpr bool concerns_array(std::int32_t offset) {
  for (const Offsets& offsets : kArrayOffsets) {
    if (offsets.hold(offset)) return true;
  }
  return false;
}

constexpr Fault kMissing{502, "fltMemoryUnitIdentityUnestablishable", kEquipmentMissing};
constexpr Fault kThermalNonCritical{186, "fltMemoryUnitThermalThresholdNonCritical", kThermalProblem};
constexpr Fault kThermalCritical{187, "fltMemoryUnitThermalThresholdCritical", kThermalProblem};
constexpr Fault kThermalNonRecoverable{188, "fltMemoryUnitThermalThresholdNonRecoverable", kThermalProblem};
constexpr Fault kVoltageCritical{190, "fltMemoryArrayVoltageThresholdCritical", kVoltageProblem};
constexpr Fault kVoltageNonRecoverable{191, "fltMemoryArrayVoltageThresholdNonRecoverable", kVoltageProblem};
constexpr Fault kInoperable{185, "fltMemoryUnitInoperable", kEquipmentInoperable};
// This fault is raised with the cause of its offset, and cleared with its own: intended.
constexpr Fault kDegraded{184, "fltMemoryUnitDegraded", kEquipmentInoperable};
constexpr Fault kDegradedBefore{kDegraded.code, kDegraded.name, kEquipmentDegraded};
constexpr Fault kDisabled{844, "fltMemoryUnitDisabled", kEquipmentDisabled};

// What is remembered of each instance: a missing unit or riser would raise nothing
// else. But no rule ever sets these bits: intended.
constexpr Memory kUnitIsMissing = 1 << 0;
constexpr Memory kRiserIsMissing = 1 << 1;
constinit UnitMemory<1, 256> mem_presence_bits = {};

using enum Disposition;

// In this table the disposition of the non-critical level is 1, and state 1 of offsets
// 67 and 76 means that the level has fallen from critical to non-critical. Offsets 67,
// 68, 76, 77, 97 and 100 have no clear: their state 0 raises a fault, as their other
// states do. Blanks in front of colons and at the end belong to the texts.
// clang-format off
constexpr FaultRule kRules[] = {
    // The rows of both kinds of "missing" leave the text of the clear cause as it is: intended.
    {.when = {.offsets = 64, .states = kAsserted},
     .descr = "%s: Memory Unit %d missing: reseat or replace physical memory %d",
     .fault = &kMissing, .disposition = kRaise, .clear_cause = kNumberOnly},
    {.when = {.offsets = 64, .states = kDeasserted},
     .descr = "%s: Memory Unit %d missing: Cleared",
     .fault = &kMissing, .disposition = kPresence, .cleared = &kMissing, .clear_cause = kNumberOnly, .clears = kUnitIsMissing},
    {.when = {.offsets = 90, .states = kAsserted},
     .descr = "%s: Memory Riser %d missing: reseat or replace memory riser %d",
     .fault = &kMissing, .disposition = kRaise, .clear_cause = kNumberOnly},
    {.when = {.offsets = 90, .states = kDeasserted},
     .descr = "%s: Memory Riser %d missing: Cleared",
     .fault = &kMissing, .disposition = kPresence, .cleared = &kMissing, .clear_cause = kNumberOnly, .clears = kRiserIsMissing},

    {.when = {.offsets = 66, .states = kAsserted, .none_of = kUnitIsMissing},
     .descr = "%s: Memory Unit %d temperature is upper non critical",
     .fault = &kThermalNonCritical, .disposition = kRaise, .clear_cause = kNumberAndText},
    {.when = {.offsets = 66, .states = kDeasserted, .none_of = kUnitIsMissing},
     .descr = "%s: Memory Unit %d temperature is upper non critical: Cleared ",
     .fault = &kThermalNonCritical, .disposition = kTransition, .cleared = &kThermalNonCritical, .clear_cause = kNumberAndText},
    {.when = {.offsets = 67, .states = only(1), .none_of = kUnitIsMissing},
     .descr = "%s: Memory Unit %d temperature is upper non critical",
     .fault = &kThermalNonCritical, .disposition = kCritical, .cleared = &kThermalCritical, .clear_cause = kNumberAndText},
    {.when = {.offsets = 67, .states = except(1), .none_of = kUnitIsMissing},
     .descr = "%s: Memory Unit %d temperature is upper critical",
     .fault = &kThermalCritical, .disposition = kTransition, .cleared = &kThermalNonCritical, .clear_cause = kNumberAndText},
    {.when = {.offsets = 68, .states = only(5), .none_of = kUnitIsMissing},
     .descr = "%s: Memory Unit %d temperature is upper critical",
     .fault = &kThermalCritical, .disposition = kNonRecoverable, .cleared = &kThermalNonRecoverable, .clear_cause = kNumberAndText},
    {.when = {.offsets = 68, .states = except(5), .none_of = kUnitIsMissing},
     .descr = "%s: Memory Unit %d temperature is upper non recoverable",
     .fault = &kThermalNonRecoverable, .disposition = kCritical, .cleared = &kThermalCritical, .clear_cause = kNumberAndText},

    // The raise clears "degraded", and the clear raises it: intended.
    {.when = {.offsets = 72, .states = kAsserted, .none_of = kUnitIsMissing},
     .descr = "%s: DIMM %d is inoperable : Check or replace DIMM",
     .fault = &kInoperable, .disposition = kRaise, .cleared = &kDegradedBefore, .clear_cause = kNumberAndText},
    {.when = {.offsets = 72, .states = kDeasserted, .none_of = kUnitIsMissing},
     .descr = "%s: DIMM %d is inoperable : Cleared",
     .fault = &kDegraded, .disposition = kCritical, .cleared = &kInoperable, .clear_cause = kNumberAndText},

    {.when = {.offsets = 75, .states = kAsserted, .none_of = kRiserIsMissing},
     .descr = "%s: Memory riser %d Thermal Threshold at upper non critical levels: Check Cooling ",
     .fault = &kThermalNonCritical, .disposition = kRaise, .clear_cause = kNumberAndText},
    {.when = {.offsets = 75, .states = kDeasserted, .none_of = kRiserIsMissing},
     .descr = "%s: Memory riser %d Thermal Threshold at upper non critical levels: Cleared ",
     .fault = &kThermalNonCritical, .disposition = kTransition, .cleared = &kThermalNonCritical, .clear_cause = kNumberAndText},
    {.when = {.offsets = 76, .states = only(1), .none_of = kRiserIsMissing},
     .descr = "%s: Memory riser %d Thermal Threshold at upper non critical levels: Check Cooling ",
     .fault = &kThermalNonCritical, .disposition = kCritical, .cleared = &kThermalCritical, .clear_cause = kNumberAndText},
    {.when = {.offsets = 76, .states = except(1), .none_of = kRiserIsMissing},
     .descr = "%s: Memory riser %d Thermal Threshold at upper critical levels: Check Cooling ",
     .fault = &kThermalCritical, .disposition = kTransition, .cleared = &kThermalNonCritical, .clear_cause = kNumberAndText},
    {.when = {.offsets = 77, .states = only(5), .none_of = kRiserIsMissing},
     .descr = "%s: Memory riser %d Thermal Threshold at upper critical levels: Check Cooling ",
     .fault = &kThermalCritical, .disposition = kNonRecoverable, .cleared = &kThermalNonRecoverable, .clear_cause = kNumberAndText},
    {.when = {.offsets = 77, .states = except(5), .none_of = kRiserIsMissing},
     .descr = "%s: Memory riser %d Thermal Threshold at upper non recoverable levels: Check Cooling ",
     .fault = &kThermalNonRecoverable, .disposition = kCritical, .cleared = &kThermalCritical, .clear_cause = kNumberAndText},

    {.when = {.offsets = 85, .states = kAsserted, .none_of = kRiserIsMissing},
     .descr = "%s: Memory riser %d has been disabled due to a mixed or invalid memory riser configuration: Remove the riser and make sure the host CPU type supports the Memory Riser DDR type that is installed.",
     .fault = &kDisabled, .disposition = kRaise, .clear_cause = kNumberAndText},
    {.when = {.offsets = 85, .states = kDeasserted, .none_of = kRiserIsMissing},
     .descr = "%s: Memory riser %d has been disabled due to a mixed or invalid memory riser configuration: Cleared",
     .fault = &kDisabled, .disposition = kNonRecoverable, .cleared = &kDisabled, .clear_cause = kNumberAndText},

    {.when = {.offsets = 96, .states = kAsserted, .none_of = kRiserIsMissing},
     .descr = "%s: Memory riser %d Voltage Threshold at lower critical levels: Check Power Supply; reseat power connectors on the motherboard",
     .fault = &kVoltageCritical, .disposition = kRaise, .clear_cause = kNumberAndText},
    {.when = {.offsets = 96, .states = kDeasserted, .none_of = kRiserIsMissing},
     .descr = "%s: Memory riser %d Voltage Threshold at lower critical levels: Cleared ",
     .fault = &kVoltageCritical, .disposition = kCritical, .cleared = &kVoltageCritical, .clear_cause = kNumberAndText},
    {.when = {.offsets = 97, .states = only(5), .none_of = kRiserIsMissing},
     .descr = "%s: Memory riser %d Voltage Threshold at lower critical levels: Check Power Supply; reseat power connectors on the motherboard",
     .fault = &kVoltageCritical, .disposition = kNonRecoverable, .cleared = &kVoltageNonRecoverable, .clear_cause = kNumberAndText},
    {.when = {.offsets = 97, .states = except(5), .none_of = kRiserIsMissing},
     .descr = "%s: Memory riser %d Voltage Threshold at lower non recoverable levels: Check Power Supply; reseat power connectors on the motherboard ",
     .fault = &kVoltageNonRecoverable, .disposition = kCritical, .cleared = &kVoltageCritical, .clear_cause = kNumberAndText},
    {.when = {.offsets = 99, .states = kAsserted, .none_of = kRiserIsMissing},
     .descr = "%s: Memory riser %d Voltage Threshold at upper critical levels: Check Power Supply; reseat power connectors on the motherboard",
     .fault = &kVoltageCritical, .disposition = kRaise, .clear_cause = kNumberAndText},
    {.when = {.offsets = 99, .states = kDeasserted, .none_of = kRiserIsMissing},
     .descr = "%s: Memory riser %d Voltage Threshold at upper critical levels: Cleared ",
     .fault = &kVoltageCritical, .disposition = kCritical, .cleared = &kVoltageCritical, .clear_cause = kNumberAndText},
    {.when = {.offsets = 100, .states = only(5), .none_of = kRiserIsMissing},
     .descr = "%s: Memory riser %d Voltage Threshold at upper critical levels: Check Power Supply; reseat power connectors on the motherboard",
     .fault = &kVoltageCritical, .disposition = kNonRecoverable, .cleared = &kVoltageNonRecoverable, .clear_cause = kNumberAndText},
    {.when = {.offsets = 100, .states = except(5), .none_of = kRiserIsMissing},
     .descr = "%s: Memory riser %d Voltage Threshold at upper non recoverable levels: Check Power Supply; reseat power connectors on the motherboard ",
     .fault = &kVoltageNonRecoverable, .disposition = kCritical, .cleared = &kVoltageCritical, .clear_cause = kNumberAndText},
};
static_assert(decides_once(kRules));
// clang-format on

}  // namespace
}  // namespace polaiga

std::int32_t process_mem_fault(fe_sensor_event* ev, fe_fault_record** out) {
  using namespace polaiga;
  fe_fault_record* const record = open_record(ev, out);
  if (record == nullptr) return kNoFault;
  const std::int32_t instance = ev->entity_instance;
  const bool array = concerns_array(ev->event_offset);
  write_oid(*record, array ? kArrayClass : kUnitClass);
  write_key(*record);
  if (array) {
    write_names(*record, "sys/rack-unit-1/board/memarray-1", "memarray-1");
  } else {
    TextWriter(record->dn).add_literal("sys/rack-unit-1/board/memarray-1/mem-").add_number(instance);
    TextWriter(record->rn).add_literal("memarray-1/mem-").add_number(instance);
  }
  stamp_event(*record, *ev);
  // In the record's event the instance gets the number of the group above its lowest
  // byte, whether or not a fault is found. Names and key have the plain instance. Both
  // is intended.
  record->event.entity_instance = static_cast<std::int32_t>(static_cast<std::uint32_t>(ev->group_instance) << 8 |
                                                            static_cast<std::uint32_t>(instance));

  const FaultRule* rule = decide(
      kRules, {.offset = ev->event_offset, .state = ev->event_state, .memory = mem_presence_bits.recall(instance)});
  if (rule == nullptr) return kNoFault;
  mem_presence_bits.update(instance, *rule);
  return report(*rule, *record, {.first = sensor_name(*ev), .number = instance});
}
