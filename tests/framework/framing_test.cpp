#include "framework/framing.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>

#include "support/host.h"

namespace polaiga::test {
namespace framing_test {

constexpr char kPattern = '\x7E';

class FramingTest : public ::testing::Test {
 protected:
  FramingTest() {
    reset_host();
    std::memset(&record_, kPattern, sizeof record_);
    std::memset(&before_, kPattern, sizeof before_);
  }

  // Whether the record is as `before_` says. A test writes there what it expects to change.
  bool is_otherwise_untouched() const { return std::memcmp(&record_, &before_, sizeof record_) == 0; }

  void set_key_fields(std::uint8_t entity_id, std::int32_t instance, std::uint8_t entity_subtype) {
    for (fe_fault_record* record : {&record_, &before_}) {
      record->event.entity_id = entity_id;
      record->event.entity_instance = instance;
      record->event.entity_subtype = entity_subtype;
    }
  }

  fe_fault_record record_;
  fe_fault_record before_;
};

using OpenRecord = FramingTest;

TEST_F(OpenRecord, NeedsAllOfItsArguments) {
  fe_sensor_event event = {};
  fe_fault_record* record = &record_;
  fe_fault_record* none = nullptr;
  EXPECT_EQ(open_record(&event, nullptr), nullptr);
  EXPECT_EQ(open_record(&event, &none), nullptr);
  EXPECT_EQ(open_record(nullptr, &record), nullptr);
  EXPECT_EQ(open_record(nullptr, nullptr), nullptr);
  EXPECT_EQ(open_record(nullptr, &none), nullptr);
  EXPECT_EQ(none, nullptr);
  EXPECT_TRUE(is_otherwise_untouched());
}

TEST_F(OpenRecord, CopiesTheEventWhole) {
  unsigned char bytes[52];
  for (unsigned char i = 0; i < 52; ++i) bytes[i] = static_cast<unsigned char>(200 - i);
  fe_sensor_event event;
  std::memcpy(&event, bytes, sizeof event);
  fe_fault_record* record = &record_;
  EXPECT_EQ(open_record(&event, &record), &record_);
  EXPECT_EQ(record, &record_);
  std::memcpy(&before_, bytes, sizeof bytes);
  EXPECT_TRUE(is_otherwise_untouched());
  EXPECT_EQ(std::memcmp(&event, bytes, sizeof bytes), 0);
}

TEST_F(FramingTest, SensorNameEndsAtItsNul) {
  fe_sensor_event event;
  std::memset(&event, 'x', sizeof event);
  std::strcpy(event.sensor_name, "FAN1_TACH1");
  EXPECT_EQ(sensor_name(event), "FAN1_TACH1");
  event.sensor_name[0] = '\0';
  EXPECT_EQ(sensor_name(event), "");
  std::memcpy(event.sensor_name, "ABCDEFGHIJKLMNOPQRST", 20);
  event.reading_type = 0;
  EXPECT_EQ(sensor_name(event), "ABCDEFGHIJKLMNOPQRST");
  event.reading_type = 0x4241;
  EXPECT_EQ(sensor_name(event), "ABCDEFGHIJKLMNOPQRSTAB");
}

TEST_F(FramingTest, OidIsThePrefixAndTheArcsOfTheClass) {
  const struct {
    FaultClass fault_class;
    std::vector<std::uint32_t> oid;
  } cases[] = {
      {{1, 15, 12, 1}, {1, 3, 6, 1, 4, 1, 32473, 5, 100, 1, 15, 12, 1}},
      {{1, 9, 6, 1}, {1, 3, 6, 1, 4, 1, 32473, 5, 100, 1, 9, 6, 1}},
      {{1, 41, 9}, {1, 3, 6, 1, 4, 1, 32473, 5, 100, 1, 41, 9}},
      {{255}, {1, 3, 6, 1, 4, 1, 32473, 5, 100, 255}},
      {{}, {1, 3, 6, 1, 4, 1, 32473, 5, 100}},
      {{1, 0, 2}, {1, 3, 6, 1, 4, 1, 32473, 5, 100, 1}},
      {{1, 2, 3, 4, 5}, {1, 3, 6, 1, 4, 1, 32473, 5, 100, 1, 2, 3, 4, 5}},
  };
  for (const auto& c : cases) {
    record_ = before_;
    fe_fault_record want = before_;
    std::copy(c.oid.begin(), c.oid.end(), want.oid);
    EXPECT_EQ(write_oid_arcs(record_, c.fault_class), c.oid.size());
    EXPECT_EQ(std::memcmp(&record_, &want, sizeof want), 0);
    write_oid(record_, c.fault_class);
    want.oid_len = static_cast<std::uint8_t>(c.oid.size());
    EXPECT_EQ(std::memcmp(&record_, &want, sizeof want), 0);
  }
}

struct KeyCase {
  std::uint8_t entity_id;
  std::int32_t instance;
  std::uint8_t entity_subtype;
  std::uint32_t key;
};

const KeyCase kKeys[] = {
    {0x1D, 4, 0x53, 0x1D000453},
    {7, 11, 2, 0x07000B02},
    {0, 0, 0, 0},
    {0xFF, 0, 0xFF, 0xFF0000FF},
    {0, 0xFFFF, 0, 0x00FFFF00},
    {0x10, 0x010000, 1, 0x11000001},  // bits 16 to 23 fall on the entity id
    {0x11, 0x010000, 1, 0x11000001},  // and are OR-ed in, not added
    {0x0F, 0xF12345, 9, 0xFF234509},
    {0x00, 0x01000000, 3, 0x00000003},  // bits from 24 on do not count
    {0x20, -1, 0x30, 0xFFFFFF30},
    {0x20, -2, 0x30, 0xFFFFFE30},
    {0x00, -2147483647 - 1, 5, 0x00000005},
    {0x03, 2147483647, 5, 0xFFFFFF05},
};

TEST_F(FramingTest, KeyIsPackedFromTheEventCopy) {
  for (const KeyCase& c : kKeys) {
    set_key_fields(c.entity_id, c.instance, c.entity_subtype);
    write_key(record_);
    EXPECT_EQ(record_.fault_key, c.key) << c.instance;
    before_.fault_key = c.key;
    EXPECT_TRUE(is_otherwise_untouched());
  }
}

TEST_F(FramingTest, KeyTakesAnotherInstance) {
  for (const KeyCase& c : kKeys) {
    set_key_fields(c.entity_id, 0x0A0B0C0D, c.entity_subtype);
    write_key(record_, c.instance);
    EXPECT_EQ(record_.fault_key, c.key) << c.instance;
    before_.fault_key = c.key;
    EXPECT_TRUE(is_otherwise_untouched());
  }
}

TEST_F(FramingTest, NamesAreCutToTheirFields) {
  write_names(record_, "sys/rack-unit-1", "rack-1");
  std::strcpy(before_.dn, "sys/rack-unit-1");
  std::strcpy(before_.rn, "rack-1");
  EXPECT_TRUE(is_otherwise_untouched());
  write_names(record_, std::string(80, 'd'), std::string(32, 'r'));
  std::strcpy(before_.dn, std::string(79, 'd').c_str());
  std::strcpy(before_.rn, std::string(31, 'r').c_str());
  EXPECT_TRUE(is_otherwise_untouched());
}

TEST_F(FramingTest, CodeTexts) {
  const struct {
    std::uint32_t code;
    const char* dn;
    const char* code_text;
    const char* fault_dn;
  } cases[] = {
      {869, "sys/rack-unit-1/board", "F0869", "sys/rack-unit-1/board/fault-F0869"},
      {7, "sys/rack-unit-1", "F0007", "sys/rack-unit-1/fault-F0007"},
      {0, "", "F0000", "/fault-F0000"},
      {12345, "x", "F12345", "x/fault-F12345"},
      {4294967295U, "x", "F-001", "x/fault-F-001"},
      {2147483648U, "x", "F-2147483648", "x/fault-F-2147483648"},
  };
  for (const auto& c : cases) {
    record_ = before_;
    fe_fault_record want = before_;
    for (fe_fault_record* record : {&record_, &want}) {
      record->code = c.code;
      std::strcpy(record->dn, c.dn);
    }
    write_code_texts(record_);
    std::strcpy(want.code_text, c.code_text);
    std::strcpy(want.fault_dn, c.fault_dn);
    EXPECT_EQ(std::memcmp(&record_, &want, sizeof want), 0) << c.code;
  }
}

TEST_F(FramingTest, FaultDnIsCutAndItsDnBounded) {
  record_.code = 7;
  for (const std::size_t size : {66U, 67U, 68U, 79U}) {
    const std::string dn(size, 'd');
    std::strcpy(record_.dn, dn.c_str());
    write_code_texts(record_);
    EXPECT_EQ(record_.fault_dn, (dn + "/fault-F0007").substr(0, 79));
    EXPECT_EQ(record_.rn[0], kPattern);
  }
  std::memset(record_.dn, 'd', sizeof record_.dn);  // no NUL
  write_code_texts(record_);
  EXPECT_EQ(record_.fault_dn, std::string(79, 'd'));
  EXPECT_STREQ(record_.code_text, "F0007");
}

struct StampCase {
  const char* file;
  const char* zone;
  std::int64_t now;
  const char* created;
};

const char* const kSixtyThree = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_ABCDEFGHIJ";

class StampTest : public FramingTest {
 protected:
  // Writes a stamp and checks everything that it wrote.
  void expect_stamp(const std::optional<std::string>& file, const char* zone, std::int64_t now, const char* created) {
    SCOPED_TRACE(::testing::Message() << (file ? *file : "no file") << " at " << now);
    host().timezone_file = file;
    host().now = static_cast<std::time_t>(now);
    std::memset(&record_, kPattern, sizeof record_);
    std::memset(&before_, kPattern, sizeof before_);
    const ZoneName name = stamp_time(record_);
    EXPECT_STREQ(name.text, zone);
    EXPECT_STREQ(std::getenv("TZ"), zone);
    EXPECT_STREQ(record_.created, created);
    std::strcpy(before_.created, created);
    before_.created_time = static_cast<std::uint32_t>(now);
    EXPECT_TRUE(is_otherwise_untouched());
  }
};

TEST_F(StampTest, IsTheLocalTimeOfTheZone) {
  const StampCase cases[] = {
      {"UTC\n", "UTC", 1706745599, "2024-01-31T23:59:59"},
      {"UTC", "UTC", 0, "1970-01-01T00:00:00"},
      {"UTC", "UTC", 1709208000, "2024-02-29T12:00:00"},
      {"UTC", "UTC", 2147483647, "2038-01-19T03:14:07"},
      {"Europe/Berlin\n", "Europe/Berlin", 1706745599, "2024-02-01T00:59:59"},
      {"Europe/Berlin\n", "Europe/Berlin", 1720000000, "2024-07-03T11:46:40"},
      {"Europe/Berlin\n", "Europe/Berlin", 1711846799, "2024-03-31T01:59:59"},
      {"Europe/Berlin\n", "Europe/Berlin", 1711846800, "2024-03-31T03:00:00"},
      {"America/New_York\n", "America/New_York", 1706745599, "2024-01-31T18:59:59"},
      {"America/New_York\n", "America/New_York", 1720000000, "2024-07-03T05:46:40"},
      {"XYZ-3:30", "XYZ-3:30", 1706745599, "2024-02-01T03:29:59"},
      {"CET-1CEST,M3.5.0,M10.5.0/3\n", "CET-1CEST,M3.5.0,M10.5.0/3", 1720000000, "2024-07-03T11:46:40"},
  };
  for (const StampCase& c : cases) expect_stamp(c.file, c.zone, c.now, c.created);
}

TEST_F(StampTest, FirstWordOfTheFileCounts) {
  const StampCase cases[] = {
      {"Europe/Berlin America/New_York\n", "Europe/Berlin", 1706745599, "2024-02-01T00:59:59"},
      {"Europe/Berlin\tx\n", "Europe/Berlin", 1706745599, "2024-02-01T00:59:59"},
      {"UTC\nEurope/Berlin\n", "UTC", 1706745599, "2024-01-31T23:59:59"},
      {"  Europe/Berlin", "Europe/Berlin", 1706745599, "2024-02-01T00:59:59"},
      {"\n\r\n\t Europe/Berlin\r\n", "Europe/Berlin", 1706745599, "2024-02-01T00:59:59"},
      {"America/New_York# a remark", "America/New_York#", 1706745599, "2024-01-31T23:59:59"},
  };
  for (const StampCase& c : cases) expect_stamp(c.file, c.zone, c.now, c.created);
}

TEST_F(StampTest, WithoutAZoneItIsUtc) {
  for (const char* earlier : {"Asia/Tokyo", ""}) {
    setenv("TZ", earlier, 1);
    expect_stamp(std::nullopt, "", 1706745599, "2024-01-31T23:59:59");
    setenv("TZ", earlier, 1);
    expect_stamp("", "", 1706745599, "2024-01-31T23:59:59");
    setenv("TZ", earlier, 1);
    expect_stamp(" \n\t \n", "", 1706745599, "2024-01-31T23:59:59");
  }
  unsetenv("TZ");
  expect_stamp(std::nullopt, "", 1720000000, "2024-07-03T09:46:40");
}

TEST_F(StampTest, ReadsTheFileOnEveryCall) {
  expect_stamp("Europe/Berlin", "Europe/Berlin", 1706745599, "2024-02-01T00:59:59");
  expect_stamp("America/New_York", "America/New_York", 1706745599, "2024-01-31T18:59:59");
  expect_stamp(std::nullopt, "", 1706745599, "2024-01-31T23:59:59");
  expect_stamp("Europe/Berlin", "Europe/Berlin", 1706745599, "2024-02-01T00:59:59");
  expect_stamp("", "", 1706745599, "2024-01-31T23:59:59");
}

TEST_F(StampTest, LongWordIsCut) {
  const std::string name = kSixtyThree;
  expect_stamp(name, kSixtyThree, 1706745599, "2024-01-31T23:59:59");
  expect_stamp(name + "!", kSixtyThree, 1706745599, "2024-01-31T23:59:59");
  expect_stamp(name + std::string(137, 'z') + "\n", kSixtyThree, 1706745599, "2024-01-31T23:59:59");
  expect_stamp(" " + name + " UTC", kSixtyThree, 1706745599, "2024-01-31T23:59:59");
}

TEST_F(StampTest, ClosesTheFile) {
  const int free_before = dup(STDOUT_FILENO);
  close(free_before);
  for (const char* file : {"UTC", "", " "}) {
    host().timezone_file = file;
    for (int i = 0; i < 20; ++i) stamp_time(record_);
  }
  const int free_after = dup(STDOUT_FILENO);
  close(free_after);
  EXPECT_EQ(free_before, free_after);
}

#if UINTPTR_MAX == UINT32_MAX && !defined _TIME_BITS
TEST_F(StampTest, ClockEndsInJanuary2038) {
  static_assert(sizeof(std::time_t) == 4);
  expect_stamp("UTC", "UTC", 2147483647, "2038-01-19T03:14:07");
  expect_stamp("UTC", "UTC", -1, "1969-12-31T23:59:59");
}
#else
TEST_F(StampTest, LateClocks) {
  ASSERT_GE(sizeof(std::time_t), 8U) << "the clock of this build ends in 2038";
  expect_stamp("UTC", "UTC", 2147483648, "2038-01-19T03:14:08");
  expect_stamp("UTC", "UTC", 4102444800, "2100-01-01T00:00:00");
  expect_stamp("UTC", "UTC", 4294967296, "2106-02-07T06:28:16");
  expect_stamp("UTC", "UTC", 253402300799, "9999-12-31T23:59:59");
  expect_stamp("UTC", "UTC", 253402300800, "");  // a year of five digits does not fit
  expect_stamp("UTC", "UTC", std::numeric_limits<std::int64_t>::max(), "");
}
#endif

TEST_F(StampTest, StampOfAnEventRestoresItsState) {
  fe_sensor_event event = {};
  event.event_state = 6;
  stamp_event(record_, event);
  before_.event.event_state = 6;
  std::strcpy(before_.created, kNowText);
  before_.created_time = 1706745599;
  EXPECT_TRUE(is_otherwise_untouched());
}

}  // namespace framing_test
}  // namespace polaiga::test
