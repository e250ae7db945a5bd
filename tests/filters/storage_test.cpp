#include "support/filter_test.h"

#include <polaiga/services.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace polaiga::test {
namespace storage_test {

constexpr std::uint8_t kController = 208;
constexpr std::uint8_t kDisk = 209;
constexpr std::uint8_t kVirtualDrive = 210;
constexpr std::uint8_t kBattery = 211;

// An offset of the decision table. In the texts # stands for the disk number, @
// for the drive number, $ for the slot and & for the name of a battery.
struct Row {
  int offset;
  const char* event;
  const char* name;
  std::uint32_t code;
  const char* code_text;
  std::uint32_t cause_id;
  const char* cause;
  const char* asserted;
  const char* cleared;
};

const Row kRows[] = {
    {11, "fe_storage_controller_inoperable", "fltStorageControllerInoperable", 1004, "F1004", 214,
     "equipment-inoperable", "Storage controller $ inoperable: reseat or replace the storage controller $",
     "Storage controller $ inoperable: Cleared"},
    {12, "fe_storage_controller_patrol_read_failed", "fltStorageControllerInoperable", 1003, "F1003", 214,
     "equipment-inoperable", "Storage controller $ patrol read failed: Patrol Read can't be started.",
     "Storage controller $ patrol read failed: Cleared"},
    {14, "fe_storage_local_disk_inoperable", "fltStorageLocalDiskInoperable", 181, "F0181", 214, "equipment-inoperable",
     "Storage Local disk # is inoperable: reseat or replace the storage drive #",
     "Storage Local disk # inoperable: Cleared"},
    {15, "fe_storage_local_disk_degraded", "fltStorageLocalDiskDegraded", 996, "F0996", 218, "equipment-degraded",
     "Storage Local disk # is degraded: please take appropriate action by checking the detailed drive status",
     "Storage Local disk # degraded: Cleared"},
    {16, "fe_storage_local_disk_rebuild_failed", "fltStorageLocalDiskRebuildFailed", 1005, "F1005", 380,
     "equipment-offline", "Storage Local disk # rebuild failed: please check the storage drive #",
     "Storage Local disk # rebuild failed: Cleared"},
    {17, "fe_storage_local_disk_copyback_failed", "fltStorageLocalDiskCopybackFailed", 1006, "F1006", 380,
     "equipment-offline", "Storage Local disk # Copyback failed: due to source/destination drive error",
     "Storage Local disk # Copyback failed: Cleared"},
    {18, "fe_storage_local_disk_present", "fltStorageLocalDiskInoperable", 181, "F0181", 238, "equipment-missing",
     "Storage Local disk # missing: reseat or replace the storage drive #", "Storage Local disk # missing: Cleared"},
    {19, "fe_storage_local_disk_removed_while_in_use", "fltStorageLocalDiskInoperable", 181, "F0181", 238,
     "equipment-missing", "Storage Local disk # missing: reseat or replace the storage drive #",
     "Storage Local disk # missing: Cleared"},
    {20, "fe_storage_local_disk_removed_not_in_use", "fltStorageLocalDiskInoperable", 181, "F0181", 238,
     "equipment-missing", "Storage Local disk # missing: reseat or replace the storage drive #",
     "Storage Local disk # missing: Cleared"},
    {21, "fe_storage_local_disk_missing", "fltStorageLocalDiskMissing", 1256, "F1256", 238, "equipment-missing",
     "Storage Local disk # missing: reseat or replace the storage drive #", "Storage Local disk # missing: Cleared"},
    {22, "fe_storage_virtual_drive_inoperable", "fltStorageVirtualDriveInoperable", 1007, "F1007", 214,
     "equipment-inoperable",
     "Storage Virtual Drive @ is inoperable: Check storage controller, or reseat the storage drive",
     "Storage Virtual Drive @ inoperable: Cleared"},
    {23, "fe_storage_virtual_drive_degraded", "fltStorageVirtualDriveDegraded", 1008, "F1008", 218,
     "equipment-degraded",
     "Storage Virtual Drive @ Degraded: please check the storage controller, or reseat the storage drive",
     "Storage Virtual Drive @ degraded: Cleared"},
    {24, "fe_storage_virtual_drive_reconstruction_failed", "fltStorageVirtualDriveReconstructionFailed", 1009, "F1009",
     218, "equipment-degraded",
     "Storage Virtual Drive @ reconstruction failed: Reconstruction failed due to configuration mismatch",
     "Storage Virtual Drive @ reconstruction failed: Cleared"},
    {25, "fe_storage_virtual_drive_consistency_check_failed", "fltStorageVirtualDriveConsistencyCheckFailed", 1010,
     "F1010", 218, "equipment-degraded",
     "Storage Virtual Drive @ Consistency Check Failed: please check the controller, or reseat the physical drives",
     "Storage Virtual Drive @ Consistency Check Failed: Cleared"},
    {26, "fe_storage_raid_battery_inoperable", "fltStorageRaidBatteryInoperable", 531, "F0531", 214,
     "equipment-inoperable", "Storage Raid Battery & is inoperable: Check Controller battery",
     "Storage Raid Battery & inoperable: Cleared"},
    {27, "fe_storage_raid_battery_degraded", "fltStorageRaidBatteryDegraded", 997, "F0997", 218, "equipment-degraded",
     "Storage Raid Battery & degraded: please check the battery or the storage controller",
     "Storage Raid Battery & degraded: Cleared"},
    {28, "fe_storage_raid_battery_relearn_aborted", "fltStorageRaidBatteryRelearnAborted", 998, "F0998", 218,
     "equipment-degraded", "Storage Raid Battery & relearn aborted: Learn cycle aborted by user.",
     "Storage Raid Battery & relearn aborted: Cleared"},
    {29, "fe_storage_raid_battery_relearn_failed", "fltStorageRaidBatteryRelearnFailed", 999, "F0999", 218,
     "equipment-degraded", "Storage Raid Battery & relearn failed: Learn cycle failed",
     "Storage Raid Battery & relearn failed: Cleared"},
};

const Row& row_of(int offset) {
  return *std::ranges::find_if(kRows, [offset](const Row& row) { return row.offset == offset; });
}

bool marks_missing(int offset) { return offset == 12 || (offset >= 18 && offset <= 20); }
bool is_muted(int offset) { return (offset >= 14 && offset <= 17) || offset == 21; }

// The fields of an event that identify an object, and what the filter writes for them.
struct Object {
  int platform = 0;
  std::uint8_t entity_id = 0;
  std::uint8_t entity_subtype = 0;
  int instance = 0;
  int group = 0;
  std::uint32_t fault_key = 0;
  std::string rn = "";     // empty: left alone, as is the dn
  std::string trace = "";  // between the first line and the last ones
  std::string slot = "";
  std::string battery = "";
  std::string disk = "0";
  std::string drive = "0";
};

// The objects of the tests of the decision table: every entity, with a controller whose
// name begins with SAS, with one that has another name, and with one that has no name.
const Object kObjects[] = {
    {11, kController, 0, 11, 2, 0xD0000B00, "storage-SAS-SAS", "Translated User Instance: SASSTOR_CTLR_ENTITY\n",
     "SLOT-SAS", "SLOT-SAS"},
    {11, kController, 1, 12, 11, 0xD0000C01, "storage-SATA-SLOT-FrontPCIe5",
     "Translated User Instance: FrontPCIe5Translated Group Instance: SASSTOR_CTLR_ENTITY\n", "SLOT-FrontPCIe5", "SAS"},
    {0, kController, 2, 4, 7, 0xD0000402, "storage-FLASH-SLOT-4", "STOR_CTLR_ENTITY\n", "SLOT-4", "SLOT-4"},
    {4, kDisk, 1, 3, 11, 0xD1000301, "storage-SATA-SAS/pd-3", "Translated Group Instance: SAS", "SLOT-SAS", "SAS", "3"},
    {15, kDisk, 2, 2, 1, 0xD1000202, "storage-FLASH-SLOT-SBMezz1/pd-2",
     "Translated User Instance: SBMezz2Translated Group Instance: SBMezz1", "SLOT-SBMezz1", "SLOT-SBMezz1", "2"},
    {4, kDisk, 0, 11, 7, 0xD1000B00, "storage-SAS-SLOT-7/pd-11", "Translated User Instance: SAS", "SLOT-7", "SLOT-7",
     "11"},
    {11, kVirtualDrive, 0, 65, 11, 0xD2004100, "storage-SAS-SAS/vd-1", "Translated Group Instance: SAS", "SLOT-SAS",
     "SAS", "0", "1"},
    {6, kVirtualDrive, 1, 8, 3, 0xD2000801, "storage-SATA-SLOT-MEZZ/vd-8", "Translated Group Instance: MEZZ",
     "SLOT-MEZZ", "SLOT-MEZZ", "0", "8"},
    {11, kBattery, 0, 1, 11, 0xD3000100, "storage-SAS-SAS/raid-battery", "Translated Group Instance: SAS", "SLOT-SAS",
     "SAS"},
    {7, kBattery, 1, 1, 2, 0xD3000101, "storage-SATA-SLOT-2/raid-battery", "", "SLOT-2", "SLOT-2"},
    {4, 207, 0, 11, 9, 0xCF000B00, "", "Translated User Instance: SAS", "SLOT-9", "SLOT-9"},
    {4, 212, 1, 5, 11, 0xD4000501, "", "Translated Group Instance: SAS", "SLOT-SAS", "SAS"},
};

// A disk of a controller without a name.
const Object kPlainDisk{0, kDisk, 0, 4, 7, 0xD1000400, "storage-SAS-SLOT-7/pd-4", "", "SLOT-7", "SLOT-7", "4"};

std::string filled(const char* text, const Object& object) {
  std::string result;
  for (const char* c = text; *c != '\0'; ++c) {
    switch (*c) {
      case '#':
        result += object.disk;
        break;
      case '@':
        result += object.drive;
        break;
      case '$':
        result += object.slot;
        break;
      case '&':
        result += object.battery;
        break;
      default:
        result += *c;
    }
  }
  return result;
}

// The part of a text that fits a field of a record.
std::string fitting(const std::string& text, std::size_t size) { return text.substr(0, size - 1); }

std::vector<std::uint32_t> oid_of(std::uint8_t entity_id) {
  const std::uint32_t arcs[] = {1, 4, 8, 11};
  return {1, 3, 6, 1, 4, 1, 32473, 5, 100, 1, 45, arcs[entity_id - kController], 1};
}

class StorageTest : public FilterTest {
 protected:
  StorageTest() : FilterTest("process_storage_fault") {}

