// The network link of the management controller itself.
#include <polaiga/filters.h>

#include "framework/clear_text.h"
#include "framework/faults.h"

namespace polaiga {
namespace {

constexpr FaultClass kClass{1, 31, 9, 1};

constexpr Fault kLinkDown{717, "fltMgmtIfMissing", kLinkMissing};

using enum Disposition;

// No row names a disposition or a cleared fault, not even that of the clear. So the
// record's disposition and clear cause are not written: intended.
// clang-format off
constexpr FaultRule kRules[] = {
    {.when = {.offsets = 126, .states = kAsserted},
     .descr = "Management Interface Link Down : %s Check the network cable connection",
     .fault = &kLinkDown},
    {.when = {.offsets = 126, .states = kDeasserted},
     .descr = "Management Interface Link Down : %s: Cleared",
     .fault = &kLinkDown},
};
static_assert(decides_once(kRules));
// clang-format on

}  // namespace
}  // namespace polaiga

std::int32_t process_ne_fault(fe_sensor_event* ev, fe_fault_record** out) {
  using namespace polaiga;
  fe_fault_record* const record = open_record(ev, out);
  if (record == nullptr) return kNoFault;
  write_names(*record, "sys/rack-unit-1/mgmt/if-1", "if-1");
  stamp_event(*record, *ev);

  const FaultRule* rule = decide(kRules, {.offset = ev->event_offset, .state = ev->event_state});
  if (rule != nullptr) {
    apply(*rule, *record, {.first = sensor_name(*ev)});
    write_oid(*record, kClass);
  }
  // The following steps are taken even when no rule holds. They then work on the code and
  // the description that the caller's record had: intended.
  write_code_texts(*record);
  write_key(*record);
  if (ev->event_state == FE_STATE_DEASSERTED && !clear_at_last_colon(record->descr)) return kNoFault;
  return rule != nullptr ? kFilled : kNoFault;
}
