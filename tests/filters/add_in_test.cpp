#include "support/fault_row.h"

#include <polaiga/services.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace polaiga::test {
namespace add_in_test {

const KnownFault kFaults[] = {
    {203, "F0203", "fltAdaptorUnitMissing", 238, "equipment-missing"},
    {729, "F0729", "fltEquipmentIOCardThermalThresholdNonCritical", 215, "thermal-problem"},
    {730, "F0730", "fltEquipmentIOCardThermalThresholdCritical", 215, "thermal-problem"},
    {731, "F0731", "fltEquipmentIOCardThermalThresholdNonRecoverable", 215, "thermal-problem"},
    {379, "F0379", "fltEquipmentIOCardThermalProblem", 215, "thermal-problem"},
    {1783, "F1783", "fltEquipmentTpmTpmMismatch", 214, "equipment-inoperable"},
};

const std::optional<std::string> kLeftAlone;
const std::optional<std::string> kEmpty = "";
const std::optional<std::string> kThermal = "thermal-problem";
const std::optional<std::string> kInoperable = "equipment-inoperable";

const char* const kMissing = "CARD3: Adaptor Unit 3 missing: reseat or replace Adaptor Unit 3";
const char* const kPresent = "CARD3: Adaptor Unit 3 missing: Cleared";
const char* const kNonCritical = "CARD3: Adaptor Unit 3 Temperature is upper non critical : Check Cooling ";
const char* const kNonCriticalCleared = "CARD3: Adaptor Unit 3 Temperature is upper non critical : Cleared ";
const char* const kCritical = "CARD3: Adaptor Unit 3 Temperature is upper critical : Check Cooling";
const char* const kCriticalEased = "CARD3: Adaptor Unit 3 Temperature is upper critical : Check Cooling ";
const char* const kNonRecoverable = "CARD3: Adaptor Unit 3 Temperature is upper non recoverable : Check Cooling ";
const char* const kTooHot = "CARD3: Adaptor Unit 3 is inoperable due to high temperature : Check Cooling";
const char* const kTooHotCleared = "CARD3: Adaptor Unit 3 is inoperable due to high temperature  : Cleared";
const char* const kTpm =
    "CARD3: Check TPM, either wrong TPM version installed for CPU type or previously installed TPM has been removed";

// Every line of the table with the states that fall under it. The texts are for
// the sensor CARD3 of a card that has the label Adaptor Unit 3. The order keeps
// the card present: lines that mark it missing are followed by one that ends it.
const FaultRow kRows[] = {
    {63, 1, kMissing, 203, 0, 0, 0, kLeftAlone},
    {63, 2, kMissing, 203, 0, 0, 0, kLeftAlone},
    {63, 3, kMissing, 203, 0, 0, 0, kLeftAlone},
    {63, 4, kMissing, 203, 0, 0, 0, kLeftAlone},
    {63, 5, kMissing, 203, 0, 0, 0, kLeftAlone},
    {63, 6, kMissing, 203, 0, 0, 0, kLeftAlone},
    {63, 7, kMissing, 203, 0, 0, 0, kLeftAlone},
    {63, 100, kMissing, 203, 0, 0, 0, kLeftAlone},
    {63, -1, kMissing, 203, 0, 0, 0, kLeftAlone},
    {63, 0, kPresent, 203, 3, 203, 238, kLeftAlone},

    {108, 1, kNonCritical, 729, 0, 0, 0, kEmpty},
    {108, 2, kNonCritical, 729, 0, 0, 0, kEmpty},
    {108, 3, kNonCritical, 729, 0, 0, 0, kEmpty},
    {108, 4, kNonCritical, 729, 0, 0, 0, kEmpty},
    {108, 5, kNonCritical, 729, 0, 0, 0, kEmpty},
    {108, 6, kNonCritical, 729, 0, 0, 0, kEmpty},
    {108, 7, kNonCritical, 729, 0, 0, 0, kEmpty},
    {108, 100, kNonCritical, 729, 0, 0, 0, kEmpty},
    {108, -1, kNonCritical, 729, 0, 0, 0, kEmpty},
    {108, 0, kNonCriticalCleared, 729, 4, 729, 215, kThermal},

    {109, 4, kNonCritical, 729, 5, 730, 215, kThermal},
    {109, 0, kCritical, 730, 4, 729, 215, kThermal},
    {109, 1, kCritical, 730, 4, 729, 215, kThermal},
    {109, 2, kCritical, 730, 4, 729, 215, kThermal},
    {109, 3, kCritical, 730, 4, 729, 215, kThermal},
    {109, 5, kCritical, 730, 4, 729, 215, kThermal},
    {109, 6, kCritical, 730, 4, 729, 215, kThermal},
    {109, 7, kCritical, 730, 4, 729, 215, kThermal},
    {109, 100, kCritical, 730, 4, 729, 215, kThermal},
    {109, 260, kCritical, 730, 4, 729, 215, kThermal},
    {109, -1, kCritical, 730, 4, 729, 215, kThermal},
    {109, -4, kCritical, 730, 4, 729, 215, kThermal},

    {110, 5, kCriticalEased, 730, 6, 731, 215, kThermal},
    {110, 0, kNonRecoverable, 731, 5, 730, 215, kThermal},
    {110, 1, kNonRecoverable, 731, 5, 730, 215, kThermal},
    {110, 2, kNonRecoverable, 731, 5, 730, 215, kThermal},
    {110, 3, kNonRecoverable, 731, 5, 730, 215, kThermal},
    {110, 4, kNonRecoverable, 731, 5, 730, 215, kThermal},
    {110, 6, kNonRecoverable, 731, 5, 730, 215, kThermal},
    {110, 7, kNonRecoverable, 731, 5, 730, 215, kThermal},
    {110, 100, kNonRecoverable, 731, 5, 730, 215, kThermal},
    {110, 261, kNonRecoverable, 731, 5, 730, 215, kThermal},
    {110, -1, kNonRecoverable, 731, 5, 730, 215, kThermal},
    {110, -5, kNonRecoverable, 731, 5, 730, 215, kThermal},

    {111, 1, kTooHot, 379, 0, 0, 0, kEmpty},
    {111, 2, kTooHot, 379, 0, 0, 0, kEmpty},
    {111, 3, kTooHot, 379, 0, 0, 0, kEmpty},
    {111, 4, kTooHot, 379, 0, 0, 0, kEmpty},
    {111, 5, kTooHot, 379, 0, 0, 0, kEmpty},
    {111, 6, kTooHot, 379, 0, 0, 0, kEmpty},
    {111, 7, kTooHot, 379, 0, 0, 0, kEmpty},
    {111, 100, kTooHot, 379, 0, 0, 0, kEmpty},
    {111, -1, kTooHot, 379, 0, 0, 0, kEmpty},
    {111, 0, kTooHotCleared, 379, 5, 379, 215, kThermal},

    {127, 1, kTpm, 1783, 0, 0, 0, kEmpty},
    {127, 2, kTpm, 1783, 0, 0, 0, kEmpty},
    {127, 3, kTpm, 1783, 0, 0, 0, kEmpty},
    {127, 4, kTpm, 1783, 0, 0, 0, kEmpty},
    {127, 5, kTpm, 1783, 0, 0, 0, kEmpty},
    {127, 6, kTpm, 1783, 0, 0, 0, kEmpty},
    {127, 7, kTpm, 1783, 0, 0, 0, kEmpty},
    {127, 100, kTpm, 1783, 0, 0, 0, kEmpty},
    {127, -1, kTpm, 1783, 0, 0, 0, kEmpty},
    {127, 0, kTpm, 1783, 3, 1783, 214, kInoperable},
};

const FaultRow& kAsserted = kRows[0];
const FaultRow& kCleared = kRows[9];

// On platform 11, with instances from 1, instance 3 is adaptor 3.
class AddInTest : public FilterTest {
 protected:
  AddInTest() : FilterTest("process_add_in_fault") { g_platform = 11; }

