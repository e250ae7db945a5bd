#include "ledger/seal.h"

#include <gtest/gtest.h>

#include <string>

#include "support/record.h"

// Ledgers keep these digests and later programs check them, so they may never change. The expected ones were made with
// Python's hashlib from what seal.h says that they cover: a number is 8 bytes, the lowest first, a text its size and
// its bytes, a value that may be missing the sign 0 or 1 before it, and a row the name of its table with a zero byte
// before its values.
namespace polaiga::engine {
namespace seal_test {

constexpr const char* kId = "0123456789abcdef0123456789abcdef";

std::string hex(const Seal& seal) {
  std::string text;
  for (const unsigned char byte : seal) {
    text += "0123456789abcdef"[byte >> 4U];
    text += "0123456789abcdef"[byte & 0xFU];
  }
  return text;
}

// 00 01 02 ... 0f.
Seal previous() {
  Seal seal{};
  for (std::size_t i = 0; i < seal.size(); ++i) seal[i] = static_cast<unsigned char>(i);
  return seal;
}

TEST(SealTest, ASettingIsTheBuildAndTheHostTables) {
  EXPECT_EQ(hex(setting_digest({"nm", "cmc", "drive_bp"}, {"c0ffee", "1.0.0"})), "d3c6d97729732d8352234402ce9ca184");
  EXPECT_NE(setting_digest({"nmc", "mc", "drive_bp"}, {"c0ffee", "1.0.0"}),
            setting_digest({"nm", "cmc", "drive_bp"}, {"c0ffee", "1.0.0"}));
}

TEST(SealTest, ABatchIsWhatComesBeforeItItsRowsAndItsNumbers) {
  const Seal setting = setting_digest({"nm", "cmc", "drive_bp"}, {"c0ffee", "1.0.0"});
  EXPECT_EQ(hex(BatchSeal(kId, previous(), setting).close(1, 2, 3, 4)), "e0374ee7c3870ec571df22b39180919b");

  SubjectRow subject{.seq = 1, .entity = find_entity("fan"), .event = {}};
  test::fill(subject.event.sensor_name, "FAN1");
  subject.event.entity_instance = 2;
  subject.event.group_instance = -3;
  subject.event.entity_id = 29;
  subject.event.entity_subtype = 4;
  subject.event.reading_type = 5;
  FormRow form{.seq = 1, .record = test::make_record({.dn = "o", .code = 395, .descr = "slow"})};
  form.record.event.entity_id = 29;
  form.record.event.entity_instance = 2;
  form.record.fault_key = 7;
  form.record.oid[0] = 1;
  form.record.oid[1] = 3;
  form.record.oid[2] = 6;
  form.record.oid_len = 3;
  form.record.disposition = 1;
  EventRow event{.seq = 1,
                 .id = "id",
                 .received = 1000,
                 .arrived = {},
                 .age = 7,
                 .time = 1001,
                 .at = {},
                 .setting = 1,
                 .subject = 1,
                 .event = {},
                 .form = 1,
                 .outcome = Outcome::kRaised,
                 .fault = 8,
                 .created_time = 1000,
                 .zone = -3600,
                 .created = {},
                 .seal = previous()};  // its own digest is not part of it
  event.event.event_offset = 3;
  event.event.event_state = -1;
  const ChangeRow change{.number = 8,
                         .seq = 1,
                         .kind = ChangeKind::kRefreshed,
                         .fault = 6,
                         .alarm = 6,
                         .before = Severity::kMinor,
                         .after = Severity::kMajor,
                         .other = 2,
                         .shown = 1,
                         .reporters = 2,
                         .previous = 7,
                         .of_alarm = 3,
                         .raises = 5,
                         .is_quiet = true,
                         .is_folded = false};
  BatchSeal batch(kId, previous(), setting);
  batch.add(subject);
  batch.add(form);
  batch.add(event);
  batch.add(change);
  EXPECT_EQ(hex(batch.close(1, 1, 7, 8)), "ada304226d9929572400a04b9a09e6ef");
}

}  // namespace seal_test
}  // namespace polaiga::engine
