// PCI risers: presence and temperature. They are addressed by the slot that the riser
// occupies.
#include <polaiga/filters.h>

#include "framework/shared_faults.h"

namespace polaiga {
namespace {

constexpr FaultClass kClass{1, 15, 30, 1};
constexpr std::uint8_t kRackSubtype = 1;  // the entity subtype of events that concern the whole server

constexpr Fault kRemoved{376, "fltEquipmentIOCardRemoved", kEquipmentMissing};

using enum Disposition;

// The texts for a fall to a lower level have two blanks in front of "riser". Offsets 109
// and 110 have no clear: their state 0 raises a fault, as their other states do. The
// thermal rows name no clear cause, so that it is not written. All of this is intended.
// clang-format off
constexpr FaultRule kRules[] = {
    {.when = {.offsets = 63, .states = kAsserted},
     .descr = "%s: PCI %d riser is missing: reseat or replace PCI riser %d",
     .fault = &kRemoved, .disposition = kRaise, .clear_cause = kNumberOnly},
    {.when = {.offsets = 63, .states = kDeasserted},
     .descr = "%s: PCI %d riser is missing: Cleared",
     .fault = &kRemoved, .disposition = kPresence, .cleared = &kRemoved, .clear_cause = kNumberOnly},

    // This raise names a cleared fault, which is the fault itself: intended.
    {.when = {.offsets = 108, .states = kAsserted},
     .descr = "%s: PCI Slot %d riser card is upper non critical: Check device cooling",
     .fault = &kIoCardNonCritical, .disposition = kRaise, .cleared = &kIoCardNonCritical},
    {.when = {.offsets = 108, .states = kDeasserted},
     .descr = "%s: PCI Slot %d  riser card is upper non critical: Cleared",
     .fault = &kIoCardNonCritical, .disposition = kNonCritical, .cleared = &kIoCardNonCritical},

    {.when = {.offsets = 109, .states = only(4)},
     .descr = "%s: PCI Slot %d  riser card is upper non critical: Check device cooling",
     .fault = &kIoCardNonCritical, .disposition = kCritical, .cleared = &kIoCardCritical},
    {.when = {.offsets = 109, .states = except(4)},
     .descr = "%s: PCI Slot %d riser card is upper critical: Check device cooling",
     .fault = &kIoCardCritical, .disposition = kNonCritical, .cleared = &kIoCardNonCritical},

    {.when = {.offsets = 110, .states = only(5)},
     .descr = "%s: PCI Slot %d  riser card is upper critical: Check device cooling",
     .fault = &kIoCardCritical, .disposition = kNonRecoverable, .cleared = &kIoCardNonRecoverable},
    {.when = {.offsets = 110, .states = except(5)},
     .descr = "%s: PCI Slot %d riser card is upper non recoverable: Check device cooling",
     .fault = &kIoCardNonRecoverable, .disposition = kCritical, .cleared = &kIoCardCritical},
};
static_assert(decides_once(kRules));
// clang-format on

}  // namespace
}  // namespace polaiga

std::int32_t process_pci_fault(fe_sensor_event* ev, fe_fault_record** out) {
  using namespace polaiga;
  fe_fault_record* const record = open_record(ev, out);
  if (record == nullptr) return kNoFault;
  write_oid(*record, kClass);
  write_key(*record);
  const std::int32_t slot = ev->entity_instance;
  if (ev->entity_subtype == kRackSubtype) {
    write_names(*record, "sys/rack-unit-1", "rack-unit-1");
  } else {
    TextWriter(record->dn).add_literal("sys/rack-unit-1/equipped-slot-").add_number(slot);
    TextWriter(record->rn).add_literal("equipped-slot-").add_number(slot);
  }
  stamp_event(*record, *ev);

  const FaultRule* rule = decide(kRules, {.offset = ev->event_offset, .state = ev->event_state});
  return rule != nullptr ? report(*rule, *record, {.first = sensor_name(*ev), .number = slot}) : kNoFault;
}
