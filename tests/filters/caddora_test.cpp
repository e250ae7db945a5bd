#include "support/filter_test.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace polaiga::test {
namespace caddora_test {

constexpr std::uint8_t kController = 212;
constexpr std::uint8_t kCard = 213;
constexpr std::uint8_t kVirtualDrive = 214;
constexpr std::uint8_t kBattery = 215;

// An offset of the decision table. In the texts # stands for the instance and
// $ for the sensor name.
struct Row {
  int offset;
  const char* name;
  std::uint32_t code;
  const char* code_text;
  std::uint32_t cause_id;
  const char* cause;
  const char* asserted;
  const char* cleared;
  std::uint8_t disposition;  // when cleared, as are the next two
  std::uint32_t clear_code;
  std::uint32_t clear_cause_id;
};

const Row kRows[] = {
    {11, "fltStorageCaddoraControllerInoperable", 1257, "F1257", 214, "equipment-inoperable",
     "Caddora controller Caddora-0 inoperable: reseat or replace the caddora controller",
     "Caddora controller Caddora-0 inoperable: Cleared", 5, 1257, 214},
    {12, "fltStorageCaddoraControllerInoperable", 1257, "F1257", 214, "equipment-inoperable",
     "Caddora controller Caddora-0 patrol read failed: reseat or replace the caddora controller",
     "Caddora controller Caddora-0 patrol read failed: Cleared", 5, 1257, 214},
    {13, "fltStorageCaddoraControllerUnhealthy", 1262, "F1262", 389, "equipment-unhealthy",
     "Caddora controller Caddora-0 configuration error: configure the caddora controller correctly",
     "Caddora controller Caddora-0 configuration error: Cleared", 4, 1262, 389},
    {14, "fltStorageCaddoraCardInoperable", 1258, "F1258", 214, "equipment-inoperable",
     "Caddora Local disk # is inoperable: reseat or replace the local disk #",
     "Caddora Local disk # inoperable: Cleared", 5, 1258, 214},
    {16, "fltStorageLocalDiskRebuildFailed", 1005, "F1005", 380, "equipment-offline",
     "Caddora Local disk # rebuild failed: please check the drive #", "Caddora Local disk # rebuild failed: Cleared", 5,
     1005, 380},
    {17, "fltStorageLocalDiskCopybackFailed", 1006, "F1006", 380, "equipment-offline",
     "Caddora Local disk # Copyback failed: please check the drive #", "Caddora Local disk # Copyback failed: Cleared",
     5, 1006, 380},
    {18, "fltStorageCaddoraCardMissing", 1259, "F1259", 238, "equipment-missing",
     "Caddora Local disk # missing: reseat or replace Caddora Local disk", "Caddora Local disk # missing: Cleared", 1,
     1259, 238},
    {19, "fltStorageCaddoraCardMissing", 1259, "F1259", 238, "equipment-missing",
     "Caddora Local disk # missing: reseat or replace Caddora Local disk", "Caddora Local disk # missing: Cleared", 1,
     1259, 238},
    {20, "fltStorageCaddoraCardMissing", 1259, "F1259", 238, "equipment-missing",
     "Caddora Local disk # missing: reseat or replace Caddora Local disk", "Caddora Local disk # missing: Cleared", 1,
     1259, 238},
    {22, "fltStorageCaddoraVirtualDriveInoperable", 1261, "F1261", 214, "equipment-inoperable",
     "Caddora Virtual Drive # ($) is Inoperable: Check caddora controller properties or Caddora disks",
     "Caddora Virtual Drive # Inoperable: Cleared", 5, 1261, 214},
    {23, "fltStorageCaddoraVirtualDriveDegraded", 1260, "F1260", 218, "equipment-degraded",
     "Caddora Virtual Drive # ($) Degraded: please check the flash device or the controller",
     "Caddora Virtual Drive # Degraded: Cleared", 4, 1260, 218},
    {24, "fltStorageVirtualDriveReconstructionFailed", 1009, "F1009", 218, "equipment-degraded",
     "Caddora Virtual Drive # ($) reconstruction failed: please check the caddora controller",
     "Caddora Virtual Drive # reconstruction failed: Cleared", 5, 1009, 218},
    {25, "fltStorageVirtualDriveConsistencyCheckFailed", 1010, "F1010", 218, "equipment-degraded",
     "Caddora Virtual Drive # ($) Consistency Check Failed: please check the controller",
     "Caddora Virtual Drive # Consistency Check Failed: Cleared", 5, 1010, 218},
    {26, "fltStorageRaidBatteryInoperable", 531, "F0531", 214, "equipment-inoperable",
     "Caddora Raid Battery # is inoperable: Check Controller battery", "Caddora Raid Battery # inoperable: Cleared", 0,
     0, 0},
    {27, "fltStorageRaidBatteryDegraded", 997, "F0997", 218, "equipment-degraded",
     "Caddora Raid Battery # Degraded: please check the battery or the caddora controller",
     "Caddora Raid Battery # degraded: Cleared", 0, 0, 0},
    {28, "fltStorageRaidBatteryRelearnAborted", 998, "F0998", 218, "equipment-degraded",
     "Caddora Raid Battery # relearn aborted: please reseat the raid battery and try again",
     "Caddora Raid Battery # relearn aborted: Cleared", 0, 0, 0},
    {29, "fltStorageRaidBatteryRelearnFailed", 999, "F0999", 218, "equipment-degraded",
     "Caddora Raid Battery # relearn failed: please reseat the raid battery and try again",
     "Caddora Raid Battery # relearn failed: Cleared", 0, 0, 0},
};

const Row& row_of(int offset) {
  return *std::ranges::find_if(kRows, [offset](const Row& row) { return row.offset == offset; });
}

std::string filled(std::string text, const std::string& instance, const std::string& sensor) {
  for (std::size_t at = 0; (at = text.find('#', at)) != std::string::npos; at += instance.size()) {
    text.replace(at, 1, instance);
  }
  if (const std::size_t at = text.find('$'); at != std::string::npos) text.replace(at, 1, sensor);
  return text;
}

// Instance 4 of each object, and an entity that is none of them; the
// controller's instance is always 0.
struct Object {
  std::uint8_t entity_id;
  const char* instance;
  std::uint32_t fault_key;
  const char* dn;
  const char* rn;
  std::vector<std::uint32_t> oid;
};

const Object kObjects[] = {
    {kController,
     "0",
     0xD4000053,
     "sys/rack-unit-1/board/storage-caddora-Caddora-0",
     "storage-caddora-Caddora-0",
     {1, 3, 6, 1, 4, 1, 32473, 5, 100, 1, 45, 1, 1}},
    {kCard,
     "4",
     0xD5000453,
     "sys/rack-unit-1/board/storage-caddora-Caddora-0/card-4",
     "card-4",
     {1, 3, 6, 1, 4, 1, 32473, 5, 100, 1, 45, 4, 1}},
    {kVirtualDrive,
     "4",
     0xD6000453,
     "sys/rack-unit-1/board/storage-caddora-Caddora-0/vd-4",
     "vd-4",
     {1, 3, 6, 1, 4, 1, 32473, 5, 100, 1, 45, 8, 1}},
    {kBattery,
     "4",
     0xD7000453,
     "sys/rack-unit-1/board/storage-caddora-Caddora-0/raid-battery",
     "raid-battery",
     {1, 3, 6, 1, 4, 1, 32473, 5, 100, 1, 45, 8, 1}},
    {211, "4", 0xD3000453, nullptr, nullptr, {}},
    {216, "4", 0xD8000453, nullptr, nullptr, {}},
    {0, "4", 0x00000453, nullptr, nullptr, {}},
    {255, "4", 0xFF000453, nullptr, nullptr, {}},
};

class CaddoraTest : public FilterTest {
 protected:
  CaddoraTest() : FilterTest("process_caddora_fault") {}

