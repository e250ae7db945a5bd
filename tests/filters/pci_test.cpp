#include "support/fault_row.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace polaiga::test {
namespace pci_test {

const KnownFault kFaults[] = {
    {376, "F0376", "fltEquipmentIOCardRemoved", 238, "equipment-missing"},
    {729, "F0729", "fltEquipmentIOCardThermalThresholdNonCritical", 215, "thermal-problem"},
    {730, "F0730", "fltEquipmentIOCardThermalThresholdCritical", 215, "thermal-problem"},
    {731, "F0731", "fltEquipmentIOCardThermalThresholdNonRecoverable", 215, "thermal-problem"},
};

const char* const kMissing = "RISER2: PCI 2 riser is missing: reseat or replace PCI riser 2";
const char* const kPresent = "RISER2: PCI 2 riser is missing: Cleared";
const char* const kNonCritical = "RISER2: PCI Slot 2 riser card is upper non critical: Check device cooling";
const char* const kNonCriticalCleared = "RISER2: PCI Slot 2  riser card is upper non critical: Cleared";
const char* const kNonCriticalEased = "RISER2: PCI Slot 2  riser card is upper non critical: Check device cooling";
const char* const kCritical = "RISER2: PCI Slot 2 riser card is upper critical: Check device cooling";
const char* const kCriticalEased = "RISER2: PCI Slot 2  riser card is upper critical: Check device cooling";
const char* const kNonRecoverable = "RISER2: PCI Slot 2 riser card is upper non recoverable: Check device cooling";

// The texts are for the sensor RISER2 of slot 2. The thermal lines leave both
// fields of the cleared cause alone, the missing riser its text.
const FaultRow kRows[] = {
    {63, 1, kMissing, 376, 0, 0, 0},          {63, 2, kMissing, 376, 0, 0, 0},
    {63, 3, kMissing, 376, 0, 0, 0},          {63, 4, kMissing, 376, 0, 0, 0},
    {63, 5, kMissing, 376, 0, 0, 0},          {63, 6, kMissing, 376, 0, 0, 0},
    {63, 7, kMissing, 376, 0, 0, 0},          {63, 100, kMissing, 376, 0, 0, 0},
    {63, -1, kMissing, 376, 0, 0, 0},         {63, 0, kPresent, 376, 3, 376, 238},

    {108, 1, kNonCritical, 729, 0, 729},      {108, 2, kNonCritical, 729, 0, 729},
    {108, 3, kNonCritical, 729, 0, 729},      {108, 4, kNonCritical, 729, 0, 729},
    {108, 5, kNonCritical, 729, 0, 729},      {108, 6, kNonCritical, 729, 0, 729},
    {108, 7, kNonCritical, 729, 0, 729},      {108, 100, kNonCritical, 729, 0, 729},
    {108, -1, kNonCritical, 729, 0, 729},     {108, 0, kNonCriticalCleared, 729, 4, 729},

    {109, 4, kNonCriticalEased, 729, 5, 730}, {109, 0, kCritical, 730, 4, 729},
    {109, 1, kCritical, 730, 4, 729},         {109, 2, kCritical, 730, 4, 729},
    {109, 3, kCritical, 730, 4, 729},         {109, 5, kCritical, 730, 4, 729},
    {109, 6, kCritical, 730, 4, 729},         {109, 7, kCritical, 730, 4, 729},
    {109, 100, kCritical, 730, 4, 729},       {109, 260, kCritical, 730, 4, 729},
    {109, -1, kCritical, 730, 4, 729},        {109, -4, kCritical, 730, 4, 729},

    {110, 5, kCriticalEased, 730, 6, 731},    {110, 0, kNonRecoverable, 731, 5, 730},
    {110, 1, kNonRecoverable, 731, 5, 730},   {110, 2, kNonRecoverable, 731, 5, 730},
    {110, 3, kNonRecoverable, 731, 5, 730},   {110, 4, kNonRecoverable, 731, 5, 730},
    {110, 6, kNonRecoverable, 731, 5, 730},   {110, 7, kNonRecoverable, 731, 5, 730},
    {110, 100, kNonRecoverable, 731, 5, 730}, {110, 261, kNonRecoverable, 731, 5, 730},
    {110, -1, kNonRecoverable, 731, 5, 730},  {110, -5, kNonRecoverable, 731, 5, 730},
};

class PciTest : public FilterTest {
 protected:
  PciTest() : FilterTest("process_pci_fault") {}

  static Event at(int offset, int state, std::uint8_t subtype = 0) {
    return {.sensor = "RISER2", .offset = offset, .state = state, .instance = 2, .entity_subtype = subtype};
  }

  // What every event of slot 2 writes, whether or not it yields a fault.
  static Written framed() {
    return {.fault_key = 0x1D000200,
            .dn = "sys/rack-unit-1/equipped-slot-2",
            .rn = "equipped-slot-2",
            .oid = {{1, 3, 6, 1, 4, 1, 32473, 5, 100, 1, 15, 30, 1}},
            .oid_len = 13,
            .created = kNowText,
            .created_time = kNow};
  }

  static Written framed_as_server() {
    Written written = framed();
    written.fault_key = 0x1D000201;
    written.dn = "sys/rack-unit-1";
    written.rn = "rack-unit-1";
    return written;
  }

