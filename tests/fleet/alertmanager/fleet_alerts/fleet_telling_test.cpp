#include "fleet_alerts/fleet_telling.h"

#include <gtest/gtest.h>

#include "support/fake_post.h"
#include "support/manual_clock.h"

namespace polaiga::alertmanager {
namespace fleet_telling_test {

using nlohmann::json;
using Texts = std::vector<std::string>;

class FleetTellingTest : public testing::Test {
 protected:
  static AlertPointer alert(const std::string& name, const std::string& annotation = "a") {
    return std::make_shared<const Alert>(Alert{.labels = R"({"alertname":")" + name + "\"}",
                                               .annotations = R"({"summary":")" + annotation + "\"}",
                                               .link = {},
                                               .starts_at = 1000,
                                               .alarm = 1});
  }
  static FleetAlerts reading(const std::vector<AlertPointer>& alerts) {
    FleetAlerts found;
    for (const AlertPointer& one : alerts) found.alerts.emplace(one->labels, one);
    return found;
  }
  // What the Alertmanager is told now: the names, with "over" behind those that have ended.
  Texts told() {
    Texts texts;
    telling_.go_on();
    while (post_.has_requests()) {
      for (const json& one : post_.answer()) {
        const bool is_over = one.at("endsAt") <= engine::format_moment(clock_.wall());
        texts.push_back(one.at("labels").at("alertname").get<std::string>() + (is_over ? " over" : ""));
      }
      telling_.go_on();
    }
    std::ranges::sort(texts);
    return texts;
  }

  engine::test::ManualClock clock_{engine::test::kToday};
  test::FakePost post_;
  Texts said_;
  FleetTelling telling_{{parse_address("http://127.0.0.1:9093", Query::kRefused)},
                        std::chrono::seconds(60),
                        {.post = post_,
                         .clock = clock_,
                         .tell = [this](auto, const std::string& text) { said_.push_back(text); },
                         .random = [] { return std::uint64_t{0}; }}};
};

TEST_F(FleetTellingTest, WhatBeginsAndEndsIsTold) {
  EXPECT_EQ(told(), Texts{});
  telling_.take(reading({alert("a"), alert("b")}));
  EXPECT_EQ(told(), (Texts{"a", "b"}));
  EXPECT_EQ(post_.last_url, "http://127.0.0.1:9093/api/v2/alerts");
  telling_.take(reading({alert("a"), alert("b")}));
  EXPECT_EQ(told(), Texts{}) << "nothing has changed";
  telling_.take(reading({alert("a", "another"), alert("c")}));
  EXPECT_EQ(told(), (Texts{"a", "b over", "c"}));
}

TEST_F(FleetTellingTest, ActiveAlertsAreToldAgain) {
  telling_.take(reading({alert("a")}));
  EXPECT_EQ(told(), Texts{"a"});
  clock_.pass(59);
  EXPECT_EQ(told(), Texts{});
  clock_.pass(1);
  EXPECT_EQ(told(), Texts{"a"});
}

TEST_F(FleetTellingTest, ADatabaseThatCannotBeReadIsAnAlertAfterAMinute) {
  telling_.take(reading({alert("a")}));
  told();
  EXPECT_EQ(std::exchange(said_, {}), Texts{"http://127.0.0.1:9093: it takes what it is told"});
  clock_.pass(59);
  telling_.cannot_read("The database is away");
  EXPECT_EQ(told(), Texts{}) << "what was read last stays";
  EXPECT_EQ(said_, Texts{"The database is away; what was read last is told until it can be read again"});
  clock_.pass(1);
  telling_.cannot_read("The database is away");
  EXPECT_EQ(told(), (Texts{"PolaigaFleetUnreadable", "a"}));
  EXPECT_EQ(said_.size(), 1U) << "it is said once";
  telling_.take(reading({alert("a")}));
  EXPECT_EQ(told(), Texts{"PolaigaFleetUnreadable over"});
  EXPECT_EQ(said_.back(), "The fleet's database can be read again");
}

TEST_F(FleetTellingTest, AlertsThatAreLeftOutAreSaidOnce) {
  FleetAlerts many = reading({alert("a")});
  many.is_cut = true;
  telling_.take(many);
  telling_.take(many);
  EXPECT_EQ(said_, Texts{"There are more alerts than are told; the less severe ones are left out"});
}

}  // namespace fleet_telling_test
}  // namespace polaiga::alertmanager
