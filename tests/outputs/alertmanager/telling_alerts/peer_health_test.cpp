#include "telling_alerts/peer_health.h"

#include <gtest/gtest.h>

#include "support/manual_clock.h"

namespace polaiga::alertmanager {
namespace peer_health_test {

using std::chrono::milliseconds;
using std::chrono::seconds;

class PeerHealthTest : public testing::Test {
 protected:
  engine::test::ManualClock clock_{1000};
  std::vector<std::string> said_;
  PeerHealth health_{"http://h", clock_, [this](engine::Priority, const std::string& text) { said_.push_back(text); },
                     [] { return std::uint64_t{0}; }};
};

TEST_F(PeerHealthTest, AFailureIsToldOnceAndTriedAgainLater) {
  EXPECT_TRUE(health_.may_send());
  health_.failed("connection refused", {});
  EXPECT_FALSE(health_.may_send());
  clock_.pass(milliseconds(250));  // half of the first pause, by the random number 0
  EXPECT_TRUE(health_.may_send());
  health_.failed("connection refused", {});
  clock_.pass(milliseconds(250));
  EXPECT_FALSE(health_.may_send());
  clock_.pass(milliseconds(250));
  EXPECT_TRUE(health_.may_send());
  EXPECT_EQ(said_,
            (std::vector<std::string>{"http://h: connection refused. What it does not take is kept, and tried again"}));
  EXPECT_TRUE(health_.succeeded());
  EXPECT_FALSE(health_.succeeded());
  EXPECT_EQ(said_.size(), 2U);
}

TEST_F(PeerHealthTest, APeerMayAskForALongerPause) {
  health_.failed("status 429", seconds(20));
  clock_.pass(19);
  EXPECT_FALSE(health_.may_send());
  clock_.pass(1);
  EXPECT_TRUE(health_.may_send());
  health_.failed("status 429", seconds(1'000'000));
  clock_.pass(300);
  EXPECT_TRUE(health_.may_send());
  health_.failed("status 429", seconds::max());
  clock_.pass(299);
  EXPECT_FALSE(health_.may_send());
  clock_.pass(1);
  EXPECT_TRUE(health_.may_send());
}

// It may have answered between, without taking what it was told.
TEST_F(PeerHealthTest, ThatItIsWellAgainIsTold) {
  health_.failed("no route", {});
  health_.answered("status 400");
  EXPECT_TRUE(health_.succeeded());
  ASSERT_EQ(said_.size(), 2U);
  EXPECT_EQ(said_.back(), "http://h: it takes what it is told again");
}

TEST_F(PeerHealthTest, AReportTellsIt) {
  output::Report report;
  health_.fill(report);
  EXPECT_FALSE(report.is_connected);
  EXPECT_FALSE(report.last_success);
  health_.succeeded();
  clock_.pass(5);
  health_.failed("no route", {});
  health_.fill(report);
  EXPECT_FALSE(report.is_connected);
  EXPECT_EQ(report.last_success, 1000);
  EXPECT_EQ(report.last_error, "no route");
  EXPECT_EQ(report.last_error_at, 1005);
}

}  // namespace peer_health_test
}  // namespace polaiga::alertmanager
