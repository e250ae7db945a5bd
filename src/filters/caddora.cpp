// The SD-card storage controller: the controller itself, its cards, the virtual drive
// that consists of the cards, and a battery.
#include <polaiga/filters.h>

#include "framework/shared_faults.h"

namespace polaiga {
namespace {

// The object that an event concerns. Its kind follows from the entity id of the event.
struct Object {
  std::uint8_t entity_id;
  FaultClass fault_class;
  Format dn;  // these two insert the number of the instance
  Format rn;
};
constexpr std::uint8_t kControllerId = 212;

constexpr Object kObjects[] = {
    {kControllerId, {1, 45, 1, 1}, "sys/rack-unit-1/board/storage-caddora-Caddora-0", "storage-caddora-Caddora-0"},
    {213, {1, 45, 4, 1}, "sys/rack-unit-1/board/storage-caddora-Caddora-0/card-%d", "card-%d"},
    {214, {1, 45, 8, 1}, "sys/rack-unit-1/board/storage-caddora-Caddora-0/vd-%d", "vd-%d"},
    // The battery has the fault class of the virtual drive: intended.
    {215, {1, 45, 8, 1}, "sys/rack-unit-1/board/storage-caddora-Caddora-0/raid-battery", "raid-battery"},
};

constexpr Fault kControllerInoperable{1257, "fltStorageCaddoraControllerInoperable", kEquipmentInoperable};
constexpr Fault kControllerUnhealthy{1262, "fltStorageCaddoraControllerUnhealthy", kEquipmentUnhealthy};
constexpr Fault kCardInoperable{1258, "fltStorageCaddoraCardInoperable", kEquipmentInoperable};
constexpr Fault kCardMissing{1259, "fltStorageCaddoraCardMissing", kEquipmentMissing};
constexpr Fault kDriveInoperable{1261, "fltStorageCaddoraVirtualDriveInoperable", kEquipmentInoperable};
constexpr Fault kDriveDegraded{1260, "fltStorageCaddoraVirtualDriveDegraded", kEquipmentDegraded};

// What is remembered of each card. Number 0 is the controller: its failed patrol read
// counts as a missing card, too. This is intended.
constexpr Memory kIsMissing = 1 << 0;
constinit UnitMemory<0, 12> caddora_card_flags = {};

using enum Disposition;

// All rows leave the text of the clear cause as it is, and the clears of the battery name
// no fault that they clear. Both is intended.
// clang-format off
constexpr FaultRule kRules[] = {
    {.when = {.offsets = 11, .states = kAsserted},
     .descr = "Caddora controller Caddora-0 inoperable: reseat or replace the caddora controller",
     .fault = &kControllerInoperable, .disposition = kRaise, .clear_cause = kNumberOnly},
    {.when = {.offsets = 11, .states = kDeasserted},
     .descr = "Caddora controller Caddora-0 inoperable: Cleared",
     .fault = &kControllerInoperable, .disposition = kCritical, .cleared = &kControllerInoperable, .clear_cause = kNumberOnly},

    {.when = {.offsets = 12, .states = kAsserted},
     .descr = "Caddora controller Caddora-0 patrol read failed: reseat or replace the caddora controller",
     .fault = &kControllerInoperable, .disposition = kRaise, .clear_cause = kNumberOnly, .sets = kIsMissing},
    {.when = {.offsets = 12, .states = kDeasserted},
     .descr = "Caddora controller Caddora-0 patrol read failed: Cleared",
     .fault = &kControllerInoperable, .disposition = kCritical, .cleared = &kControllerInoperable, .clear_cause = kNumberOnly, .clears = kIsMissing},

    {.when = {.offsets = 13, .states = kAsserted},
     .descr = "Caddora controller Caddora-0 configuration error: configure the caddora controller correctly",
     .fault = &kControllerUnhealthy, .disposition = kRaise, .clear_cause = kNumberOnly},
    {.when = {.offsets = 13, .states = kDeasserted},
     .descr = "Caddora controller Caddora-0 configuration error: Cleared",
     .fault = &kControllerUnhealthy, .disposition = kNonCritical, .cleared = &kControllerUnhealthy, .clear_cause = kNumberOnly},

    {.when = {.offsets = 14, .states = kAsserted, .none_of = kIsMissing},
     .descr = "Caddora Local disk %d is inoperable: reseat or replace the local disk %d",
     .fault = &kCardInoperable, .disposition = kRaise, .clear_cause = kNumberOnly},
    {.when = {.offsets = 14, .states = kDeasserted, .none_of = kIsMissing},
     .descr = "Caddora Local disk %d inoperable: Cleared",
     .fault = &kCardInoperable, .disposition = kCritical, .cleared = &kCardInoperable, .clear_cause = kNumberOnly},

    {.when = {.offsets = 16, .states = kAsserted, .none_of = kIsMissing},
     .descr = "Caddora Local disk %d rebuild failed: please check the drive %d",
     .fault = &kRebuildFailed, .disposition = kRaise, .clear_cause = kNumberOnly},
    {.when = {.offsets = 16, .states = kDeasserted, .none_of = kIsMissing},
     .descr = "Caddora Local disk %d rebuild failed: Cleared",
     .fault = &kRebuildFailed, .disposition = kCritical, .cleared = &kRebuildFailed, .clear_cause = kNumberOnly},

    {.when = {.offsets = 17, .states = kAsserted, .none_of = kIsMissing},
     .descr = "Caddora Local disk %d Copyback failed: please check the drive %d",
     .fault = &kCopybackFailed, .disposition = kRaise, .clear_cause = kNumberOnly},
    {.when = {.offsets = 17, .states = kDeasserted, .none_of = kIsMissing},
     .descr = "Caddora Local disk %d Copyback failed: Cleared",
     .fault = &kCopybackFailed, .disposition = kCritical, .cleared = &kCopybackFailed, .clear_cause = kNumberOnly},

    {.when = {.offsets = {18, 20}, .states = kAsserted},
     .descr = "Caddora Local disk %d missing: reseat or replace Caddora Local disk",
     .fault = &kCardMissing, .disposition = kRaise, .clear_cause = kNumberOnly, .sets = kIsMissing},
    {.when = {.offsets = {18, 20}, .states = kDeasserted},
     .descr = "Caddora Local disk %d missing: Cleared",
     .fault = &kCardMissing, .disposition = kTransition, .cleared = &kCardMissing, .clear_cause = kNumberOnly, .clears = kIsMissing},

    {.when = {.offsets = 22, .states = kAsserted},
     .descr = "Caddora Virtual Drive %d (%s) is Inoperable: Check caddora controller properties or Caddora disks",
     .fault = &kDriveInoperable, .disposition = kRaise, .clear_cause = kNumberOnly},
    {.when = {.offsets = 22, .states = kDeasserted},
     .descr = "Caddora Virtual Drive %d Inoperable: Cleared",
     .fault = &kDriveInoperable, .disposition = kCritical, .cleared = &kDriveInoperable, .clear_cause = kNumberOnly},

    {.when = {.offsets = 23, .states = kAsserted},
     .descr = "Caddora Virtual Drive %d (%s) Degraded: please check the flash device or the controller",
     .fault = &kDriveDegraded, .disposition = kRaise, .clear_cause = kNumberOnly},
    {.when = {.offsets = 23, .states = kDeasserted},
     .descr = "Caddora Virtual Drive %d Degraded: Cleared",
     .fault = &kDriveDegraded, .disposition = kNonCritical, .cleared = &kDriveDegraded, .clear_cause = kNumberOnly},

    {.when = {.offsets = 24, .states = kAsserted},
     .descr = "Caddora Virtual Drive %d (%s) reconstruction failed: please check the caddora controller",
     .fault = &kReconstructionFailed, .disposition = kRaise, .clear_cause = kNumberOnly},
    {.when = {.offsets = 24, .states = kDeasserted},
     .descr = "Caddora Virtual Drive %d reconstruction failed: Cleared",
     .fault = &kReconstructionFailed, .disposition = kCritical, .cleared = &kReconstructionFailed, .clear_cause = kNumberOnly},

    {.when = {.offsets = 25, .states = kAsserted},
     .descr = "Caddora Virtual Drive %d (%s) Consistency Check Failed: please check the controller",
     .fault = &kConsistencyCheckFailed, .disposition = kRaise, .clear_cause = kNumberOnly},
    {.when = {.offsets = 25, .states = kDeasserted},
     .descr = "Caddora Virtual Drive %d Consistency Check Failed: Cleared",
     .fault = &kConsistencyCheckFailed, .disposition = kCritical, .cleared = &kConsistencyCheckFailed, .clear_cause = kNumberOnly},

    {.when = {.offsets = 26, .states = kAsserted},
     .descr = "Caddora Raid Battery %d is inoperable: Check Controller battery",
     .fault = &kBatteryInoperable, .disposition = kRaise, .clear_cause = kNumberOnly},
    {.when = {.offsets = 26, .states = kDeasserted},
     .descr = "Caddora Raid Battery %d inoperable: Cleared",
     .fault = &kBatteryInoperable, .disposition = kRaise, .clear_cause = kNumberOnly},

    {.when = {.offsets = 27, .states = kAsserted},
     .descr = "Caddora Raid Battery %d Degraded: please check the battery or the caddora controller",
     .fault = &kBatteryDegraded, .disposition = kRaise, .clear_cause = kNumberOnly},
    {.when = {.offsets = 27, .states = kDeasserted},
     .descr = "Caddora Raid Battery %d degraded: Cleared",
     .fault = &kBatteryDegraded, .disposition = kRaise, .clear_cause = kNumberOnly},

    {.when = {.offsets = 28, .states = kAsserted},
     .descr = "Caddora Raid Battery %d relearn aborted: please reseat the raid battery and try again",
     .fault = &kRelearnAborted, .disposition = kRaise, .clear_cause = kNumberOnly},
    {.when = {.offsets = 28, .states = kDeasserted},
     .descr = "Caddora Raid Battery %d relearn aborted: Cleared",
     .fault = &kRelearnAborted, .disposition = kRaise, .clear_cause = kNumberOnly},

    {.when = {.offsets = 29, .states = kAsserted},
     .descr = "Caddora Raid Battery %d relearn failed: please reseat the raid battery and try again",
     .fault = &kRelearnFailed, .disposition = kRaise, .clear_cause = kNumberOnly},
    {.when = {.offsets = 29, .states = kDeasserted},
     .descr = "Caddora Raid Battery %d relearn failed: Cleared",
     .fault = &kRelearnFailed, .disposition = kRaise, .clear_cause = kNumberOnly},
};
static_assert(decides_once(kRules));
// clang-format on

// Writes the names and the fault class of the object. For an entity that is not in the
// table the record's names are not written, and its number of arcs becomes 0: intended.
void write_object(fe_fault_record& record) {
  const Insert insert{.number = record.event.entity_instance};
  for (const Object& object : kObjects) {
    if (object.entity_id != record.event.entity_id) continue;
    TextWriter(record.dn).add(object.dn, insert);
    TextWriter(record.rn).add(object.rn, insert);
    write_oid(record, object.fault_class);
    return;
  }
  record.oid_len = 0;
}

}  // namespace
}  // namespace polaiga

std::int32_t process_caddora_fault(fe_sensor_event* ev, fe_fault_record** out) {
  using namespace polaiga;
  fe_fault_record* const record = open_record(ev, out);
  if (record == nullptr) return kNoFault;
  // There is only one controller. Its instance is set to 0, also in the caller's event:
  // intended.
  if (ev->entity_id == kControllerId) record->event.entity_instance = ev->entity_instance = 0;
  const std::int32_t instance = record->event.entity_instance;
  write_object(*record);
  write_key(*record);
  stamp_time(*record);

  const FaultRule* rule = decide(
      kRules, {.offset = ev->event_offset, .state = ev->event_state, .memory = caddora_card_flags.recall(instance)});
  if (rule == nullptr) return kNoFault;
  caddora_card_flags.update(instance, *rule);
  return report(*rule, *record, {.first = sensor_name(*ev), .number = instance});
}
