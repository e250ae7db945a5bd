// The BIOS power-on self test. The filter fills the record, yet always returns -1. The
// engine is told that a failure is over through one of its own services.
#include <polaiga/filters.h>
#include <polaiga/services.h>

#include "framework/faults.h"

namespace polaiga {
namespace {

constexpr FaultClass kClass{1, 9, 35, 1};

constexpr Fault kPostFailure{517, "fltComputePhysicalPostfailure", kEquipmentProblem};

// clang-format off
constexpr FaultRule kRules[] = {
    {.when = {.offsets = 103, .states = kAsserted},
     .descr = "%s: Bios Post Failed: Check hardware ",
     .fault = &kPostFailure, .disposition = Disposition::kRaise, .clear_cause = kNumberOnly},
    // The text has two colons, and the text of the clear cause is not written: both intended.
    {.when = {.offsets = 103, .states = kDeasserted},
     .descr = "%s: Bios Post Failed:: Cleared",
     .fault = &kPostFailure, .disposition = Disposition::kNonRecoverable, .cleared = &kPostFailure, .clear_cause = kNumberOnly},
};
static_assert(decides_once(kRules));
// clang-format on

}  // namespace
}  // namespace polaiga

std::int32_t process_fw_bios_post_fault(fe_sensor_event* ev, fe_fault_record** out) {
  using namespace polaiga;
  fe_fault_record* const record = open_record(ev, out);
  if (record == nullptr) return kNoFault;
  write_oid(*record, kClass);
  write_key(*record);
  write_names(*record, "sys/rack-unit-1", "rack-1");
  stamp_event(*record, *ev);

  if (const FaultRule* rule = decide(kRules, {.offset = ev->event_offset, .state = ev->event_state})) {
    // The engine is told before the record's code, name and description are written: intended.
    if (ev->event_state == FE_STATE_DEASSERTED) cleanup_deasserted_events(record, 0, 0, 0);
    report(*rule, *record, {.first = sensor_name(*ev)});
  }
  return kNoFault;
}
