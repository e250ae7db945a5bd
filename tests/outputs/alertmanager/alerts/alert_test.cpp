#include "alerts/alert.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "support/alarms.h"

namespace polaiga::alertmanager {
namespace alert_test {

using engine::ProfileEntry;
using engine::Severity;
using test::slow_fan;

const Identity kServer{.controller = "web1", .site = "berlin", .page_url = "https://web1.example:8443"};

TEST(AlertTest, HasTheseLabels) {
  EXPECT_EQ(alert_of(slow_fan(), "abc", nullptr, kServer).labels,
            R"({"alertname":"fltEquipmentFanPerfThresholdNonCritical","dn":"sys/fan-1","code":"F0395",)"
            R"("severity":"minor","controller":"web1","site":"berlin"})");
  // An empty label is none for an Alertmanager.
  EXPECT_EQ(alert_labels("sys/fan-1", 396, Severity::kMajor, {.controller = "web1", .site = "", .page_url = ""}),
            R"({"alertname":"fltEquipmentFanPerfThresholdCritical","dn":"sys/fan-1","code":"F0396",)"
            R"("severity":"major","controller":"web1"})");
  EXPECT_EQ(alert_labels("a", 12345, Severity::kIndeterminate, {.controller = "c", .site = "", .page_url = ""}),
            R"({"alertname":"F12345","dn":"a","code":"F12345","severity":"indeterminate","controller":"c"})");
}

TEST(AlertTest, HasTheseAnnotations) {
  const ProfileEntry entry{.dn = "**",
                           .severity = {},
                           .notify = true,
                           .respond_within = 14400,
                           .consequence = "it gets hot",
                           .advice = "change the fan"};
  output::OutputAlarm alarm = slow_fan();
  alarm.operator_state = engine::OperatorState::kAcknowledged;
  alarm.raises = 9;
  EXPECT_EQ(
      alert_of(alarm, "abc", &entry, kServer).annotations,
      R"({"alarm":"abc-17","summary":"minor alarm F0395 of sys/fan-1","description":"the fan is slow","cause":"performance-problem","sensor":"FAN1_TACH1",)"
      R"("operator_state":"acknowledged","chattering":"true","respond_within":"14400","consequence":"it gets hot",)"
      R"("advice":"change the fan"})");
  EXPECT_EQ(alert_of(alarm, "abc", nullptr, kServer).link, "https://web1.example:8443/alarm/17");
  EXPECT_EQ(alert_of(alarm, "abc", nullptr, {.controller = "c", .site = "", .page_url = ""}).link, "");
}

TEST(AlertTest, IsHeardUnlessItIsSilenced) {
  const ProfileEntry loud{.dn = "**"};
  const ProfileEntry silent{.dn = "**", .notify = false};
  output::OutputAlarm shelved = slow_fan();
  shelved.operator_state = engine::OperatorState::kShelved;
  output::OutputAlarm maintained = slow_fan();
  maintained.is_out_of_service = true;
  output::OutputAlarm acknowledged = slow_fan();
  acknowledged.operator_state = engine::OperatorState::kAcknowledged;
  EXPECT_TRUE(is_heard(slow_fan(), nullptr));
  EXPECT_TRUE(is_heard(slow_fan(), &loud));
  EXPECT_TRUE(is_heard(acknowledged, nullptr));
  EXPECT_FALSE(is_heard(slow_fan(), &silent));
  EXPECT_FALSE(is_heard(shelved, &loud));
  EXPECT_FALSE(is_heard(maintained, nullptr));
}

TEST(AlertTest, IsAnObjectOfARequest) {
  const Alert alert{.labels = R"({"a":"b"})", .annotations = "{}", .link = "http://h/\"x", .starts_at = 0, .alarm = 1};
  EXPECT_EQ(alert_form(alert, 0, 60), R"({"labels":{"a":"b"},"annotations":{},"startsAt":"1970-01-01T00:00:00Z",)"
                                      R"("endsAt":"1970-01-01T00:01:00Z","generatorURL":"http://h/\"x"})");
}

TEST(AlertTest, TextsFromOutsideStayTexts) {
  output::OutputAlarm alarm = slow_fan();
  alarm.dn = "sys/\"\\\n\xff\u202e";
  alarm.description = "\x01{}\xc3";
  const Alert alert = alert_of(alarm, "abc", nullptr, kServer);
  const auto labels = nlohmann::json::parse(alert.labels);
  EXPECT_EQ(labels.at("dn"), "sys/\"\\\n\ufffd\u202e");
  EXPECT_EQ(nlohmann::json::parse(alert.annotations).at("description"), "\x01{}\ufffd");
}

TEST(AlertTest, FindsThePartsOfAFault) {
  struct Case {
    const char* fault_dn;
    const char* dn;
    std::uint32_t code;
  };
  for (const Case& one :
       {Case{"sys/fan-1/fault-F0395", "sys/fan-1", 395}, Case{"a/fault-F1/b/fault-F12345", "a/fault-F1/b", 12345}}) {
    const auto parts = fault_parts(one.fault_dn);
    ASSERT_TRUE(parts) << one.fault_dn;
    EXPECT_EQ(parts->dn, one.dn);
    EXPECT_EQ(parts->code, one.code);
  }
  for (const char* const cut : {"", "sys", "sys/fan-1/fault-F03", "sys/fan-1/fault-F", "/fault-F0395",
                                "sys/fault-F039x", "sys/fault-F99999999999", "sys/fault-F-395"}) {
    EXPECT_FALSE(fault_parts(cut)) << cut;
  }
}

TEST(AlertTest, NamesAreTextsThatCanBeSeen) {
  EXPECT_EQ(why_no_name("München"), "");
  EXPECT_EQ(why_no_name(""), "a name has at least one character");
  EXPECT_EQ(why_no_name("a\nb"), "a name is UTF-8 of characters that can be seen");
  EXPECT_EQ(why_no_name("\xff"), "a name is UTF-8 of characters that can be seen");
  EXPECT_EQ(why_no_name(std::string(128, 'a')), "");
  EXPECT_EQ(why_no_name(std::string(129, 'a')), "a name has at most 128 bytes");
}

}  // namespace alert_test
}  // namespace polaiga::alertmanager
