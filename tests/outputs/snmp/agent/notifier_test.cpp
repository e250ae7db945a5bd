#include "agent/notifier.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <vector>

#include "support/manual_clock.h"

namespace polaiga::snmp {
namespace notifier_test {

using engine::ChangeNumber;

// A master agent that does what the test says.
class FakeMaster final : public NotificationSink {
 public:
  bool is_open() const override { return is_open_; }
  std::uint64_t generation() const override { return generation_; }
  std::optional<long> notify(const Oid& type, const std::vector<Variable>& variables) override {
    if (!is_open_) return std::nullopt;
    sent.push_back({type.back(), variables});
    return static_cast<long>(sent.size());
  }
  std::vector<Answer> take_answers() override { return std::exchange(answers_, {}); }

  void open() {
    is_open_ = true;
    ++generation_;
  }
  void lose() {
    is_open_ = false;
    answers_.clear();
    answered_ = sent.size();
  }
  // Answers the next notifications that were not answered yet.
  void answer(std::size_t count, int error = 0) {
    for (std::size_t i = 0; i < count && answered_ < sent.size(); ++i) {
      answers_.push_back({.id = static_cast<long>(++answered_), .error = error});
    }
  }

  struct Sent {
    std::uint32_t type = 0;
    std::vector<Variable> variables;
  };
  std::vector<Sent> sent;

 private:
  bool is_open_ = false;
  std::uint64_t generation_ = 0;
  std::size_t answered_ = 0;
  std::vector<Answer> answers_;
};

class NotifierTest : public testing::Test {
 protected:
  engine::Feed read(ChangeNumber after, std::size_t most) {
    engine::Feed feed;
    feed.through = after;
    if (after < gone_) {
      feed.gap = engine::Feed::Gap{after + 1, gone_};
    } else if (after > last_) {
      feed.gap = engine::Feed::Gap{last_ + 1, after};
    } else {
      for (std::size_t i = 0; i < most && feed.through < last_; ++i) {
        ++feed.through;
        if (folded_.contains(feed.through)) continue;
        engine::StoredChange one;
        one.change.number = feed.through;
        one.change.alarm = 1;
        one.change.fault_dn = "fan/fault-F0395";
        one.change.is_quiet = quiet_.contains(feed.through);
        feed.changes.push_back(one);
      }
    }
    return feed;
  }

  void go_on() { notifier_.go_on(last_); }

  // The numbers that were told and those before them; a heartbeat is {0, the number told last}, lost ones are negative.
  std::vector<std::pair<ChangeNumber, ChangeNumber>> told() const {
    std::vector<std::pair<ChangeNumber, ChangeNumber>> all;
    for (const auto& [type, variables] : master_.sent) {
      if (type == static_cast<std::uint32_t>(NotificationType::kHeartbeat)) {
        all.emplace_back(0, variables.at(1).value.number);
      } else if (type == static_cast<std::uint32_t>(NotificationType::kChangesLost)) {
        all.emplace_back(-static_cast<ChangeNumber>(variables.at(1).value.number),
                         -static_cast<ChangeNumber>(variables.at(2).value.number));
      } else {
        all.emplace_back(variables.at(1).value.number, variables.at(2).value.number);
      }
    }
    return all;
  }

  using Told = std::vector<std::pair<ChangeNumber, ChangeNumber>>;