  static Event at(const Object& object, int offset, int state) {
    return {.sensor = "SD_STATUS", .offset = offset, .state = state, .instance = 4, .entity_id = object.entity_id};
  }

  // What every event of an object writes, whether or not it yields a fault.
  static Written framed(const Object& object) {
    Written written{.fault_key = object.fault_key, .oid_len = 0, .created = kNowText, .created_time = kNow};
    if (object.entity_id == kController) written.entity_instance = 0;
    if (object.dn == nullptr) return written;
    written.dn = object.dn;
    written.rn = object.rn;
    written.oid = object.oid;
    written.oid_len = 13;
    return written;
  }

  static Written of(const Row& row, int state, Written written, const std::string& instance,
                    const std::string& sensor = "SD_STATUS") {
    written.name = row.name;
    written.code = row.code;
    written.code_text = row.code_text;
    written.fault_dn = written.dn.value_or("caller's dn") + "/fault-" + row.code_text;
    written.cause_id = row.cause_id;
    written.cause = row.cause;
    written.descr = filled(state != 0 ? row.asserted : row.cleared, instance, sensor);
    written.disposition = state != 0 ? std::uint8_t{0} : row.disposition;
    written.clear_code = state != 0 ? 0 : row.clear_code;
    written.clear_cause_id = state != 0 ? 0 : row.clear_cause_id;
    return written;
  }

