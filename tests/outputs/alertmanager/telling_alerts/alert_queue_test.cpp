#include "telling_alerts/alert_queue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <random>

namespace polaiga::alertmanager {
namespace alert_queue_test {

using std::chrono::minutes;
using std::chrono::seconds;

constexpr engine::Moment kWall = 1'000'000;

AlertPointer alert(const std::string& name, engine::ChangeNumber alarm = 1, const std::string& text = "x") {
  return std::make_shared<const Alert>(Alert{.labels = R"({"n":")" + name + "\"}",
                                             .annotations = R"({"t":")" + text + "\"}",
                                             .link = "",
                                             .starts_at = kWall - 100,
                                             .alarm = alarm});
}

class AlertQueueTest : public testing::Test {
 protected:
  // The names of what is to be told, with "!" behind those that have ended.
  std::string next() {
    const std::string body = queue_.next(now_, kWall);
    if (body.empty()) return "";
    std::string names;
    last_ = nlohmann::json::parse(body);
    for (const auto& one : last_) {
      const bool is_over = one.at("endsAt").get<std::string>() <= engine::format_moment(kWall);
      names += (names.empty() ? "" : " ") + one.at("labels").at("n").get<std::string>() + (is_over ? "!" : "");
    }
    return names;
  }

  std::string tell() {
    std::string names = next();
    if (!names.empty()) queue_.taken(now_);
    return names;
  }

  AlertQueue queue_{seconds(60)};
  AlertQueue::Steady now_ = std::chrono::hours(1);
  nlohmann::json last_;
};

TEST_F(AlertQueueTest, AnAlertIsToldOnceAndThenAgainAtTheInterval) {
  queue_.raise(alert("a"), 0);
  queue_.raise(alert("b"), 0);
  EXPECT_EQ(tell(), "a b");
  EXPECT_EQ(tell(), "");
  EXPECT_EQ(queue_.due(), now_ + seconds(60));
  now_ += seconds(59);
  EXPECT_EQ(tell(), "");
  now_ += seconds(1);
  EXPECT_EQ(tell(), "a b");
  EXPECT_EQ(queue_.told(), 2U);
}

// It is valid for four intervals, and at least for five minutes.
TEST_F(AlertQueueTest, AnActiveAlertExpires) {
  queue_.raise(alert("a"), 0);
  next();
  EXPECT_EQ(last_.at(0).at("startsAt"), engine::format_moment(kWall - 100));
  EXPECT_EQ(last_.at(0).at("endsAt"), engine::format_moment(kWall + 300));
  EXPECT_EQ(AlertQueue(seconds(1)).validity(), seconds(300));
  EXPECT_EQ(AlertQueue(seconds(75)).validity(), seconds(300));
  EXPECT_EQ(AlertQueue(seconds(600)).validity(), seconds(2400));
}

TEST_F(AlertQueueTest, AnEndHasItsTime) {
  queue_.end(alert("a"), kWall - 30, 0);
  queue_.end(alert("b"), kWall + 30, 0);   // by a clock that was put back since
  queue_.end(alert("c"), kWall - 500, 0);  // the same: it lies before the beginning
  EXPECT_EQ(next(), "a! b! c!");
  EXPECT_EQ(last_.at(0).at("endsAt"), engine::format_moment(kWall - 30));
  EXPECT_EQ(last_.at(1).at("endsAt"), engine::format_moment(kWall));
  EXPECT_EQ(last_.at(2).at("endsAt"), engine::format_moment(kWall - 500));
  EXPECT_EQ(last_.at(2).at("startsAt"), engine::format_moment(kWall - 500));
}

TEST_F(AlertQueueTest, AnEndIsToldUntilItIsTaken) {
  queue_.raise(alert("a"), 0);
  tell();
  queue_.end(alert("a"), kWall, 5);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(next(), "a!");
    queue_.failed();
  }
  EXPECT_EQ(tell(), "a!");
  EXPECT_EQ(queue_.through(9), 9);
}