  static Event at(const Object& object, int offset, int state) {
    return {.sensor = "STORAGE",
            .offset = offset,
            .state = state,
            .instance = object.instance,
            .entity_id = object.entity_id,
            .entity_subtype = object.entity_subtype,
            .group = object.group};
  }

  // Keeps what the filter writes to standard output.
  Outcome send(const Event& event, const fe_fault_record& record = patterned_record()) {
    ::testing::internal::CaptureStdout();
    const Outcome outcome = FilterTest::send(event, record);
    traced_ = ::testing::internal::GetCapturedStdout();
    return outcome;
  }

  // What every event of an object writes, whether or not it yields a fault.
  static Written framed(const Object& object) {
    Written written{.fault_key = object.fault_key, .oid_len = 0, .created = kNowText, .created_time = kNow};
    if (object.rn.empty()) return written;
    written.dn = fitting("sys/rack-unit-1/board/" + object.rn, FE_DN_SIZE);
    written.rn = fitting(object.rn, FE_RN_SIZE);
    written.oid = oid_of(object.entity_id);
    written.oid_len = 13;
    return written;
  }

  static Written of(const Row& row, int state, const Object& object) {
    Written written = framed(object);
    written.name = row.name;
    written.code = row.code;
    written.clear_code = 0;
    written.code_text = row.code_text;
    written.fault_dn = fitting(written.dn.value_or("caller's dn") + "/fault-" + row.code_text, FE_DN_SIZE);
    written.cause_id = row.cause_id;
    written.cause = row.cause;
    written.descr = filled(state != 0 ? row.asserted : row.cleared, object);
    return written;
  }

