#include "fleet_alerts/fleet_alerts.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "database/duties.h"
#include "support/sent.h"
#include "support/test_postgres.h"

namespace polaiga::alertmanager {
namespace fleet_alerts_test {

using namespace fleet::sent;
using fleet::Database;
using fleet::Duties;
using fleet::Intake;
using nlohmann::json;
using Texts = std::vector<std::string>;

class FleetAlertsTest : public testing::Test {
 protected:
  // A fan of a controller fails, so many seconds after noon.
  void raise(const std::string& controller, engine::Moment after, std::uint32_t code = 395) {
    const engine::ChangeNumber number = ++numbers_[controller];
    fleet::ChangeMessage message = raised(number, kLedger, words(code));
    message.at = kNoon + after;
    message.after = engine::Severity::kMajor;
    take(intake_, sender(controller), message);
  }

  FleetAlerts read(std::size_t most = 100) { return read_fleet_alerts(viewer_, "https://fleet.example", most, most); }
  // The labels, in short: "NAME SEVERITY CONTROLLER", or "NAME SEVERITY group".
  Texts told(std::size_t most = 100) {
    Texts texts;
    for (const auto& [labels, alert] : read(most).alerts) {
      const json all = json::parse(labels);
      EXPECT_EQ(all.at("site"), "lab");
      texts.push_back(all.at("alertname").get<std::string>() + " " + all.at("severity").get<std::string>() + " " +
                      all.value("controller", "group"));
    }
    std::ranges::sort(texts);
    return texts;
  }

  fleet::TestDatabase test_;
  Database collector_{test_.url("polaiga_collector"), "fleet_alerts_test"};
  Database viewer_{test_.url("polaiga_viewer"), "fleet_alerts_test"};
  Intake intake_{collector_};
  Duties duties_{collector_};
  std::map<std::string, engine::ChangeNumber> numbers_;
};

TEST_F(FleetAlertsTest, NothingIsActive) {
  EXPECT_EQ(told(), Texts{});
  EXPECT_FALSE(read().is_cut);
}

TEST_F(FleetAlertsTest, AnAlarmHasTheLabelsOfItsController) {
  raise("rack-1", 10);
  EXPECT_EQ(told(), Texts{}) << "it may belong to a group";
  duties_.find_groups(std::chrono::seconds(60));
  const FleetAlerts found = read();
  ASSERT_EQ(found.alerts.size(), 1U);
  const Alert& alert = *found.alerts.begin()->second;
  EXPECT_EQ(alert.labels, found.alerts.begin()->first);
  EXPECT_EQ(alert.labels, alert_labels("sys/fan-1", 395, engine::Severity::kMajor,
                                       {.controller = "rack-1", .site = "lab", .page_url = {}}));
  EXPECT_EQ(json::parse(alert.annotations), (json{{"summary", "major alarm F0395 of sys/fan-1"},
                                                  {"description", "Fan 1 is inoperable"},
                                                  {"cause", "equipment-inoperable"},
                                                  {"sensor", "FAN1_TACH"},
                                                  {"operator_state", "none"}}));
  EXPECT_EQ(alert.link, "https://fleet.example/alarm/1");
  EXPECT_EQ(alert.starts_at, kNoon + 10);
  take(intake_, sender("rack-1"), cleared(2, 1));
  EXPECT_EQ(told(), Texts{});
}

TEST_F(FleetAlertsTest, ANewAlarmIsToldAfterTwoMinutesThoughNobodyLooksForGroups) {
  raise("rack-1", 10);
  test_.sql("update polaiga.alarm set received = received - interval '119 seconds'");
  EXPECT_EQ(told(), Texts{});
  test_.sql("update polaiga.alarm set received = received - interval '2 seconds'");
  EXPECT_EQ(told().size(), 1U);
}

TEST_F(FleetAlertsTest, AGroupIsOneAlert) {
  for (const char* const rack : {"rack-1", "rack-2", "rack-3"}) raise(rack, 10);
  raise("rack-4", 20, 396);
  duties_.find_groups(std::chrono::seconds(60));
  const FleetAlerts found = read();
  ASSERT_EQ(found.alerts.size(), 2U);
  const auto group = std::ranges::find_if(found.alerts, [](const auto& one) { return one.second->alarm < 0; });
  ASSERT_NE(group, found.alerts.end());
  EXPECT_EQ(json::parse(group->first), (json{{"alertname", "fltFanInoperable"},
                                             {"code", "F0395"},
                                             {"severity", "major"},
                                             {"site", "lab"},
                                             {"group", "1"}}));
  EXPECT_EQ(json::parse(group->second->annotations),
            (json{{"summary", "major alarm F0395 on 3 controllers of the site lab"},
                  {"alarms", "3"},
                  {"controllers", "3"},
                  {"description", "Fan 1 is inoperable"}}));
  EXPECT_EQ(group->second->link, "https://fleet.example/group/1");
  EXPECT_EQ(group->second->starts_at, kNoon + 10);
  // It lasts as long as one of its alarms, and tells how many there are.
  for (const char* const rack : {"rack-1", "rack-2"}) take(intake_, sender(rack), cleared(2, 1));
  const FleetAlerts later = read();
  ASSERT_TRUE(later.alerts.contains(group->first));
  EXPECT_EQ(json::parse(later.alerts.at(group->first)->annotations).at("controllers"), "1");
  take(intake_, sender("rack-3"), cleared(2, 1));
  EXPECT_FALSE(read().alerts.contains(group->first));
}

TEST_F(FleetAlertsTest, ASilentController) {
  raise("rack-1", 10);
  duties_.find_groups(std::chrono::seconds(60));
  take(intake_, sender("rack-1"), lost());
  EXPECT_EQ(duties_.find_silent(std::chrono::seconds(100), duties_.now()), 1);
  duties_.find_groups(std::chrono::seconds(60));
  EXPECT_EQ(told(), (Texts{std::string(engine::fault_name(395)) + " major rack-1",
                           std::string(fleet::kSilentName) + " major rack-1"}));
}

TEST_F(FleetAlertsTest, WhatOperatorsSilencedIsNoAlert) {
  raise("rack-1", 10);
  raise("rack-2", 10, 396);
  duties_.find_groups(std::chrono::seconds(60));
  EXPECT_EQ(told().size(), 2U);
  test_.sql("update polaiga.alarm set is_shelved = true where code = 395");
  EXPECT_EQ(told().size(), 1U);
  test_.sql("update polaiga.alarm set is_out_of_service = true where code = 396");
  EXPECT_EQ(told(), Texts{});
  test_.sql("update polaiga.alarm set is_shelved = false, is_acknowledged = true where code = 395");
  const FleetAlerts found = read();
  ASSERT_EQ(found.alerts.size(), 1U);
  EXPECT_EQ(json::parse(found.alerts.begin()->second->annotations).at("operator_state"), "acknowledged");
}

TEST_F(FleetAlertsTest, TheWorstAreToldWhenThereAreTooMany) {
  for (const char* const rack : {"rack-1", "rack-2"}) raise(rack, 10);
  duties_.find_groups(std::chrono::seconds(60));
  test_.sql(
      "update polaiga.alarm set severity = 5 where controller_id = (select max(controller_id) from "
      "polaiga.controller)");
  EXPECT_EQ(told(1), Texts{std::string(engine::fault_name(395)) + " critical rack-2"});
  EXPECT_TRUE(read(1).is_cut);
  EXPECT_FALSE(read(2).is_cut);
}

}  // namespace fleet_alerts_test
}  // namespace polaiga::alertmanager