// Since a peer that restarts has forgotten that the alert has ended, or was there at all.
TEST_F(AlertQueueTest, AnEndIsToldAgainForAWhile) {
  queue_.end(alert("a"), kWall, 0);
  int told = 0;
  for (int i = 0; i < 20; ++i, now_ += seconds(60)) told += tell() == "a!" ? 1 : 0;
  EXPECT_EQ(told, 5);  // at 0, 60, 120, 180 and 240 seconds
  EXPECT_EQ(queue_.size(), 0U);
  EXPECT_EQ(queue_.ended(), 0U);
}

TEST_F(AlertQueueTest, TheLatestStateCounts) {
  queue_.raise(alert("a", 1, "old"), 0);
  queue_.raise(alert("a", 1, "new"), 1);
  EXPECT_EQ(next(), "a");
  EXPECT_EQ(last_.at(0).at("annotations").at("t"), "new");
  queue_.taken(now_);
  queue_.end(alert("a"), kWall, 2);
  queue_.raise(alert("a", 2, "again"), 3);
  EXPECT_EQ(tell(), "a");
  EXPECT_EQ(queue_.ended(), 0U);
}

TEST_F(AlertQueueTest, WhatChangesOnItsWayIsToldAgain) {
  queue_.raise(alert("a"), 0);
  next();
  queue_.end(alert("a"), kWall, 7);
  EXPECT_EQ(queue_.through(9), 0);
  queue_.taken(now_);
  EXPECT_EQ(queue_.through(9), 7);
  EXPECT_EQ(tell(), "a!");
  EXPECT_EQ(queue_.through(9), 9);

  queue_.raise(alert("b"), 9);
  next();
  queue_.end(alert("b"), kWall, 11);
  queue_.failed();
  EXPECT_EQ(queue_.through(12), 9);
  EXPECT_EQ(tell(), "b!");
  EXPECT_EQ(queue_.through(12), 12);
}

TEST_F(AlertQueueTest, TheCursorWaitsForTheOldest) {
  EXPECT_EQ(queue_.through(3), 3);
  for (int i = 0; i < 100; ++i) queue_.raise(alert(std::to_string(i), i), i);
  EXPECT_EQ(queue_.through(100), 0);
  tell();
  EXPECT_EQ(queue_.through(100), 64);
  next();
  queue_.raise(alert("1", 1, "new"), 100);
  EXPECT_EQ(queue_.through(101), 64);
  queue_.taken(now_);
  EXPECT_EQ(queue_.through(101), 100);
}

TEST_F(AlertQueueTest, ARequestHasAtMost64AndKeepsAnAlarmTogether) {
  for (int i = 0; i < 63; ++i) queue_.raise(alert(std::to_string(i), i), 0);
  queue_.raise(alert("new", 100), 0);
  queue_.end(alert("old", 100), kWall, 0);
  queue_.raise(alert("other", 101), 0);
  next();
  EXPECT_EQ(last_.size(), 65U);
  EXPECT_EQ(last_.at(63).at("labels").at("n"), "new");
  EXPECT_EQ(last_.at(64).at("labels").at("n"), "old");
  queue_.taken(now_);
  EXPECT_EQ(tell(), "other");
}