  // When the filter writes no DN, the fault DN is made of the DN that the caller's record had.
  static fe_fault_record callers_record() {
    fe_fault_record record = patterned_record();
    std::strcpy(record.dn, "caller's dn");
    return record;
  }

  // The filter writes nothing to the caller's event but the controller's instance.
  void expect_either(const Event& event, std::int32_t result, const Written& written) {
    SCOPED_TRACE(::testing::Message() << "entity " << int{event.entity_id});
    if (event.entity_id != kController) return expect(event, result, written, callers_record());
    SCOPED_TRACE(::testing::Message() << "offset " << event.offset << " state " << event.state);
    const Outcome outcome = send(event, callers_record());
    EXPECT_EQ(outcome.result, result);
    expect_record(event, written, outcome.record, callers_record());
    fe_sensor_event left = bytes_of(event);
    left.entity_instance = 0;
    EXPECT_EQ(std::memcmp(&outcome.event, &left, sizeof left), 0);
  }

  void set_missing(int instance, int state, int offset = 18) {
    EXPECT_EQ(send({.offset = offset, .state = state, .instance = instance, .entity_id = kCard}).result, 0);
  }

  // What is remembered of a card can be seen only by the events that are then suppressed.
  bool is_suppressed(int instance, std::uint8_t entity_id = kCard) {
    return send({.offset = 14, .state = 1, .instance = instance, .entity_id = entity_id}).result == -1;
  }
};

TEST_F(CaddoraTest, NullArguments) { expect_null_arguments_rejected(); }

TEST_F(CaddoraTest, EveryLineOfTheTableOnEveryObject) {
  for (const Object& object : kObjects) {
    for (const Row& row : kRows) {
      for (const int state : {1, 2, 3, 4, 5, 6, 7, 100, 256, -1, 0}) {
        expect_either(at(object, row.offset, state), 0, of(row, state, framed(object), object.instance));
        if (state != 0) set_missing(object.entity_id == kController ? 0 : 4, 0);  // some lines mark it missing
      }
    }
  }
}

TEST_F(CaddoraTest, OtherOffsetsLeaveAStampedRecord) {
  std::vector<int> offsets = {-2147483647 - 1, -14, 65536 + 14, 256 + 18, 2147483647};
  for (int offset = -2; offset <= 64; ++offset) offsets.push_back(offset);
  for (const Object& object : kObjects) {
    for (const int offset : offsets) {
      if (std::ranges::any_of(kRows, [offset](const Row& row) { return row.offset == offset; })) continue;
      expect_either(at(object, offset, 1), -1, framed(object));
      expect_either(at(object, offset, 0), -1, framed(object));
    }
  }
}

TEST_F(CaddoraTest, CallersDnWithoutANulIsReadToItsWidth) {
  Written written = of(row_of(13), 1, framed(kObjects[4]), "4");
  written.fault_dn = std::string(79, '\xA5');
  expect(at(kObjects[4], 13, 1), 0, written);
}

TEST_F(CaddoraTest, MissingCardMutesItsOtherDiskFaults) {
  const Object& card = kObjects[1];
  for (const int offset : {12, 18, 19, 20}) {
    for (const int state : {1, 5, -1}) {
      expect_either(at(card, offset, state), 0, of(row_of(offset), 1, framed(card), "4"));
      for (const Row& row : kRows) {
        const bool sets = row.offset == 12 || (row.offset >= 18 && row.offset <= 20);
        const bool muted = row.offset == 14 || row.offset == 16 || row.offset == 17;
        for (const int other : {1, 0}) {
          if (sets && other == 0) continue;
          if (muted) {
            expect_either(at(card, row.offset, other), -1, framed(card));
          } else {
            expect_either(at(card, row.offset, other), 0, of(row, other, framed(card), "4"));
          }
        }
      }
      // A clear of any of the four offsets ends what a raise of any of them began.
      for (const int end : {12, 18, 19, 20}) {
        set_missing(4, 1, offset);
        EXPECT_TRUE(is_suppressed(4));
        expect_either(at(card, end, 0), 0, of(row_of(end), 0, framed(card), "4"));
        for (const int muted : {14, 16, 17}) {
          for (const int other : {1, 0}) {
            expect_either(at(card, muted, other), 0, of(row_of(muted), other, framed(card), "4"));
          }
        }
      }
    }
  }
}

TEST_F(CaddoraTest, NoOtherLineMarksTheCardMissing) {
  for (const Row& row : kRows) {
    if (row.offset == 12 || (row.offset >= 18 && row.offset <= 20)) continue;
    EXPECT_EQ(send({.offset = row.offset, .state = 1, .instance = 4, .entity_id = kCard}).result, 0);
    EXPECT_FALSE(is_suppressed(4)) << row.offset;
  }
}

TEST_F(CaddoraTest, OnlyTheMissingCardIsMuted) {
  set_missing(2, 1);
  set_missing(12, 1);
  for (int instance = 0; instance <= 12; ++instance) {
    EXPECT_EQ(is_suppressed(instance), instance == 2 || instance == 12) << instance;
  }
  set_missing(2, 0);
  EXPECT_FALSE(is_suppressed(2));
  EXPECT_TRUE(is_suppressed(12));
}

TEST_F(CaddoraTest, TheInstanceIsMutedOnEveryEntity) {
  set_missing(4, 1);
  for (const std::uint8_t entity_id : {kCard, kVirtualDrive, kBattery}) EXPECT_TRUE(is_suppressed(4, entity_id));
  EXPECT_FALSE(is_suppressed(4, kController));  // that is instance 0
}

TEST_F(CaddoraTest, ControllersPatrolReadHasTheSlotBeforeTheFirstCard) {
  EXPECT_EQ(send({.offset = 12, .state = 1, .instance = 7, .entity_id = kController}).result, 0);
  EXPECT_TRUE(is_suppressed(0));
  EXPECT_TRUE(is_suppressed(9, kController));
  for (int instance = 1; instance <= 12; ++instance) EXPECT_FALSE(is_suppressed(instance)) << instance;
  EXPECT_EQ(send({.offset = 12, .state = 0, .instance = 3, .entity_id = kController}).result, 0);
  EXPECT_FALSE(is_suppressed(0));
  EXPECT_FALSE(is_suppressed(7, kController));
}

TEST_F(CaddoraTest, InstancesOutsideTheStateAreNeverMuted) {
  const int outside[] = {-1, -2, 13, 14, 256, 257, 1000000, 2147483647, -2147483647, -2147483647 - 1};
  for (const int instance : outside) {
    for (const int offset : {12, 18, 19, 20}) {
      set_missing(instance, 1, offset);
      EXPECT_FALSE(is_suppressed(instance)) << instance;
    }
  }
  for (int instance = 0; instance <= 12; ++instance) {
    EXPECT_FALSE(is_suppressed(instance)) << instance;
    set_missing(instance, 1);
    EXPECT_TRUE(is_suppressed(instance)) << instance;
  }
  for (const int instance : outside) EXPECT_FALSE(is_suppressed(instance)) << instance;
}

TEST_F(CaddoraTest, Instances) {
  struct {
    int instance;
    std::uint32_t card_key;
    std::uint32_t virtual_drive_key;
    const char* text;
  } const cases[] = {
      {0, 0xD5000053, 0xD6000053, "0"},
      {12, 0xD5000C53, 0xD6000C53, "12"},
      {-1, 0xFFFFFF53, 0xFFFFFF53, "-1"},
      // 24 bits of the instance go into the key; the upper 8 of them are OR-ed with the entity id.
      {0x130203, 0xD7020353, 0xD7020353, "1245699"},
      {2147483647, 0xFFFFFF53, 0xFFFFFF53, "2147483647"},
      {-2147483647 - 1, 0xD5000053, 0xD6000053, "-2147483648"},
  };
  const std::string controller = "sys/rack-unit-1/board/storage-caddora-Caddora-0";
  for (const auto& c : cases) {
    Written card = framed(kObjects[1]);
    card.fault_key = c.card_key;
    card.dn = controller + "/card-" + c.text;
    card.rn = std::string("card-") + c.text;
    for (const int offset : {11, 14, 16, 17, 22, 26}) {
      Event event = at(kObjects[1], offset, 1);
      event.instance = c.instance;
      expect(event, 0, of(row_of(offset), 1, card, c.text));
    }
    Written drive = framed(kObjects[2]);
    drive.fault_key = c.virtual_drive_key;
    drive.dn = controller + "/vd-" + c.text;
    drive.rn = std::string("vd-") + c.text;
    for (const int offset : {22, 23, 24, 25, 29}) {
      Event event = at(kObjects[2], offset, 0);
      event.instance = c.instance;
      expect(event, 0, of(row_of(offset), 0, drive, c.text));
    }
    // The instance of the controller is always reported as 0.
    Event event = at(kObjects[0], 11, 1);
    event.instance = c.instance;
    expect_either(event, 0, of(row_of(11), 1, framed(kObjects[0]), "0"));
  }
}

TEST_F(CaddoraTest, SensorNameIsReadToItsNul) {
  for (const auto& [sensor, text] : {
           std::pair{"", ""},
           std::pair{"VD (1)", "VD (1)"},
           std::pair{"ABCDEFGHIJKLMNOPQRS", "ABCDEFGHIJKLMNOPQRS"},
           // Twenty characters fill the field without a NUL, so the name goes on into the reading type.
           std::pair{"ABCDEFGHIJKLMNOPQRST", "ABCDEFGHIJKLMNOPQRSTZ"},
           std::pair{"%s%n%d", "%s%n%d"},
       }) {
    for (const int offset : {22, 23, 24, 25}) {
      for (const int state : {0, 1}) {
        Event event = at(kObjects[2], offset, state);
        event.sensor = sensor;
        event.reading_type = 0x5A;
        expect(event, 0, of(row_of(offset), state, framed(kObjects[2]), "4", text));
      }
    }
  }
}

TEST_F(CaddoraTest, AsksAndTellsTheHostNothing) {
  host().translate = [](auto, auto) -> const char* {
    ADD_FAILURE() << "asked for an instance name";
    return nullptr;
  };
  ::testing::internal::CaptureStdout();
  for (const Object& object : kObjects) {
    for (int offset = 10; offset <= 30; ++offset) {
      for (const int state : {1, 0}) send(at(object, offset, state));
    }
  }
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(host().log, std::vector<std::string>{});
  EXPECT_TRUE(host().cleaned_up.empty());
}

}  // namespace caddora_test
}  // namespace polaiga::test