  // When the filter writes no DN, the fault DN is made of the DN that the caller's record had.
  static fe_fault_record callers_record() {
    fe_fault_record record = patterned_record();
    std::strcpy(record.dn, "caller's dn");
    return record;
  }

  // An event with all that it is to leave: result, record, standard output, log.
  void expect_traced(const Object& object, const Event& event, std::int32_t result, const Written& written,
                     const std::string& last_lines, const std::vector<std::string>& log) {
    SCOPED_TRACE(::testing::Message() << "entity " << int{event.entity_id} << " instance " << event.instance
                                      << " offset " << event.offset << " state " << event.state);
    g_platform = object.platform;
    host().log.clear();
    const fe_sensor_event sent = bytes_of(event);
    const Outcome outcome = send(event, callers_record());
    EXPECT_EQ(outcome.result, result);
    EXPECT_EQ(std::memcmp(&outcome.event, &sent, sizeof sent), 0) << "the event was written to";
    expect_record(event, written, outcome.record, callers_record());
    EXPECT_EQ(traced_, "process_storage_fault\n" + object.trace + last_lines);
    EXPECT_EQ(host().log, log);
  }

  void expect_fault(const Object& object, const Row& row, int state) {
    std::string last_lines = "Entered switch " + std::to_string(row.offset) + "\n";
    if (row.offset == 12) last_lines += "ENTERED PATROL READ\n";
    std::string line =
        std::string("FaultName: ") + row.event + " FaultCode: " + row.name + " FaultSev: " + std::to_string(state);
    if (row.offset != 21) line += "\n";
    expect_traced(object, at(object, row.offset, state), 0, of(row, state, object), last_lines, {line});
  }