  static Event at(int offset, int state) {
    return {.sensor = "CARD3", .offset = offset, .state = state, .instance = 3};
  }

  // What every event of the card writes, whether or not it yields a fault.
  static Written framed() {
    return {.fault_key = 0x1D000353,
            .dn = "sys/rack-unit-1/adaptor-3",
            .rn = "adaptor-3",
            .oid = {{1, 3, 6, 1, 4, 1, 32473, 5, 100, 1, 15, 30, 1}},
            .oid_len = 13,
            .created = kNowText,
            .created_time = kNow};
  }

  static Written of(const FaultRow& row, Written written = framed()) {
    return written_by(row, kFaults, std::move(written));
  }

  void set_missing(int instance, int state) {
    EXPECT_EQ(send({.sensor = "CARD", .offset = 63, .state = state, .instance = instance}).result, 0);
  }

  // What is remembered of a card can be seen only by the events that are then suppressed.
  bool is_suppressed(int instance) {
    return send({.sensor = "CARD", .offset = 127, .state = 1, .instance = instance}).result == -1;
  }
};

TEST_F(AddInTest, NullArguments) { expect_null_arguments_rejected(); }

TEST_F(AddInTest, EveryLineOfTheTable) {
  for (const FaultRow& row : kRows) expect(at(row.offset, row.state), 0, of(row));
}

TEST_F(AddInTest, OtherOffsetsLeaveAStampedRecord) {
  std::vector<int> offsets = {-2147483647 - 1, -63, 65536 + 63, 256 + 108, 2147483647};
  for (int offset = -2; offset <= 140; ++offset) offsets.push_back(offset);
  for (const int offset : offsets) {
    if (std::ranges::any_of(kRows, [offset](const FaultRow& row) { return row.offset == offset; })) continue;
    for (const int state : {0, 1, 4, 5}) expect(at(offset, state), -1, framed());
  }
}

TEST_F(AddInTest, MissingCardRaisesNothingElse) {
  expect(at(63, 1), 0, of(kAsserted));
  for (const FaultRow& row : kRows) {
    if (row.offset != 63) expect(at(row.offset, row.state), -1, framed());
  }
  expect(at(63, -1), 0, of(kAsserted));  // presence is never suppressed
  expect(at(109, 4), -1, framed());
  expect(at(63, 0), 0, of(kCleared));
  for (const FaultRow& row : kRows) {
    if (row.offset != 63) expect(at(row.offset, row.state), 0, of(row));
  }
  expect(at(63, 0), 0, of(kCleared));  // a card that is there may be reported present
  expect(at(108, 1), 0, of(kRows[10]));
}

TEST_F(AddInTest, OnlyTheMissingCardIsSuppressed) {
  set_missing(3, 1);
  set_missing(7, 100);
  for (int instance = 1; instance <= 12; ++instance) {
    EXPECT_EQ(is_suppressed(instance), instance == 3 || instance == 7) << instance;
  }
  set_missing(3, 0);
  EXPECT_FALSE(is_suppressed(3));
  EXPECT_TRUE(is_suppressed(7));
}

TEST_F(AddInTest, OtherLinesDoNotMarkTheCardMissing) {
  for (const FaultRow& row : kRows) {
    if (row.offset == 63) continue;
    expect(at(row.offset, row.state), 0, of(row));
    EXPECT_FALSE(is_suppressed(3)) << row.offset << " " << row.state;
  }
}

TEST_F(AddInTest, StateBelongsToTheInstanceOfTheEvent) {
  set_missing(3, 1);
  fe_sdr_instance_array[0x1D] = 1;  // instance 3 is now another adaptor, yet still instance 3
  EXPECT_TRUE(is_suppressed(3));
  EXPECT_FALSE(is_suppressed(2));
  EXPECT_FALSE(is_suppressed(4));
}

// Two platforms count their one adaptor from 0.
TEST_F(AddInTest, AdaptorZeroCanBeMissing) {
  fe_sdr_instance_array[0x1D] = 1;
  for (const int platform : {8, 9}) {
    g_platform = platform;
    EXPECT_FALSE(is_suppressed(0));
    set_missing(0, 1);
    EXPECT_TRUE(is_suppressed(0)) << platform;
    EXPECT_FALSE(is_suppressed(1));
    set_missing(0, 0);
    EXPECT_FALSE(is_suppressed(0));
    EXPECT_STREQ(send({.sensor = "CARD", .offset = 108, .state = 1, .instance = 0}).record.dn,
                 "sys/rack-unit-1/adaptor-1");
  }
}

TEST_F(AddInTest, InstancesOutsideTheStateAreNeverSuppressed) {
  const int outside[] = {-1, -2, 257, 258, 512, 1000000, 2147483647, -2147483647, -2147483647 - 1};
  for (const int instance : outside) {
    set_missing(instance, 1);
    EXPECT_FALSE(is_suppressed(instance)) << instance;
  }
  for (int instance = 0; instance <= 256; ++instance) {
    EXPECT_FALSE(is_suppressed(instance)) << instance;
    set_missing(instance, 1);
    EXPECT_TRUE(is_suppressed(instance)) << instance;
  }
  for (const int instance : outside) EXPECT_FALSE(is_suppressed(instance)) << instance;
}

TEST_F(AddInTest, CardsWithoutAnEntryAreNamedFromTheirInstance) {
  struct {
    int instance;
    std::uint32_t key;
    const char* rn;
    const char* descr;
  } const cases[] = {
      {4, 0x1D000453, "adaptor-4", "CARD3: Add-in Card 4 missing: reseat or replace Add-in Card 4"},
      {0, 0x1D000053, "adaptor-0", "CARD3: Add-in Card 0 missing: reseat or replace Add-in Card 0"},
      {-1, 0xFFFFFF53, "adaptor--1", "CARD3: Add-in Card -1 missing: reseat or replace Add-in Card -1"},
      // 24 bits of the instance go into the key; the upper 8 of them are OR-ed with the entity id.
      {0x130203, 0x1F020353, "adaptor-1245699",
       "CARD3: Add-in Card 1245699 missing: reseat or replace Add-in Card 1245699"},
      {2147483647, 0xFFFFFF53, "adaptor-2147483647",
       "CARD3: Add-in Card 2147483647 missing: reseat or replace Add-in Card 2147483647"},
      {-2147483647 - 1, 0x1D000053, "adaptor--2147483648",
       "CARD3: Add-in Card -2147483648 missing: reseat or replace Add-in Card -2147483648"},
  };
  for (const int platform : {0, 1, 2, 3, 18, -1}) {
    g_platform = platform;
    for (const int counts_from_zero : {0, 1}) {
      fe_sdr_instance_array[0x1D] = counts_from_zero;
      for (const auto& c : cases) {
        Written frame = framed();
        frame.fault_key = c.key;
        frame.dn = std::string("sys/rack-unit-1/") + c.rn;
        frame.rn = c.rn;
        FaultRow row = kAsserted;
        row.descr = c.descr;
        expect({.sensor = "CARD3", .offset = 63, .state = 1, .instance = c.instance}, 0, of(row, frame));
      }
    }
  }
}

TEST_F(AddInTest, InstanceIsTranslatedOnceForEveryEvent) {
  using Calls = std::vector<std::pair<std::int32_t, std::int32_t>>;
  Calls calls;
  host().translate = [&calls](std::int32_t platform, std::int32_t instance) -> const char* {
    calls.emplace_back(platform, instance);
    return nullptr;
  };
  struct {
    std::uint8_t entity_id;
    std::int32_t sdr;
    std::int32_t instance;
    std::int32_t adjusted;
  } const cases[] = {
      {0x1D, 0, 3, 2},   {0x1D, 1, 3, 3}, {0x1D, 2, 3, 2},  {0x1D, -1, 3, 2},
      {0x1D, 257, 3, 2}, {0x1D, 1, 0, 0}, {0x1D, 0, 0, -1}, {0x1D, 1, -2147483647 - 1, -2147483647 - 1},
      {0, 1, 9, 9},      {0, 0, 9, 8},    {255, 1, 9, 9},   {255, 0, 2147483647, 2147483646},
  };
  for (const int platform : {0, 11, 17, 18, -1, 2147483647}) {
    for (const auto& c : cases) {
      g_platform = platform;
      // Only the entry for the entity of the event counts.
      std::ranges::fill(fe_sdr_instance_array, c.sdr == 1 ? 0 : 1);
      fe_sdr_instance_array[c.entity_id] = c.sdr;
      for (const int offset : {63, 127, 64}) {  // reported, suppressed, unknown
        calls.clear();
        send({.sensor = "CARD", .offset = offset, .state = 1, .instance = c.instance, .entity_id = c.entity_id});
        EXPECT_EQ(calls, (Calls{{platform, c.adjusted}})) << int{c.entity_id} << " " << c.instance;
      }
    }
  }
}

// When the host is asked, the record has its event and its arcs, and no more.
TEST_F(AddInTest, ArcsAreWrittenBeforeTheHostIsAsked) {
  const std::uint32_t arcs[] = {1, 3, 6, 1, 4, 1, 32473, 5, 100, 1, 15, 30, 1};
  for (const int offset : {63, 108, 64}) {
    fe_sensor_event event = bytes_of(at(offset, 0));
    fe_fault_record record = patterned_record();
    fe_fault_record* out = &record;
    int calls = 0;
    host().translate = [&](auto, auto) -> const char* {
      ++calls;
      fe_fault_record expected = patterned_record();
      expected.event = event;
      std::ranges::copy(arcs, expected.oid);
      EXPECT_EQ(std::memcmp(&record, &expected, sizeof record), 0);
      return nullptr;
    };
    filter()(&event, &out);
    EXPECT_EQ(calls, 1) << offset;
    EXPECT_EQ(record.oid_len, 13);
  }
}

TEST_F(AddInTest, TextOfTheHostIsDividedAtItsFirstColon) {
  const std::string long_rn(40, 'r');
  const std::string long_label(300, 'L');
  struct {
    std::string text;
    std::string dn;
    std::string rn;
    std::string descr;
  } const cases[] = {
      {"adaptor-5:Adaptor Unit 5", "sys/rack-unit-1/adaptor-5", "adaptor-5", "CARD3: Adaptor Unit 5 missing: Cleared"},
      {"a:b:c", "sys/rack-unit-1/a", "a", "CARD3: b:c missing: Cleared"},
      {"a::", "sys/rack-unit-1/a", "a", "CARD3: : missing: Cleared"},
      {":label", "sys/rack-unit-1/", "", "CARD3: label missing: Cleared"},
      {"rn:", "sys/rack-unit-1/rn", "rn", "CARD3:  missing: Cleared"},
      // Without a colon there is no label.
      {"adaptor-5", "sys/rack-unit-1/adaptor-5", "adaptor-5", "CARD3:  missing: Cleared"},
      {"", "sys/rack-unit-1/", "", "CARD3:  missing: Cleared"},
      {" r n : l ", "sys/rack-unit-1/ r n ", " r n ", "CARD3:  l  missing: Cleared"},
      {"%s:%d%n", "sys/rack-unit-1/%s", "%s", "CARD3: %d%n missing: Cleared"},
      // A text that does not fit its field is cut.
      {long_rn + ":x", "sys/rack-unit-1/" + long_rn, std::string(31, 'r'), "CARD3: x missing: Cleared"},
      {"rn:" + long_label, "sys/rack-unit-1/rn", "rn", "CARD3: " + std::string(216, 'L')},
  };
  for (const auto& c : cases) {
    host().translate = [&c](auto, auto) { return c.text.c_str(); };
    Written frame = framed();
    frame.dn = c.dn;
    frame.rn = c.rn;
    FaultRow row = kCleared;
    row.descr = c.descr.c_str();
    expect(at(63, 0), 0, of(row, frame));
  }
}

TEST_F(AddInTest, SensorNameIsReadToItsNul) {
  for (const auto& [sensor, descr] : {
           std::pair{"", ": Adaptor Unit 3 missing: Cleared"},
           std::pair{"ABCDEFGHIJKLMNOPQRS", "ABCDEFGHIJKLMNOPQRS: Adaptor Unit 3 missing: Cleared"},
           // Twenty characters fill the field without a NUL, so the name goes on into the reading type.
           std::pair{"ABCDEFGHIJKLMNOPQRST", "ABCDEFGHIJKLMNOPQRSTZ: Adaptor Unit 3 missing: Cleared"},
           std::pair{"%s%n%d", "%s%n%d: Adaptor Unit 3 missing: Cleared"},
       }) {
    FaultRow row = kCleared;
    row.descr = descr;
    Event event = at(63, 0);
    event.sensor = sensor;
    event.reading_type = 0x5A;
    expect(event, 0, of(row));
  }
}

TEST_F(AddInTest, TellsTheHostNothing) {
  ::testing::internal::CaptureStdout();
  for (const int offset : {127, 108, 109, 110, 111, 63, 64, 127}) send(at(offset, 1));
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(host().log, std::vector<std::string>{});
  EXPECT_TRUE(host().cleaned_up.empty());
}

}  // namespace add_in_test
}  // namespace polaiga::test