TEST_F(AlertQueueTest, ARequestHasAtMost256KiB) {
  for (int i = 0; i < 10; ++i) queue_.raise(alert(std::to_string(i), i, std::string(100'000, 'x')), 0);
  std::string names;
  for (int i = 0; i < 5; ++i) {
    const std::string body = queue_.next(now_, kWall);
    EXPECT_LE(body.size(), AlertQueue::kMostBytes);
    for (const auto& one : nlohmann::json::parse(body)) names += one.at("labels").at("n").get<std::string>();
    queue_.taken(now_);
  }
  EXPECT_EQ(names, "0123456789");
  EXPECT_EQ(tell(), "");
}

TEST_F(AlertQueueTest, TheOneThatIsRefusedIsFound) {
  for (int i = 0; i < 64; ++i) queue_.raise(alert(std::to_string(i), i), i);
  int requests = 0;
  std::set<std::string> taken;
  AlertPointer bad;
  while (true) {
    const std::string names = next();
    if (names.empty()) break;
    ++requests;
    const bool has_bad = std::ranges::any_of(last_, [](const auto& one) { return one.at("labels").at("n") == "37"; });
    if (has_bad) {
      if (const AlertPointer found = queue_.refused(now_)) bad = found;
    } else {
      for (const auto& one : last_) taken.insert(one.at("labels").at("n"));
      queue_.taken(now_);
    }
  }
  EXPECT_EQ(taken.size(), 63U);
  ASSERT_TRUE(bad);
  EXPECT_EQ(bad->labels, R"({"n":"37"})");
  EXPECT_EQ(requests, 13);  // 64, and of each pair of halves both
  EXPECT_EQ(queue_.through(99), 99);
  // It is tried again after ten minutes alone, and holds nobody up.
  now_ += seconds(60);
  next();
  EXPECT_EQ(last_.size(), 63U);
  queue_.taken(now_);
  now_ += minutes(10);
  next();
  EXPECT_EQ(last_.size(), 63U);
  queue_.taken(now_);
  EXPECT_EQ(tell(), "37");
}

TEST_F(AlertQueueTest, ARefusedOneIsReturnedOnceUntilItChangesOrIsTaken) {
  queue_.raise(alert("a"), 0);
  const auto is_returned = [&] {
    EXPECT_EQ(next(), "a");
    const bool is_it = queue_.refused(now_) != nullptr;
    now_ += minutes(10);
    return is_it;
  };
  EXPECT_TRUE(is_returned());
  EXPECT_FALSE(is_returned());
  EXPECT_FALSE(is_returned());
  queue_.raise(alert("a", 1, "new"), 4);
  EXPECT_TRUE(is_returned());
  EXPECT_FALSE(is_returned());
  EXPECT_EQ(tell(), "a");
  now_ += minutes(10);
  EXPECT_TRUE(is_returned());
}

TEST_F(AlertQueueTest, ARefusedOneThatChangesIsToldAtOnce) {
  queue_.raise(alert("a"), 0);
  next();
  EXPECT_TRUE(queue_.refused(now_));
  queue_.raise(alert("a", 1, "new"), 4);
  EXPECT_EQ(tell(), "a");
  queue_.raise(alert("b"), 4);
  next();
  queue_.raise(alert("b", 1, "new"), 5);
  EXPECT_FALSE(queue_.refused(now_));  // as it is now it may be taken
  EXPECT_EQ(queue_.through(9), 5);
  EXPECT_EQ(tell(), "b");
}

TEST_F(AlertQueueTest, ARefusedEndIsLost) {
  queue_.end(alert("a"), kWall, 0);
  next();
  EXPECT_TRUE(queue_.refused(now_));
  EXPECT_EQ(queue_.lost(), 1U);
  EXPECT_EQ(queue_.size(), 0U);
  EXPECT_EQ(queue_.through(9), 9);
}

TEST_F(AlertQueueTest, AFailureAmidHalvesKeepsAllInOrder) {
  for (int i = 0; i < 8; ++i) queue_.raise(alert(std::to_string(i), i), i);
  next();
  queue_.refused(now_);
  EXPECT_EQ(next(), "0 1 2 3");
  queue_.refused(now_);
  EXPECT_EQ(next(), "0 1");
  queue_.failed();
  EXPECT_EQ(next(), "0 1 2 3 4 5 6 7");
}

TEST_F(AlertQueueTest, APeerThatMayHaveForgottenIsToldAll) {
  queue_.raise(alert("a"), 0);
  queue_.end(alert("b"), kWall, 0);
  tell();
  now_ += seconds(1);
  queue_.tell_all_again(now_);
  EXPECT_EQ(queue_.due(), AlertQueue::Steady{});
  EXPECT_EQ(tell(), "a b!");
  EXPECT_EQ(tell(), "");
}

TEST_F(AlertQueueTest, EndsAreKeptUpToALimit) {
  const auto most = static_cast<int>(AlertQueue::kMostEnded);
  queue_.raise(alert("active"), 0);
  for (int i = 0; i < most + 1; ++i) queue_.end(alert(std::to_string(i), i), kWall, i);
  EXPECT_EQ(queue_.lost(), 1000U);
  EXPECT_EQ(queue_.ended(), AlertQueue::kMostEnded - 999);
  EXPECT_TRUE(next().starts_with("active 1000! 1001! "));
}

TEST_F(AlertQueueTest, WhatIsTakenIsDroppedBeforeWhatIsNot) {
  const auto most = static_cast<int>(AlertQueue::kMostEnded);
  for (int i = 0; i < 64; ++i) queue_.end(alert("taken" + std::to_string(i), i), kWall, i);
  tell();
  for (int i = 0; i < most - 63; ++i) queue_.end(alert(std::to_string(i), 100 + i), kWall, 100 + i);
  EXPECT_EQ(queue_.lost(), 0U);
  EXPECT_EQ(queue_.ended(), AlertQueue::kMostEnded - 63);
}

TEST_F(AlertQueueTest, AnEarlierEndDoesNotReplaceALaterOne) {
  queue_.end(alert("a"), kWall - 5, 0);
  queue_.end(alert("a"), kWall - 9, 0);
  next();
  EXPECT_EQ(last_.at(0).at("endsAt"), engine::format_moment(kWall - 5));
  queue_.taken(now_);
  queue_.end(alert("b"), kWall - 9, 0);
  queue_.end(alert("b"), kWall - 5, 0);
  next();
  EXPECT_EQ(last_.at(0).at("endsAt"), engine::format_moment(kWall - 5));
}

TEST_F(AlertQueueTest, AnotherLedgerBeginsAtItsFirstChange) {
  queue_.raise(alert("a"), 700);
  queue_.begin_anew();
  EXPECT_EQ(queue_.through(3), 0);
  tell();
  EXPECT_EQ(queue_.through(3), 3);
}

// Alerts begin and end at random, and requests are taken, refused or fail at random; of those that fail the peer has
// taken some all the same. In the end the peer has what is active, and the cursor never passed what it has not heard
// of.
TEST_F(AlertQueueTest, WhateverHappensThePeerHasWhatIsActive) {
  std::mt19937 chance(4711);  // NOLINT: the same walk each time
  const auto one_of = [&](int most) { return static_cast<int>(chance() % static_cast<unsigned>(most)); };
  constexpr int kAlerts = 200;
  constexpr int kBad = 37;                      // the peer never takes this one
  std::vector<bool> is_active(kAlerts, false);  // as it should be
  std::map<std::string, bool> peer;             // as the peer knows it
  std::vector<engine::ChangeNumber> changed(kAlerts, 0);
  engine::ChangeNumber number = 0;
  const auto apply = [&] {
    for (const auto& one : last_) {
      peer[one.at("labels").at("n")] = one.at("endsAt").get<std::string>() > engine::format_moment(kWall);
    }
  };
  const auto check_cursor = [&] {
    const auto through = queue_.through(number);
    for (int i = 0; i < kAlerts; ++i) {
      if (i == kBad || changed[static_cast<std::size_t>(i)] > through) continue;
      const auto found = peer.find(std::to_string(i));
      const bool is_told = found != peer.end() && found->second;
      ASSERT_EQ(is_told, is_active[static_cast<std::size_t>(i)]) << i << " at " << through;
    }
  };
  for (int step = 0; step < 20'000; ++step) {
    now_ += std::chrono::milliseconds(one_of(200));
    if (one_of(3) != 0) {
      const int i = one_of(kAlerts);
      const auto at = static_cast<std::size_t>(i);
      is_active[at] = !is_active[at];
      if (is_active[at]) {
        queue_.raise(alert(std::to_string(i), number), number);
      } else {
        queue_.end(alert(std::to_string(i), number), kWall, number);
      }
      changed[at] = ++number;
    }
    const std::string names = next();
    if (names.empty()) continue;
    const bool has_bad =
        std::ranges::any_of(last_, [](const auto& one) { return one.at("labels").at("n") == std::to_string(kBad); });
    const int outcome = one_of(10);
    if (outcome < 3) {
      if (!has_bad && outcome == 0) apply();  // and its answer is lost
      queue_.failed();
    } else if (has_bad) {
      queue_.refused(now_);
    } else {
      apply();
      queue_.taken(now_);
    }
    check_cursor();
    if (HasFatalFailure()) return;
  }
  while (!next().empty()) {
    if (last_.dump().find("\"n\":\"" + std::to_string(kBad) + "\"") != std::string::npos) {
      queue_.refused(now_);
    } else {
      apply();
      queue_.taken(now_);
    }
  }
  EXPECT_EQ(queue_.through(number), number);
  check_cursor();
}

}  // namespace alert_queue_test
}  // namespace polaiga::alertmanager
