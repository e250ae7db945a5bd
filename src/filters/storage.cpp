// Storage controllers with their disks, virtual drives and batteries. The entity id of
// an event says which object is affected, the offset says what is wrong with it.
#include <polaiga/filters.h>
#include <polaiga/services.h>

#include <cstdio>

#include "framework/shared_faults.h"
#include "tables/platform_names.h"

namespace polaiga {
namespace {

// The object that an event concerns. Its kind follows from the entity id of the event.
// Its names are those of the storage controller, followed by the tail.
struct Object {
  std::uint8_t entity_id;
  FaultClass fault_class;
  Format tail;  // inserts the number of the disk or drive
};
constexpr std::uint8_t kControllerId = 208;
constexpr std::uint8_t kDiskId = 209;
constexpr std::uint8_t kDriveId = 210;
constexpr std::uint8_t kBatteryId = 211;

constexpr Object kObjects[] = {
    {kControllerId, {1, 45, 1, 1}, ""},
    {kDiskId, {1, 45, 4, 1}, "/pd-%d"},
    {kDriveId, {1, 45, 8, 1}, "/vd-%d"},
    {kBatteryId, {1, 45, 11, 1}, "/raid-battery"},
};

// The types of controllers. The entity subtype is the index.
constexpr std::string_view kTypes[] = {"SAS", "SATA", "FLASH"};

constexpr Fault kControllerInoperable{1004, "fltStorageControllerInoperable", kEquipmentInoperable};
constexpr Fault kPatrolReadFailed{1003, "fltStorageControllerInoperable", kEquipmentInoperable};
constexpr Fault kDiskInoperable{181, "fltStorageLocalDiskInoperable", kEquipmentInoperable};
constexpr Fault kDiskDegraded{996, "fltStorageLocalDiskDegraded", kEquipmentDegraded};
constexpr Fault kDiskRemoved{181, "fltStorageLocalDiskInoperable", kEquipmentMissing};
constexpr Fault kDiskMissing{1256, "fltStorageLocalDiskMissing", kEquipmentMissing};
constexpr Fault kDriveInoperable{1007, "fltStorageVirtualDriveInoperable", kEquipmentInoperable};
constexpr Fault kDriveDegraded{1008, "fltStorageVirtualDriveDegraded", kEquipmentDegraded};

// What is remembered of each instance number, whatever has that number: a failed patrol
// read of controller 3 counts as a missing disk 3. This is intended.
constexpr Memory kIsMissing = 1 << 0;
constinit UnitMemory<1, 256> storage_disk_flags = {};

using enum Disposition;

// No row names a disposition or a cleared fault, not even those of the clears. So the
// record's disposition and clear cause are not written: intended.
// clang-format off
constexpr FaultRule kRules[] = {
    {.when = {.offsets = 11, .states = kAsserted},
     .descr = "Storage controller %s inoperable: reseat or replace the storage controller %s",
     .fault = &kControllerInoperable},
    {.when = {.offsets = 11, .states = kDeasserted},
     .descr = "Storage controller %s inoperable: Cleared",
     .fault = &kControllerInoperable},

    {.when = {.offsets = 12, .states = kAsserted},
     .descr = "Storage controller %s patrol read failed: Patrol Read can't be started.",
     .fault = &kPatrolReadFailed, .sets = kIsMissing},
    {.when = {.offsets = 12, .states = kDeasserted},
     .descr = "Storage controller %s patrol read failed: Cleared",
     .fault = &kPatrolReadFailed, .clears = kIsMissing},

    {.when = {.offsets = 14, .states = kAsserted, .none_of = kIsMissing},
     .descr = "Storage Local disk %d is inoperable: reseat or replace the storage drive %d",
     .fault = &kDiskInoperable},
    {.when = {.offsets = 14, .states = kDeasserted, .none_of = kIsMissing},
     .descr = "Storage Local disk %d inoperable: Cleared",
     .fault = &kDiskInoperable},

    {.when = {.offsets = 15, .states = kAsserted, .none_of = kIsMissing},
     .descr = "Storage Local disk %d is degraded: please take appropriate action by checking the detailed drive status",
     .fault = &kDiskDegraded},
    {.when = {.offsets = 15, .states = kDeasserted, .none_of = kIsMissing},
     .descr = "Storage Local disk %d degraded: Cleared",
     .fault = &kDiskDegraded},

    {.when = {.offsets = 16, .states = kAsserted, .none_of = kIsMissing},
     .descr = "Storage Local disk %d rebuild failed: please check the storage drive %d",
     .fault = &kRebuildFailed},
    {.when = {.offsets = 16, .states = kDeasserted, .none_of = kIsMissing},
     .descr = "Storage Local disk %d rebuild failed: Cleared",
     .fault = &kRebuildFailed},

    {.when = {.offsets = 17, .states = kAsserted, .none_of = kIsMissing},
     .descr = "Storage Local disk %d Copyback failed: due to source/destination drive error",
     .fault = &kCopybackFailed},
    {.when = {.offsets = 17, .states = kDeasserted, .none_of = kIsMissing},
     .descr = "Storage Local disk %d Copyback failed: Cleared",
     .fault = &kCopybackFailed},

    {.when = {.offsets = {18, 20}, .states = kAsserted},
     .descr = "Storage Local disk %d missing: reseat or replace the storage drive %d",
     .fault = &kDiskRemoved, .sets = kIsMissing},
    {.when = {.offsets = {18, 20}, .states = kDeasserted},
     .descr = "Storage Local disk %d missing: Cleared",
     .fault = &kDiskRemoved, .clears = kIsMissing},

    {.when = {.offsets = 21, .states = kAsserted, .none_of = kIsMissing},
     .descr = "Storage Local disk %d missing: reseat or replace the storage drive %d",
     .fault = &kDiskMissing},
    {.when = {.offsets = 21, .states = kDeasserted, .none_of = kIsMissing},
     .descr = "Storage Local disk %d missing: Cleared",
     .fault = &kDiskMissing},

    {.when = {.offsets = 22, .states = kAsserted},
     .descr = "Storage Virtual Drive %d is inoperable: Check storage controller, or reseat the storage drive",
     .fault = &kDriveInoperable},
    {.when = {.offsets = 22, .states = kDeasserted},
     .descr = "Storage Virtual Drive %d inoperable: Cleared",
     .fault = &kDriveInoperable},

    {.when = {.offsets = 23, .states = kAsserted},
     .descr = "Storage Virtual Drive %d Degraded: please check the storage controller, or reseat the storage drive",
     .fault = &kDriveDegraded},
    {.when = {.offsets = 23, .states = kDeasserted},
     .descr = "Storage Virtual Drive %d degraded: Cleared",
     .fault = &kDriveDegraded},

    {.when = {.offsets = 24, .states = kAsserted},
     .descr = "Storage Virtual Drive %d reconstruction failed: Reconstruction failed due to configuration mismatch",
     .fault = &kReconstructionFailed},
    {.when = {.offsets = 24, .states = kDeasserted},
     .descr = "Storage Virtual Drive %d reconstruction failed: Cleared",
     .fault = &kReconstructionFailed},

    {.when = {.offsets = 25, .states = kAsserted},
     .descr = "Storage Virtual Drive %d Consistency Check Failed: please check the controller, or reseat the physical drives",
     .fault = &kConsistencyCheckFailed},
    {.when = {.offsets = 25, .states = kDeasserted},
     .descr = "Storage Virtual Drive %d Consistency Check Failed: Cleared",
     .fault = &kConsistencyCheckFailed},

    {.when = {.offsets = 26, .states = kAsserted},
     .descr = "Storage Raid Battery %s is inoperable: Check Controller battery",
     .fault = &kBatteryInoperable},
    {.when = {.offsets = 26, .states = kDeasserted},
     .descr = "Storage Raid Battery %s inoperable: Cleared",
     .fault = &kBatteryInoperable},

    {.when = {.offsets = 27, .states = kAsserted},
     .descr = "Storage Raid Battery %s degraded: please check the battery or the storage controller",
     .fault = &kBatteryDegraded},
    {.when = {.offsets = 27, .states = kDeasserted},
     .descr = "Storage Raid Battery %s degraded: Cleared",
     .fault = &kBatteryDegraded},

    {.when = {.offsets = 28, .states = kAsserted},
     .descr = "Storage Raid Battery %s relearn aborted: Learn cycle aborted by user.",
     .fault = &kRelearnAborted},
    {.when = {.offsets = 28, .states = kDeasserted},
     .descr = "Storage Raid Battery %s relearn aborted: Cleared",
     .fault = &kRelearnAborted},

    {.when = {.offsets = 29, .states = kAsserted},
     .descr = "Storage Raid Battery %s relearn failed: Learn cycle failed",
     .fault = &kRelearnFailed},
    {.when = {.offsets = 29, .states = kDeasserted},
     .descr = "Storage Raid Battery %s relearn failed: Cleared",
     .fault = &kRelearnFailed},
};
static_assert(decides_once(kRules));

// The names of the events in the log, beginning with that of the first offset.
constexpr std::int32_t kFirstOffset = 11;
constexpr const char* kEventNames[] = {
    "fe_storage_controller_inoperable",
    "fe_storage_controller_patrol_read_failed",
    nullptr,
    "fe_storage_local_disk_inoperable",
    "fe_storage_local_disk_degraded",
    "fe_storage_local_disk_rebuild_failed",
    "fe_storage_local_disk_copyback_failed",
    "fe_storage_local_disk_present",
    "fe_storage_local_disk_removed_while_in_use",
    "fe_storage_local_disk_removed_not_in_use",
    "fe_storage_local_disk_missing",
    "fe_storage_virtual_drive_inoperable",
    "fe_storage_virtual_drive_degraded",
    "fe_storage_virtual_drive_reconstruction_failed",
    "fe_storage_virtual_drive_consistency_check_failed",
    "fe_storage_raid_battery_inoperable",
    "fe_storage_raid_battery_degraded",
    "fe_storage_raid_battery_relearn_aborted",
    "fe_storage_raid_battery_relearn_failed",
};
// clang-format on

constexpr Offsets kControllerOffsets{11, 12};
constexpr std::int32_t kPatrolReadOffset = 12;
constexpr Offsets kRemovedOffsets{18, 20};
constexpr std::int32_t kDiskMissingOffset = 21;
constexpr Offsets kDriveOffsets{22, 25};
constexpr Offsets kBatteryOffsets{26, 29};

// The names and numbers with which an event is reported.
using Name = char[128];
struct Address {
  Name user;                    // the name of the instance
  Name group;                   // the name of the unit that owns it
  Name slot;                    // "SLOT-" and the name of the controller
  std::string_view type;        // the controller's type
  std::string_view controller;  // what it is called in DN and RN
  std::int32_t disk = 0;
  std::int32_t drive = 0;
};

bool is_sas(std::string_view name) { return name.starts_with("SAS"); }

// Writes the engine's name of an instance or, when the engine has none, its number. The
// name is copied because the engine may use the same buffer for the next one.
void find_name(Name& name, std::int32_t instance, const char* whose) {
  if (const char* text = translate_user_entity_instance(storage_slot_name_table, g_platform, instance, &g_platform)) {
    std::printf("Translated %s Instance: %s", whose, text);
    write_text(name, text);
  } else {
    TextWriter(name).add_number(instance);
  }
}

void find_address(Address& address, const fe_sensor_event& event) {
  find_name(address.user, event.entity_instance, "User");
  find_name(address.group, event.group_instance, "Group");
  if (event.entity_subtype < std::size(kTypes)) address.type = kTypes[event.entity_subtype];
  const std::string_view owner = event.entity_id == kControllerId ? address.user : address.group;
  TextWriter(address.slot).add_literal("SLOT-").add(owner);
  address.controller = is_sas(owner) ? owner : address.slot;
  if (event.entity_id == kDiskId) address.disk = event.entity_instance & 0xFF;
  if (event.entity_id == kDriveId) address.drive = event.entity_instance & 63;
}

// Writes the names and the fault class of the object. For an entity that is not in the
// table the record's names are not written, and its number of arcs becomes 0: intended.
void write_object(fe_fault_record& record, const Address& address) {
  const Insert insert{.number = record.event.entity_id == kDiskId ? address.disk : address.drive};
  for (const Object& object : kObjects) {
    if (object.entity_id != record.event.entity_id) continue;
    const auto write_name = [&](TextWriter name) {
      name.add_literal("storage-").add(address.type).add_literal("-").add(address.controller).add(object.tail, insert);
    };
    write_name(TextWriter(record.dn).add_literal("sys/rack-unit-1/board/"));
    write_name(TextWriter(record.rn));
    write_oid(record, object.fault_class);
    if (object.entity_id == kControllerId) std::puts("STOR_CTLR_ENTITY");
    return;
  }
  record.oid_len = 0;
}

// What the description of an event with this offset inserts.
Insert insert_of(std::int32_t offset, const Address& address) {
  if (kControllerOffsets.hold(offset)) return {.first = address.slot, .further = address.slot};
  if (kBatteryOffsets.hold(offset)) {
    // The name lacks the controller's type, which DN and RN have: intended.
    return {.first = is_sas(address.group) ? address.group : address.slot};
  }
  return {.number = kDriveOffsets.hold(offset) ? address.drive : address.disk};
}

void log_fault(const fe_fault_record& record, const fe_sensor_event& event) {
  const char* const name = kEventNames[event.event_offset - kFirstOffset];
  // The line of this one event has no newline: intended.
  if (event.event_offset == kDiskMissingOffset) {
    fe_logger("FaultName: %s FaultCode: %s FaultSev: %d", name, record.name, event.event_state);
  } else {
    fe_logger("FaultName: %s FaultCode: %s FaultSev: %d\n", name, record.name, event.event_state);
  }
}

// Writes code text and fault DN with the digits that the engine returns. One zero is put
// in front of them when there are at most three: intended.
void write_engine_code_texts(fe_fault_record& record) {
  char digits[32] = {};
  fe_itoa(static_cast<std::int32_t>(record.code), digits, 0);
  const std::string_view code = field_text(digits);
  const char* const zero = digits[0] != '0' && code.size() <= 3 ? "0" : "";
  TextWriter(record.code_text).add_literal("F").add(zero).add(code);
  TextWriter(record.fault_dn).add(field_text(record.dn)).add_literal("/fault-F").add(zero).add(code);
}

}  // namespace
}  // namespace polaiga