  // What a line writes, in addition to what every event writes.
  static Written of(const FaultRow& row, Written written) { return written_by(row, kFaults, std::move(written)); }
};

TEST_F(PciTest, NullArguments) { expect_null_arguments_rejected(); }

TEST_F(PciTest, EveryLineOfTheTable) {
  for (const FaultRow& row : kRows) expect(at(row.offset, row.state), 0, of(row, framed()));
}

TEST_F(PciTest, SubtypeOneIsTheServerItself) {
  for (const FaultRow& row : kRows) expect(at(row.offset, row.state, 1), 0, of(row, framed_as_server()));
}

TEST_F(PciTest, EveryOtherSubtypeIsASlot) {
  const std::uint8_t others[] = {2, 3, 129, 255};
  for (const std::uint8_t subtype : others) {
    Written written = of(kRows[0], framed());
    written.fault_key = 0x1D000200U | subtype;
    expect(at(63, 1, subtype), 0, written);
  }
}

TEST_F(PciTest, OtherOffsetsLeaveAStampedRecord) {
  std::vector<int> offsets = {-2147483647 - 1, -63, 65536 + 63, 256 + 108, 2147483647};
  for (int offset = -2; offset <= 140; ++offset) offsets.push_back(offset);
  for (const int offset : offsets) {
    if (std::ranges::any_of(kRows, [offset](const FaultRow& row) { return row.offset == offset; })) continue;
    for (const int state : {0, 1, 4, 5}) {
      expect(at(offset, state), -1, framed());
      expect(at(offset, state, 1), -1, framed_as_server());
    }
  }
}

TEST_F(PciTest, MissingRiserSuppressesNothing) {
  expect(at(63, 1), 0, of(kRows[0], framed()));
  for (const FaultRow& row : kRows) {
    if (row.offset != 63) expect(at(row.offset, row.state), 0, of(row, framed()));
  }
}

TEST_F(PciTest, Slots) {
  struct {
    int slot;
    std::uint32_t key;
    const char* dn;
    const char* rn;
    const char* missing;
    const char* eased;
  } const cases[] = {
      {0, 0x1D000000, "sys/rack-unit-1/equipped-slot-0", "equipped-slot-0",
       "S: PCI 0 riser is missing: reseat or replace PCI riser 0",
       "S: PCI Slot 0  riser card is upper critical: Check device cooling"},
      {-1, 0xFFFFFF00, "sys/rack-unit-1/equipped-slot--1", "equipped-slot--1",
       "S: PCI -1 riser is missing: reseat or replace PCI riser -1",
       "S: PCI Slot -1  riser card is upper critical: Check device cooling"},
      // 24 bits of the instance go into the key; the upper 8 of them are OR-ed with the entity id.
      {0x130203, 0x1F020300, "sys/rack-unit-1/equipped-slot-1245699", "equipped-slot-1245699",
       "S: PCI 1245699 riser is missing: reseat or replace PCI riser 1245699",
       "S: PCI Slot 1245699  riser card is upper critical: Check device cooling"},
      {2147483647, 0xFFFFFF00, "sys/rack-unit-1/equipped-slot-2147483647", "equipped-slot-2147483647",
       "S: PCI 2147483647 riser is missing: reseat or replace PCI riser 2147483647",
       "S: PCI Slot 2147483647  riser card is upper critical: Check device cooling"},
      {-2147483647 - 1, 0x1D000000, "sys/rack-unit-1/equipped-slot--2147483648", "equipped-slot--2147483648",
       "S: PCI -2147483648 riser is missing: reseat or replace PCI riser -2147483648",
       "S: PCI Slot -2147483648  riser card is upper critical: Check device cooling"},
  };
  const FaultRow missing{63, 1, {}, 376, 0, 0, 0};
  const FaultRow eased{110, 5, {}, 730, 6, 731};
  for (const auto& c : cases) {
    Written frame = framed();
    frame.fault_key = c.key;
    frame.dn = c.dn;
    frame.rn = c.rn;
    for (FaultRow row : {missing, eased}) {
      row.descr = row.offset == 63 ? c.missing : c.eased;
      expect({.sensor = "S", .offset = row.offset, .state = row.state, .instance = c.slot, .entity_subtype = 0}, 0,
             of(row, frame));
    }
    // The names of the server have no number, the text of its riser has one.
    Written server = framed_as_server();
    server.fault_key = c.key | 1;
    FaultRow row = missing;
    row.descr = c.missing;
    expect({.sensor = "S", .offset = 63, .state = 1, .instance = c.slot, .entity_subtype = 1}, 0, of(row, server));
  }
}

TEST_F(PciTest, SensorNameIsReadToItsNul) {
  FaultRow row = kRows[0];
  for (const auto& [sensor, descr] : {
           std::pair{"", ": PCI 2 riser is missing: reseat or replace PCI riser 2"},
           std::pair{"ABCDEFGHIJKLMNOPQRS",
                     "ABCDEFGHIJKLMNOPQRS: PCI 2 riser is missing: reseat or replace PCI riser 2"},
           // Twenty characters fill the field without a NUL, so the name goes on into the reading type.
           std::pair{"ABCDEFGHIJKLMNOPQRST",
                     "ABCDEFGHIJKLMNOPQRSTZ: PCI 2 riser is missing: reseat or replace PCI riser 2"},
           std::pair{"%s%n%d", "%s%n%d: PCI 2 riser is missing: reseat or replace PCI riser 2"},
       }) {
    row.descr = descr;
    Event event = at(63, 1);
    event.sensor = sensor;
    event.reading_type = 0x5A;
    expect(event, 0, of(row, framed()));
  }
}

TEST_F(PciTest, AsksAndTellsTheHostNothing) {
  host().translate = [](auto, auto) -> const char* {
    ADD_FAILURE() << "asked for an instance name";
    return nullptr;
  };
  ::testing::internal::CaptureStdout();
  for (const int offset : {63, 108, 109, 110, 64}) send(at(offset, 1));
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(host().log, std::vector<std::string>{});
  EXPECT_TRUE(host().cleaned_up.empty());
}

}  // namespace pci_test
}  // namespace polaiga::test