  ChangeNumber last_ = 0;
  ChangeNumber gone_ = 0;
  std::set<ChangeNumber> folded_;
  std::set<ChangeNumber> quiet_;
  FakeMaster master_;
  engine::test::ManualClock clock_{1000};
  Places places_{32473};
  AlarmView::Alarms alarms_;
  AlarmView view_{alarms_};
  std::vector<std::string> said_;
  Notifier notifier_{places_,
                     master_,
                     view_,
                     clock_,
                     [this](ChangeNumber after, std::size_t most) { return read(after, most); },
                     [this] { return gone_ + 1; },
                     [this](engine::Priority /*priority*/, const std::string& text) { said_.push_back(text); },
                     std::chrono::seconds(0)};
};

TEST_F(NotifierTest, TheCursorFollowsTheAnswers) {
  master_.open();
  notifier_.begin("ab", 0);
  last_ = 3;
  go_on();
  EXPECT_EQ(told(), (Told{{1, 0}, {2, 1}, {3, 2}}));
  EXPECT_EQ(notifier_.through(), 0);
  EXPECT_EQ(notifier_.last_success(), std::nullopt);
  master_.answer(2);
  go_on();
  EXPECT_EQ(notifier_.through(), 2);
  EXPECT_EQ(notifier_.told_number(), 2);
  EXPECT_EQ(notifier_.told(), 2U);
  EXPECT_EQ(notifier_.last_success(), 1000);
  master_.answer(1);
  go_on();
  EXPECT_EQ(notifier_.through(), 3);
  EXPECT_EQ(master_.sent.size(), 3U);
}

TEST_F(NotifierTest, WhatIsQuietOrFoldedIsPassed) {
  master_.open();
  notifier_.begin("ab", 0);
  last_ = 6;
  quiet_ = {1, 4};
  folded_ = {2, 6};
  go_on();
  EXPECT_EQ(told(), (Told{{3, 0}, {5, 3}}));
  EXPECT_EQ(notifier_.through(), 2);  // nothing is on its way that would be needed
  master_.answer(1);
  go_on();
  EXPECT_EQ(notifier_.through(), 4);
  master_.answer(1);
  go_on();
  EXPECT_EQ(notifier_.through(), 6);
  EXPECT_EQ(notifier_.told(), 2U);
  // Only such: nothing is told, and the cursor goes on.
  last_ = 8;
  quiet_ = {7, 8};
  go_on();
  EXPECT_EQ(notifier_.through(), 8);
  EXPECT_EQ(master_.sent.size(), 2U);
}

TEST_F(NotifierTest, ALostSessionTellsAgainWhatWasNotAnswered) {
  master_.open();
  notifier_.begin("ab", 0);
  last_ = 3;
  go_on();
  master_.answer(1);
  go_on();
  master_.lose();
  last_ = 4;
  go_on();
  go_on();
  EXPECT_EQ(master_.sent.size(), 3U);
  master_.open();
  go_on();
  EXPECT_EQ(told(), (Told{{1, 0}, {2, 1}, {3, 2}, {2, 1}, {3, 2}, {4, 3}}));
  EXPECT_EQ(notifier_.through(), 1);
  master_.answer(3);
  go_on();
  EXPECT_EQ(notifier_.through(), 4);
  EXPECT_EQ(notifier_.told(), 4U);
}

TEST_F(NotifierTest, ANewSessionThatWasOpenedBetweenTwoLooks) {
  master_.open();
  notifier_.begin("ab", 0);
  last_ = 1;
  go_on();
  master_.lose();
  master_.open();
  go_on();
  EXPECT_EQ(told(), (Told{{1, 0}, {1, 0}}));
}

TEST_F(NotifierTest, SoManyAreOnTheirWayAndNoMore) {
  master_.open();
  notifier_.begin("ab", 0);
  last_ = 1000;
  for (int i = 0; i < 5; ++i) go_on();
  EXPECT_EQ(master_.sent.size(), Notifier::kMostOnTheWay);
  master_.answer(3);
  go_on();
  EXPECT_EQ(master_.sent.size(), Notifier::kMostOnTheWay + 3);
}

TEST_F(NotifierTest, ARefusedNotificationIsLeftOut) {
  master_.open();
  notifier_.begin("ab", 0);
  last_ = 2;
  go_on();
  master_.answer(1, 268);
  master_.answer(1);
  go_on();
  EXPECT_EQ(notifier_.through(), 2);
  EXPECT_EQ(notifier_.told(), 1U);
  EXPECT_EQ(notifier_.lost(), 1U);
  EXPECT_EQ(notifier_.refused(), 1U);
  ASSERT_EQ(said_.size(), 1U);
  EXPECT_NE(said_[0].find("change 1 (error 268)"), std::string::npos);
}

TEST_F(NotifierTest, ChangesThatAreGone) {
  master_.open();
  notifier_.begin("ab", 2);
  last_ = 12;
  gone_ = 10;
  go_on();
  EXPECT_EQ(told(), (Told{{-3, -10}, {11, 10}, {12, 11}}));
  EXPECT_EQ(notifier_.lost(), 0U);  // as long as the master has not taken it
  master_.answer(3);
  go_on();
  EXPECT_EQ(notifier_.through(), 12);
  EXPECT_EQ(notifier_.lost(), 8U);
  EXPECT_EQ(notifier_.told(), 2U);
}

TEST_F(NotifierTest, ALedgerThatWasPutBack) {
  master_.open();
  notifier_.begin("ab", 20);
  last_ = 15;
  go_on();
  EXPECT_EQ(told(), (Told{{-16, -20}}));
  master_.answer(1);
  go_on();
  EXPECT_EQ(notifier_.through(), 15);
  EXPECT_EQ(notifier_.lost(), 0U);
  EXPECT_EQ(notifier_.told_number(), 15);
  ASSERT_EQ(said_.size(), 1U);
  EXPECT_EQ(said_[0], "the ledger was put back to change 15; managers were told to read the active alarms");
  last_ = 16;
  go_on();
  EXPECT_EQ(told().back(), (std::pair<ChangeNumber, ChangeNumber>{16, 15}));
}

TEST_F(NotifierTest, ASessionLostAfterAGapGoesOnFromIt) {
  master_.open();
  notifier_.begin("ab", 2);
  last_ = 10;
  gone_ = 10;
  go_on();
  EXPECT_EQ(told(), (Told{{-3, -10}}));
  EXPECT_EQ(notifier_.told_number(), 2);
  master_.answer(1);
  go_on();
  EXPECT_EQ(notifier_.told_number(), 10);
  master_.lose();
  master_.open();
  last_ = 11;
  go_on();
  EXPECT_EQ(told(), (Told{{-3, -10}, {11, 10}}));
}

TEST_F(NotifierTest, ASessionLostAfterARefusedNotificationGoesOnFromIt) {
  master_.open();
  notifier_.begin("ab", 0);
  last_ = 2;
  go_on();
  master_.answer(1);
  master_.answer(1, 268);
  go_on();
  EXPECT_EQ(notifier_.told_number(), 2);
  master_.lose();
  master_.open();
  last_ = 3;
  go_on();
  EXPECT_EQ(told(), (Told{{1, 0}, {2, 1}, {3, 2}}));
}

TEST_F(NotifierTest, ALedgerThatWasPutBackAndHasPassedTheNumbersThatItLost) {
  master_.open();
  notifier_.begin("ab", 5);
  last_ = 6;
  go_on();
  master_.answer(1);
  go_on();
  notifier_.look_for_told();
  go_on();
  EXPECT_EQ(told(), (Told{{6, 5}}));  // nothing is missing
  gone_ = 6;
  notifier_.look_for_told();
  last_ = 7;
  go_on();
  EXPECT_EQ(told(), (Told{{6, 5}, {-6, -6}, {7, 6}}));
  master_.answer(2);
  go_on();
  EXPECT_EQ(notifier_.through(), 7);
}

TEST_F(NotifierTest, AnotherLedger) {
  master_.open();
  notifier_.begin("ab", 0);
  last_ = 1;
  go_on();
  notifier_.begin("cd", 5);
  last_ = 6;
  master_.answer(1);
  go_on();
  EXPECT_EQ(told(), (Told{{1, 0}, {6, 5}}));
  EXPECT_EQ(master_.sent.back().variables.front().value.text, "cd");
  EXPECT_EQ(notifier_.through(), 5);  // the answer was about the former one
}

TEST_F(NotifierTest, Heartbeats) {
  Notifier beating(
      places_, master_, view_, clock_, [this](ChangeNumber after, std::size_t most) { return read(after, most); },
      [this] { return gone_ + 1; }, [](engine::Priority /*priority*/, const std::string& /*text*/) {},
      std::chrono::seconds(60));
  clock_.pass(1);
  master_.open();
  beating.begin("ab", 4);
  last_ = 4;
  beating.go_on(4);
  beating.go_on(4);
  EXPECT_EQ(told(), (Told{{0, 4}}));
  EXPECT_EQ(beating.until_next(), std::chrono::seconds(60));
  clock_.pass(60);
  beating.go_on(4);
  EXPECT_EQ(told(), (Told{{0, 4}, {0, 4}}));
  // A heartbeat moves no cursor, whether it is answered or not.
  master_.answer(2);
  beating.go_on(4);
  EXPECT_EQ(beating.through(), 4);
  EXPECT_EQ(beating.told(), 0U);
  // It says what the master has taken, and not what is on its way.
  clock_.pass(60);
  last_ = 5;
  beating.go_on(5);
  master_.answer(2);
  clock_.pass(60);
  beating.go_on(5);
  EXPECT_EQ(told(), (Told{{0, 4}, {0, 4}, {5, 4}, {0, 4}, {0, 5}}));
  // A new session gets one at once.
  master_.lose();
  master_.open();
  beating.go_on(4);
  EXPECT_EQ(master_.sent.size(), 6U);
}

}  // namespace notifier_test
}  // namespace polaiga::snmp
