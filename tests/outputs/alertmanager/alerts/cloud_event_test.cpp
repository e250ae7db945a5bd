#include "alerts/cloud_event.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "support/alarms.h"

namespace polaiga::alertmanager {
namespace cloud_event_test {

using engine::Change;
using engine::ChangeKind;
using nlohmann::json;

TEST(CloudEventTest, TheSourceIsAPath) {
  struct Case {
    const char* site;
    const char* controller;
    const char* source;
  };
  for (const Case& one : {Case{"", "web1", "/polaiga/web1"}, Case{"berlin", "web1", "/polaiga/berlin/web1"},
                          Case{"a/b", "rack 1%", "/polaiga/a%2Fb/rack%201%25"}, Case{"", "ü", "/polaiga/%C3%BC"}}) {
    EXPECT_EQ(event_source({.controller = one.controller, .site = one.site, .page_url = ""}), one.source);
  }
}

TEST(CloudEventTest, AChangeIsAnEvent) {
  engine::StoredChange change;
  change.change = {.number = 42,
                   .sequence = 7,
                   .kind = ChangeKind::kAcknowledged,
                   .at = 60,
                   .fault_dn = "sys/fan-1/fault-F0395",
                   .fault = 40,
                   .alarm = 40,
                   .before = engine::Severity::kMinor,
                   .after = engine::Severity::kMinor};
  change.action.emplace();
  change.action->kind = engine::ActionKind::kAcknowledge;
  change.action->person = "anna";
  const json event = json::parse(change_event(change, 40, "abc", "/polaiga/web1"));
  EXPECT_EQ(event.at("specversion"), "1.0");
  EXPECT_EQ(event.at("id"), "abc-42");
  EXPECT_EQ(event.at("source"), "/polaiga/web1");
  EXPECT_EQ(event.at("type"), "polaiga.change.acknowledged");
  EXPECT_EQ(event.at("subject"), "sys/fan-1");
  EXPECT_EQ(event.at("time"), "1970-01-01T00:01:00Z");
  EXPECT_EQ(event.at("datacontenttype"), "application/json");
  EXPECT_EQ(event.at("data").at("previous"), 40);
  EXPECT_EQ(event.at("data").at("number"), 42);
  EXPECT_EQ(event.at("data").at("ledger_id"), "abc");
  EXPECT_EQ(event.at("data").at("alarm"), "abc-40");
  EXPECT_EQ(event.at("data").at("action").at("person"), "anna");
  EXPECT_TRUE(json::parse(change_event(change, std::nullopt, "abc", "/")).at("data").at("previous").is_null());
}

TEST(CloudEventTest, AChangeOfAnObjectHasThatAsItsSubject) {
  engine::StoredChange change;
  change.change = {.number = 3, .sequence = 2, .kind = ChangeKind::kOutOfService, .fault_dn = "sys/psu-1"};
  change.action = engine::StoredAction{};
  const json event = json::parse(change_event(change, 2, "abc", "/"));
  EXPECT_EQ(event.at("type"), "polaiga.change.out_of_service");
  EXPECT_EQ(event.at("subject"), "sys/psu-1");
}

TEST(CloudEventTest, AGapAndThePictureAreEvents) {
  const json gap = json::parse(gap_event({.first = 3, .last = 9}, "abc", 60, "/s"));
  EXPECT_EQ(gap.at("id"), "abc-gap-3-9");
  EXPECT_EQ(gap.at("type"), "polaiga.gap");
  EXPECT_EQ(gap.at("data"), json({{"ledger_id", "abc"}, {"first", 3}, {"last", 9}}));

  const std::vector<output::OutputAlarm> alarms = {test::slow_fan(17), test::slow_fan(18, "sys/fan-2")};
  const json part = json::parse(snapshot_event({.number = 20, .part = 2, .parts = 3}, alarms, {}, "abc", 60, "/s"));
  EXPECT_EQ(part.at("id"), "abc-snapshot-20-2");
  EXPECT_EQ(part.at("type"), "polaiga.snapshot");
  EXPECT_EQ(part.at("data").at("number"), 20);
  EXPECT_EQ(part.at("data").at("part"), 2);
  EXPECT_EQ(part.at("data").at("parts"), 3);
  ASSERT_EQ(part.at("data").at("alarms").size(), 2U);
  EXPECT_EQ(part.at("data").at("alarms").at(1).at("alarm"), "abc-18");
  EXPECT_EQ(part.at("data").at("alarms").at(1).at("dn"), "sys/fan-2");
}

}  // namespace cloud_event_test
}  // namespace polaiga::alertmanager
