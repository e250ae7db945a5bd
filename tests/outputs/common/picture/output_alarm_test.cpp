#include "picture/output_alarm.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "support/ledger_fixture.h"

namespace polaiga::output {
namespace output_alarm_test {

using engine::test::kAll;
using engine::test::raises;
using nlohmann::json;

class OutputAlarmTest : public engine::test::LedgerFixture {
 protected:
  OutputAlarm alarm(engine::ChangeNumber number) {
    const engine::FeedAlarms found = engine::ChangeFeed(path_).alarms(std::vector<engine::ChangeNumber>{number});
    return output_alarm(found.alarms.at(0));
  }
};

TEST_F(OutputAlarmTest, HasWhatTheRecordSays) {
  open(kAll);
  engine::test::InputOf input = raises("A", "sys/fan-1", 395, 1001);
  engine_->write(input);
  input.at = 1009;
  engine_->write(input);
  const OutputAlarm one = alarm(1);
  EXPECT_EQ(one.number, 1);
  EXPECT_EQ(one.fault, 1);
  EXPECT_EQ(one.fault_dn, "sys/fan-1/fault-F0395");
  EXPECT_EQ(one.dn, "sys/fan-1");
  EXPECT_EQ(one.code, 395U);
  EXPECT_EQ(one.severity, engine::Severity::kMinor);
  EXPECT_EQ(one.created, 1001);
  EXPECT_EQ(one.since, 1001);
  EXPECT_EQ(one.updated, 1009);
  EXPECT_EQ(one.count, 2U);
  EXPECT_EQ(one.reporters, 1U);
  EXPECT_EQ(one.sensor, "A");
  EXPECT_EQ(one.operator_state, engine::OperatorState::kNone);
  EXPECT_FALSE(one.is_silenced());
  EXPECT_EQ(one.raises, 0U);
  EXPECT_TRUE(one.was_told);
}

TEST_F(OutputAlarmTest, OutputsAreNotToldOfWhatIsSilencedFromItsBeginning) {
  open(kAll);
  engine_->alarms.restore(
      engine::Maintenance{.dn = "sys", .since = 1, .since_at = 1000, .until = 2000, .until_age = 2000});
  engine_->write(raises("A", "sys/fan-1", 395, 1001));
  EXPECT_FALSE(alarm(1).was_told);
}

TEST(OutputAlarmForm, HasTheNamesOfTheOneVocabulary) {
  const OutputAlarm alarm{.number = 17,
                          .fault = 18,
                          .fault_dn = "sys/psu-1/fault-F0374",
                          .dn = "sys/psu-1",
                          .code = 374,
                          .name = "fltEquipmentPsuInoperable",
                          .severity = engine::Severity::kCritical,
                          .created = 1'700'000'000,
                          .since = 1'700'000'001,
                          .updated = 1'700'000'002,
                          .count = 3,
                          .reporters = 2,
                          .sensor = "PSU1_STATUS",
                          .description = "Power supply \"1\" failed",
                          .cause = "power-problem",
                          .oid = {1, 3, 6, 1},
                          .standard = std::nullopt,
                          .operator_state = engine::OperatorState::kShelved,
                          .is_out_of_service = true,
                          .raises = 7};
  const engine::AlarmProfile profile(
      "code\tdn\tseverity\tnotify\trespond_within\tconsequence\tadvice\n"
      "F0374\t*\t-\tno\t4h\tNo redundancy.\tReplace it.\n",
      "alarms.tsv");
  EXPECT_EQ(json::parse(output_alarm_form(alarm, "abc", profile).text()), json::parse(R"({
    "alarm": "abc-17", "fault": 18, "fault_dn": "sys/psu-1/fault-F0374", "dn": "sys/psu-1", "code": 374,
    "name": "fltEquipmentPsuInoperable", "severity": "critical", "created": "2023-11-14T22:13:20Z",
    "since": "2023-11-14T22:13:21Z", "updated": "2023-11-14T22:13:22Z", "count": 3, "reporters": 2,
    "operator_state": "shelved", "out_of_service": true, "sensor": "PSU1_STATUS",
    "description": "Power supply \"1\" failed", "cause": "power-problem", "oid": "1.3.6.1", "event_type": null,
    "probable_cause": null, "probable_cause_number": null, "raises": 7, "notify": false, "respond_within": 14400,
    "consequence": "No redundancy.", "advice": "Replace it."})"));
}

TEST(OutputAlarm, IsSilencedWhenItIsShelvedOrItsObjectIsOutOfService) {
  EXPECT_FALSE(OutputAlarm{}.is_silenced());
  EXPECT_TRUE((OutputAlarm{.operator_state = engine::OperatorState::kShelved}).is_silenced());
  EXPECT_FALSE((OutputAlarm{.operator_state = engine::OperatorState::kAcknowledged}).is_silenced());
  EXPECT_TRUE((OutputAlarm{.is_out_of_service = true}).is_silenced());
}

}  // namespace output_alarm_test
}  // namespace polaiga::output