  void expect_none(const Object& object, int offset, int state) {
    expect_traced(object, at(object, offset, state), -1, framed(object),
                  "Entered switch " + std::to_string(offset) + "\n", {});
  }

  void set_missing(int instance, int state, int offset = 18, std::uint8_t entity_id = kDisk) {
    EXPECT_EQ(send({.offset = offset, .state = state, .instance = instance, .entity_id = entity_id}).result, 0);
  }

  // What is remembered of a disk can be seen only by the events that are then suppressed.
  bool is_suppressed(int instance, std::uint8_t entity_id = kDisk) {
    return send({.offset = 15, .state = 1, .instance = instance, .entity_id = entity_id}).result == -1;
  }

 private:
  std::string traced_;
};

TEST_F(StorageTest, NullArguments) {
  ::testing::internal::CaptureStdout();
  expect_null_arguments_rejected();
  EXPECT_EQ(::testing::internal::GetCapturedStdout(),
            "process_storage_fault\nprocess_storage_fault\nprocess_storage_fault\nprocess_storage_fault\n");
  EXPECT_EQ(host().log, std::vector<std::string>{});
}

TEST_F(StorageTest, EveryLineOfTheTableOnEveryObject) {
  for (const Object& object : kObjects) {
    for (const Row& row : kRows) {
      for (const int state : {1, 2, 3, 4, 5, 6, 7, 100, 256, -1, 0}) {
        expect_fault(object, row, state);
        if (marks_missing(row.offset)) set_missing(object.instance, 0);
      }
    }
  }
}

TEST_F(StorageTest, OtherOffsetsLeaveAStampedRecord) {
  std::vector<int> offsets = {-2147483647 - 1, -14, 65536 + 14, 256 + 18, 2147483647};
  for (int offset = -2; offset <= 64; ++offset) offsets.push_back(offset);
  for (const Object& object : kObjects) {
    for (const int offset : offsets) {
      if (std::ranges::any_of(kRows, [offset](const Row& row) { return row.offset == offset; })) continue;
      expect_none(object, offset, 1);
      expect_none(object, offset, 0);
    }
  }
}

TEST_F(StorageTest, MissingDiskMutesItsOtherFaults) {
  for (const int begin : {12, 18, 19, 20}) {
    expect_fault(kPlainDisk, row_of(begin), begin == 19 ? -1 : 5);
    for (const Row& row : kRows) {
      for (const int state : {1, 0}) {
        if (is_muted(row.offset)) {
          expect_none(kPlainDisk, row.offset, state);
        } else if (!marks_missing(row.offset) || state != 0) {
          expect_fault(kPlainDisk, row, state);
        }
      }
    }
    // A clear of any of the four offsets ends what a raise of any of them began.
    for (const int end : {12, 18, 19, 20}) {
      set_missing(4, 1, begin);
      EXPECT_TRUE(is_suppressed(4));
      expect_fault(kPlainDisk, row_of(end), 0);
      for (const Row& row : kRows) {
        if (!is_muted(row.offset)) continue;
        expect_fault(kPlainDisk, row, 1);
        expect_fault(kPlainDisk, row, 0);
      }
    }
  }
}

TEST_F(StorageTest, NoOtherLineMarksTheDiskMissing) {
  for (const Row& row : kRows) {
    if (marks_missing(row.offset)) continue;
    expect_fault(kPlainDisk, row, 1);
    EXPECT_FALSE(is_suppressed(4)) << row.offset;
  }
}

TEST_F(StorageTest, OnlyTheMissingDiskIsMuted) {
  set_missing(2, 1);
  set_missing(9, -1, 20);
  for (int instance = 1; instance <= 20; ++instance) {
    EXPECT_EQ(is_suppressed(instance), instance == 2 || instance == 9) << instance;
  }
  EXPECT_FALSE(is_suppressed(256 + 2));  // disk 2 by its number, yet not by its instance
  set_missing(2, 0);
  EXPECT_FALSE(is_suppressed(2));
  EXPECT_TRUE(is_suppressed(9));
}

TEST_F(StorageTest, PatrolReadOfTheControllerMutesTheDiskOfItsInstance) {
  set_missing(2, 1, 12, kController);
  for (const int offset : {14, 15, 16, 17, 21}) {
    for (const std::uint8_t entity_id : {kController, kDisk, kVirtualDrive, kBattery}) {
      EXPECT_EQ(send({.offset = offset, .state = 1, .instance = 2, .entity_id = entity_id}).result, -1) << offset;
    }
  }
  EXPECT_FALSE(is_suppressed(1));
  EXPECT_FALSE(is_suppressed(3));
  set_missing(2, 0, 12, kController);
  EXPECT_FALSE(is_suppressed(2));
}

TEST_F(StorageTest, InstancesOutsideTheStateAreNeverMuted) {
  const int outside[] = {0, -1, -2, 257, 258, 512, 1000000, 2147483647, -2147483647, -2147483647 - 1};
  for (const int instance : outside) {
    for (const int offset : {12, 18, 19, 20}) {
      set_missing(instance, 1, offset);
      EXPECT_FALSE(is_suppressed(instance)) << instance;
    }
  }
  for (int instance = 1; instance <= 256; ++instance) {
    EXPECT_FALSE(is_suppressed(instance)) << instance;
    set_missing(instance, 1);
    EXPECT_TRUE(is_suppressed(instance)) << instance;
  }
  for (const int instance : outside) EXPECT_FALSE(is_suppressed(instance)) << instance;
}

TEST_F(StorageTest, TypeOfTheController) {
  for (const auto& [subtype, type] : {std::pair{0, "SAS"}, std::pair{1, "SATA"}, std::pair{2, "FLASH"},
                                      std::pair{3, ""}, std::pair{128, ""}, std::pair{255, ""}}) {
    for (const Object& model : kObjects) {
      if (model.rn.empty()) continue;
      Object object = model;
      object.entity_subtype = static_cast<std::uint8_t>(subtype);
      object.fault_key = (model.fault_key & 0xFFFFFF00) | static_cast<std::uint32_t>(subtype);
      object.rn = std::string("storage-") + type + model.rn.substr(model.rn.find('-', 8));
      expect_fault(object, row_of(11), 1);
      expect_fault(object, row_of(26), 1);
    }
  }
}

TEST_F(StorageTest, NumbersAtTheEndsOfTheirRange) {
  struct {
    int instance;
    std::uint32_t key;  // without the entity
    const char* user;
    const char* disk;
    const char* drive;
  } const cases[] = {
      {0, 0, "0", "0", "0"},
      {63, 0x3F00, "63", "63", "63"},
      {64, 0x4000, "64", "64", "0"},
      {65, 0x4100, "65", "65", "1"},
      {255, 0xFF00, "255", "255", "63"},
      {256, 0x10000, "256", "0", "0"},
      {259, 0x10300, "259", "3", "3"},
      {-1, 0xFFFFFF00, "-1", "255", "63"},
      // 24 bits of the instance go into the key; the upper 8 of them are OR-ed with the entity id.
      {0x230203, 0x23020300, "2294275", "3", "3"},
      {2147483647, 0xFFFFFF00, "2147483647", "255", "63"},
      {-2147483647 - 1, 0, "-2147483648", "0", "0"},
  };
  for (const auto& c : cases) {
    Object controller{0, kController, 0, c.instance, -8, 0xD0000000 | c.key};
    controller.rn = std::string("storage-SAS-SLOT-") + c.user;
    controller.trace = "STOR_CTLR_ENTITY\n";
    controller.slot = std::string("SLOT-") + c.user;
    controller.battery = controller.slot;

    Object disk{0, kDisk, 0, c.instance, -8, 0xD1000000 | c.key};
    disk.rn = std::string("storage-SAS-SLOT--8/pd-") + c.disk;
    disk.disk = c.disk;
    disk.slot = disk.battery = "SLOT--8";

    Object drive = disk;
    drive.entity_id = kVirtualDrive;
    drive.fault_key = 0xD2000000 | c.key;
    drive.rn = std::string("storage-SAS-SLOT--8/vd-") + c.drive;
    drive.disk = "0";
    drive.drive = c.drive;

    for (const Object& object : {controller, disk, drive}) {
      for (const int offset : {11, 14, 21, 22, 26}) expect_fault(object, row_of(offset), 1);
    }
  }
}

TEST_F(StorageTest, GroupsWithoutANameKeepTheirNumber) {
  for (const auto& [group, text] : {std::pair{0, "0"}, std::pair{-1, "-1"}, std::pair{2147483647, "2147483647"},
                                    std::pair{-2147483647 - 1, "-2147483648"}}) {
    Object disk{0, kDisk, 0, 1, group, 0xD1000100};
    disk.slot = disk.battery = std::string("SLOT-") + text;
    disk.disk = "1";
    disk.rn = "storage-SAS-" + disk.slot + "/pd-1";
    for (const int offset : {12, 20, 29}) expect_fault(disk, row_of(offset), 0);
  }
}

TEST_F(StorageTest, NameIsSasByItsFirstThreeCharacters) {
  struct {
    const char* name;
    bool sas;
  } const cases[] = {{"SAS", true},   {"SAS2", true},  {"SASy name", true}, {"SA", false},
                     {"S", false},    {"", false},     {"sas", false},      {"SAs", false},
                     {"SATA", false}, {"1SAS", false}, {" SAS", false},     {"%s%d", false}};
  for (const auto& c : cases) {
    host().translate = [&c](std::int32_t, std::int32_t instance) { return instance == 500 ? c.name : nullptr; };
    const std::string slot = std::string("SLOT-") + c.name;
    const std::string shown = c.sas ? c.name : slot;

    Object controller{0, kController, 0, 500, 1, 0xD001F400};
    controller.rn = "storage-SAS-" + shown;
    controller.trace = std::string("Translated User Instance: ") + c.name + "STOR_CTLR_ENTITY\n";
    controller.slot = controller.battery = slot;

    Object disk{0, kDisk, 0, 1, 500, 0xD1000100};
    disk.rn = "storage-SAS-" + shown + "/pd-1";
    disk.trace = std::string("Translated Group Instance: ") + c.name;
    disk.disk = "1";
    disk.slot = slot;
    disk.battery = shown;

    Object drive = disk;
    drive.entity_id = kVirtualDrive;
    drive.fault_key = 0xD2000100;
    drive.rn = "storage-SAS-" + shown + "/vd-1";
    drive.disk = "0";
    drive.drive = "1";

    Object battery = disk;
    battery.entity_id = kBattery;
    battery.fault_key = 0xD3000100;
    battery.rn = "storage-SAS-" + shown + "/raid-battery";
    battery.disk = "0";

    for (const Object& object : {controller, disk, drive, battery}) {
      for (const int offset : {11, 14, 22, 26, 27, 28, 29}) expect_fault(object, row_of(offset), 1);
    }
  }
}

TEST_F(StorageTest, LongNamesAreCut) {
  const std::string cut_at_the_unit = "storage-SATA-SLOT-FrontPCIe9/pd";
  const std::string cut_in_a_word = "storage-FLASH-SLOT-SLOT-HBA/rai";
  const Object disk{11,
                    kDisk,
                    1,
                    7,
                    13,
                    0xD1000701,
                    cut_at_the_unit + "-7",
                    "Translated Group Instance: FrontPCIe9",
                    "SLOT-FrontPCIe9",
                    "SLOT-FrontPCIe9",
                    "7"};
  EXPECT_EQ(framed(disk).rn, cut_at_the_unit);
  expect_fault(disk, row_of(14), 1);
  const Object battery{14,
                       kBattery,
                       2,
                       1,
                       7,
                       0xD3000102,
                       cut_in_a_word + "d-battery",
                       "Translated Group Instance: SLOT-HBA",
                       "SLOT-SLOT-HBA",
                       "SLOT-SLOT-HBA"};
  EXPECT_EQ(framed(battery).rn, cut_in_a_word);
  expect_fault(battery, row_of(26), 1);

  // First the DN just fits, and leaves no room for the rest of the fault DN. Then the DN
  // itself is too long.
  for (const std::size_t length : {40U, 41U}) {
    const std::string name(length, 'N');
    host().translate = [&name](std::int32_t, std::int32_t instance) {
      return instance == 500 ? name.c_str() : nullptr;
    };
    const Object controller{0,
                            kController,
                            0,
                            500,
                            1,
                            0xD001F400,
                            "storage-SAS-SLOT-" + name,
                            "Translated User Instance: " + name + "STOR_CTLR_ENTITY\n",
                            "SLOT-" + name,
                            "SLOT-" + name};
    EXPECT_EQ(framed(controller).dn->size(), 79U);
    expect_fault(controller, row_of(11), 0);
    expect_fault(controller, row_of(22), 0);
  }
}

TEST_F(StorageTest, CallersDnWithoutANulIsReadToItsWidth) {
  for (const int offset : {11, 22}) {  // they make their texts in two ways
    Written written = of(row_of(offset), 1, kObjects[10]);
    written.fault_dn = std::string(79, '\xA5');
    g_platform = kObjects[10].platform;
    const Event event = at(kObjects[10], offset, 1);
    const Outcome outcome = send(event);
    EXPECT_EQ(outcome.result, 0);
    expect_record(event, written, outcome.record);
  }
}

TEST_F(StorageTest, SlotTextHas127Characters) {
  const std::string name(150, 'N');
  host().translate = [&name](auto, auto) { return name.c_str(); };
  Object object{0, 207, 0, 1, 1, 0xCF000100};
  object.slot = object.battery = "SLOT-" + std::string(122, 'N');
  object.trace = "Translated User Instance: " + name + "Translated Group Instance: " + name;
  for (const int offset : {12, 26, 27, 28, 29}) expect_fault(object, row_of(offset), 0);
}

TEST_F(StorageTest, InstanceAndGroupAreTranslatedForEveryEvent) {
  using Calls = std::vector<std::pair<std::int32_t, std::int32_t>>;
  Calls calls;
  host().translate = [&calls](std::int32_t platform, std::int32_t instance) -> const char* {
    calls.emplace_back(platform, instance);
    return nullptr;
  };
  for (const int platform : {0, 11, 17, 18, -1, 2147483647}) {
    g_platform = platform;
    for (const std::uint8_t entity_id : {kController, kDisk, kVirtualDrive, kBattery, std::uint8_t{0}}) {
      for (const int offset : {18, 15, 13, 99}) {  // reported, muted, unknown
        calls.clear();
        send({.offset = offset, .state = 1, .instance = 3, .entity_id = entity_id, .group = 2147483647});
        EXPECT_EQ(calls, (Calls{{platform, 3}, {platform, 2147483647}}));
      }
    }
  }
}

// When the logger is called, the record has the fault, but not yet its description.
TEST_F(StorageTest, LoggerSeesTheFaultNotYetDescribed) {
  const std::string before(4, '\xA5');
  for (const Row& row : kRows) {
    fe_sensor_event event = bytes_of(at(kPlainDisk, row.offset, 0));
    fe_fault_record record = callers_record();
    fe_fault_record* out = &record;
    int calls = 0;
    host().on_log = [&] {
      ++calls;
      EXPECT_EQ(record.code, row.code);
      EXPECT_EQ(record.clear_code, 0U);
      EXPECT_STREQ(record.name, row.name);
      EXPECT_EQ(std::string(record.descr, 4), before);
      EXPECT_EQ(record.cause_id, 0xA5A5A5A5U);
      EXPECT_EQ(std::string(record.cause, 4), before);
      EXPECT_EQ(std::string(record.code_text, 4), before);
      EXPECT_EQ(std::string(record.fault_dn, 4), before);
    };
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(filter()(&event, &out), 0);
    ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(calls, 1) << row.offset;
    EXPECT_EQ(record.descr, filled(row.cleared, kPlainDisk));
  }
}

TEST_F(StorageTest, SensorNameIsNotUsed) {
  for (const char* sensor : {"", "ABCDEFGHIJKLMNOPQRS", "ABCDEFGHIJKLMNOPQRST", "%s%n%d"}) {
    for (const int offset : {11, 14, 22, 26}) {
      Event event = at(kPlainDisk, offset, 1);
      event.sensor = sensor;
      event.reading_type = 0x5A5A5A5A;
      const Outcome outcome = send(event, callers_record());
      EXPECT_EQ(outcome.result, 0);
      expect_record(event, of(row_of(offset), 1, kPlainDisk), outcome.record, callers_record());
    }
  }
}

}  // namespace storage_test
}  // namespace polaiga::test
