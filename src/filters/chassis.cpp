// The chassis: intrusion.
#include <polaiga/filters.h>

#include "framework/faults.h"

namespace polaiga {
namespace {

constexpr FaultClass kClass{1, 15, 7, 1};

constexpr Fault kIntrusion{320, "fltComputePhysicalUnidentified", kEquipmentProblem};

// clang-format off
constexpr FaultRule kRules[] = {
    {.when = {.offsets = 104, .states = kAsserted},
     .descr = "%s: Chassis Intrusion detected: Please secure the server chassis ",
     .fault = &kIntrusion, .disposition = Disposition::kRaise, .clear_cause = kNumberOnly},
    // The text has two colons, and the text of the clear cause is not written: both intended.
    {.when = {.offsets = 104, .states = kDeasserted},
     .descr = "%s: Chassis Intrusion detected:: Cleared",
     .fault = &kIntrusion, .disposition = Disposition::kPresence, .cleared = &kIntrusion, .clear_cause = kNumberOnly},
};
static_assert(decides_once(kRules));
// clang-format on

}  // namespace
}  // namespace polaiga

std::int32_t process_chassis_fault(fe_sensor_event* ev, fe_fault_record** out) {
  using namespace polaiga;
  fe_fault_record* const record = open_record(ev, out);
  if (record == nullptr) return kNoFault;
  write_oid(*record, kClass);
  write_key(*record);
  write_names(*record, "sys/rack-unit-1", "rack-1");
  stamp_event(*record, *ev);

  const FaultRule* rule = decide(kRules, {.offset = ev->event_offset, .state = ev->event_state});
  return rule != nullptr ? report(*rule, *record, {.first = sensor_name(*ev)}) : kNoFault;
}