std::int32_t process_storage_fault(fe_sensor_event* ev, fe_fault_record** out) {
  using namespace polaiga;
  std::puts("process_storage_fault");
  fe_fault_record* const record = open_record(ev, out);
  if (record == nullptr) return kNoFault;
  Address address;
  find_address(address, *ev);
  write_object(*record, address);
  write_key(*record);
  stamp_time(*record);

  const std::int32_t offset = ev->event_offset;
  std::printf("Entered switch %d\n", offset);
  const FaultRule* rule = decide(
      kRules, {.offset = offset, .state = ev->event_state, .memory = storage_disk_flags.recall(ev->entity_instance)});
  if (rule == nullptr) return kNoFault;
  if (offset == kPatrolReadOffset) std::puts("ENTERED PATROL READ");
  storage_disk_flags.update(ev->entity_instance, *rule);
  // The host's logger may look at the record. At this point the record has the fault's
  // code and name, but not its description: intended.
  apply_fault(*rule, *record);
  log_fault(*record, *ev);
  apply_description(*rule, *record, insert_of(offset, address));
  if (kControllerOffsets.hold(offset) || kRemovedOffsets.hold(offset)) {
    write_engine_code_texts(*record);
  } else {
    write_code_texts(*record);
  }
  return kFilled;
}
