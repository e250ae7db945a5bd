// The front panel: the temperature at the air inlet.
#include <polaiga/filters.h>

#include "framework/faults.h"

namespace polaiga {
namespace {

constexpr FaultClass kClass{1, 15, 7, 1};

constexpr Fault kNonCriticalFault{154, "fltEquipmentChassisThermalThresholdNonCritical", kThermalProblem};
constexpr Fault kCriticalFault{153, "fltEquipmentChassisThermalThresholdCritical", kThermalProblem};
constexpr Fault kNonRecoverableFault{155, "fltEquipmentChassisThermalThresholdNonRecoverable", kThermalProblem};

using enum Disposition;

// Offsets 106 and 107 have no clear: their state 0 raises a fault, as their other states
// do. This is intended.
// clang-format off
constexpr FaultRule kRules[] = {
    {.when = {.offsets = 105, .states = kAsserted},
     .descr = "%s: Front Panel Thermal Threshold at upper non critical levels: Check Cooling ",
     .fault = &kNonCriticalFault, .disposition = kRaise, .clear_cause = kNumberAndText},
    {.when = {.offsets = 105, .states = kDeasserted},
     .descr = "%s: Front Panel Thermal Threshold at upper non critical levels: Cleared ",
     .fault = &kNonCriticalFault, .disposition = kNonCritical, .cleared = &kNonCriticalFault, .clear_cause = kNumberAndText},

    {.when = {.offsets = 106, .states = only(4)},
     .descr = "%s: Front Panel Thermal Threshold at upper non critical levels: Check Cooling ",
     .fault = &kNonCriticalFault, .disposition = kCritical, .cleared = &kCriticalFault, .clear_cause = kNumberAndText},
    {.when = {.offsets = 106, .states = except(4)},
     .descr = "%s: Front Panel Thermal Threshold at upper critical levels: Check Cooling ",
     .fault = &kCriticalFault, .disposition = kNonCritical, .cleared = &kNonCriticalFault, .clear_cause = kNumberAndText},

    {.when = {.offsets = 107, .states = only(5)},
     .descr = "%s: Front Panel Thermal Threshold at upper critical levels: Check Cooling ",
     .fault = &kCriticalFault, .disposition = kNonRecoverable, .cleared = &kNonRecoverableFault, .clear_cause = kNumberAndText},
    // The disposition is 3, while it is 5 for this escalation in other filters: intended.
    {.when = {.offsets = 107, .states = except(5)},
     .descr = "%s: Front Panel Thermal Threshold at upper non recoverable levels: Check Cooling ",
     .fault = &kNonRecoverableFault, .disposition = kPresence, .cleared = &kCriticalFault, .clear_cause = kNumberAndText},
};
static_assert(decides_once(kRules));
// clang-format on

}  // namespace
}  // namespace polaiga

std::int32_t process_front_panel_fault(fe_sensor_event* ev, fe_fault_record** out) {
  using namespace polaiga;
  fe_fault_record* const record = open_record(ev, out);
  if (record == nullptr) return kNoFault;
  write_oid(*record, kClass);
  write_key(*record);
  write_names(*record, "sys/rack-unit-1", "rack-unit-1");
  stamp_event(*record, *ev);

  const FaultRule* rule = decide(kRules, {.offset = ev->event_offset, .state = ev->event_state});
  return rule != nullptr ? report(*rule, *record, {.first = sensor_name(*ev)}) : kNoFault;
}
