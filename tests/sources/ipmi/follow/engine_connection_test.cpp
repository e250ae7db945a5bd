#include "follow/engine_connection.h"

#include <gtest/gtest.h>

#include "support/fake_engine.h"
#include "support/manual_clock.h"
#include "support/rows.h"
#include "support/temp_dir.h"

namespace polaiga::ipmi {
namespace engine_connection_test {

using test::Texts;
using namespace std::chrono_literals;

class EngineConnectionTest : public ::testing::Test {
 protected:
  void queue(int count) {
    for (int i = 0; i < count; ++i) {
      lines_.push_back(R"({"id":")" + std::to_string(++made_) + "\"}");
      all_.push_back(lines_.back());
    }
  }
  // Delivers once, and drops what is done with.
  std::size_t deliver(std::size_t sendable = 100'000) {
    const std::size_t done = connection_.deliver(lines_, std::min(sendable, lines_.size()));
    lines_.erase(lines_.begin(), lines_.begin() + static_cast<std::ptrdiff_t>(done));
    return done;
  }
  void deliver_all() {
    for (int i = 0; i < 1000 && !lines_.empty(); ++i) {
      deliver();
      engine_.take();
      clock_.pass(100ms);
    }
    deliver();
  }

  engine::test::TempDir dir_;
  engine::test::ManualClock clock_{1'800'000'000};
  test::FakeEngine engine_{dir_.file("sock")};
  Texts told_;
  EngineConnection connection_{dir_.file("sock"), clock_,
                               [this](engine::Priority, const std::string& text) { told_.push_back(text); }};
  std::deque<std::string> lines_;
  std::vector<std::string> all_;
  int made_ = 0;
};

TEST_F(EngineConnectionTest, EachLineIsSentOnceAndDroppedWhenItIsAnswered) {
  queue(3);
  EXPECT_EQ(deliver(), 0U);
  engine_.take(2);
  EXPECT_EQ(deliver(), 2U);
  engine_.take();
  EXPECT_EQ(deliver(), 1U);
  EXPECT_EQ(engine_.lines, all_);
  EXPECT_EQ(told_, Texts{});
}

TEST_F(EngineConnectionTest, OnlyWhatIsSavedIsSent) {
  queue(3);
  deliver(1);
  engine_.take();
  EXPECT_EQ(engine_.lines.size(), 1U);
  EXPECT_EQ(deliver(1), 1U);
  deliver(0);
  engine_.take();
  EXPECT_EQ(engine_.lines.size(), 1U);
}

TEST_F(EngineConnectionTest, WithNothingToSendNobodyIsCalled) {
  deliver();
  engine_.take();
  EXPECT_FALSE(engine_.has_client());
  EXPECT_FALSE(connection_.until_next());
}

TEST_F(EngineConnectionTest, WhatWaitsForAnswersIsBounded) {
  queue(1000);
  deliver();
  deliver();
  engine_.take(100'000);
  EXPECT_EQ(engine_.lines.size(), EngineConnection::kMostInFlight);
  deliver_all();
  EXPECT_EQ(engine_.lines, all_);
}

TEST_F(EngineConnectionTest, EngineAway) {
  engine_.leave();
  queue(2);
  for (int i = 0; i < 100; ++i) {
    deliver();
    clock_.pass(*connection_.until_next());
  }
  ASSERT_EQ(told_.size(), 1U);
  EXPECT_EQ(told_[0], "the engine cannot be reached at '" + dir_.file("sock") +
                          "': Connection refused; the events are kept until it is back");
  engine_.listen();
  clock_.pass(5);
  deliver_all();
  EXPECT_EQ(engine_.lines, all_);
  ASSERT_EQ(told_.size(), 2U);
  EXPECT_EQ(told_[1], "the engine takes events again");
}

TEST_F(EngineConnectionTest, ThePausesGrowToFiveSeconds) {
  engine_.leave();
  queue(1);
  std::vector<std::int64_t> pauses;
  for (int i = 0; i < 8; ++i) {
    deliver();
    pauses.push_back(connection_.until_next()->count());
    clock_.pass(*connection_.until_next());
  }
  EXPECT_EQ(pauses, (std::vector<std::int64_t>{100, 200, 400, 800, 1600, 3200, 5000, 5000}));
}

TEST_F(EngineConnectionTest, AfterALostConnectionWhatHasNoAnswerIsSentAgain) {
  queue(3);
  deliver();
  engine_.take(1);
  EXPECT_EQ(deliver(), 1U);
  // It takes one more, and ends before it says so.
  engine_.take(1, [this](const std::string& line) {
    engine_.apply(line);
    return std::string();
  });
  engine_.drop();
  deliver();
  deliver_all();
  EXPECT_EQ(engine_.applied, all_);
  EXPECT_EQ(engine_.lines.size(), 4U);
}

TEST_F(EngineConnectionTest, AnAnswerBeforeTheEndOfTheConnectionCounts) {
  queue(2);
  deliver();
  engine_.take(1);
  engine_.drop();
  EXPECT_EQ(deliver(), 1U);
}

TEST_F(EngineConnectionTest, EngineRefusesALine) {
  queue(3);
  deliver();
  engine_.take(3, [this](const std::string& line) {
    return line == all_[1] ? "{\"error\":\"member 'x' is not known\"}\n" : engine_.apply(line);
  });
  EXPECT_EQ(deliver(), 3U);
  EXPECT_EQ(told_,
            (Texts{"the engine does not take an event, which is dropped: member 'x' is not known: {\"id\":\"2\"}"}));
  EXPECT_EQ(connection_.refused(), 1U);
}

TEST_F(EngineConnectionTest, AWarningIsTold) {
  queue(1);
  deliver();
  engine_.take(1, [](const std::string&) { return std::string("{\"seq\":1,\"warning\":\"not tracked\"}\n"); });
  EXPECT_EQ(deliver(), 1U);
  EXPECT_EQ(told_, (Texts{"the engine says of an event: not tracked: {\"id\":\"1\"}"}));
}

TEST_F(EngineConnectionTest, AnswersInPieces) {
  queue(1);
  deliver();
  engine_.take(1, [](const std::string&) { return std::string("{\"se"); });
  EXPECT_EQ(deliver(), 0U);
  engine_.say("q\":1}\n");
  EXPECT_EQ(deliver(), 1U);
}

TEST_F(EngineConnectionTest, AnswersThatMakeNoSenseEndTheConnection) {
  for (const char* const answer : {"nonsense\n", "{}\n", "[]\n", "{\"seq\":1}\n{\"seq\":2}\n{\"seq\":3}\n"}) {
    queue(2);
    deliver();
    engine_.take(2, [&](const std::string&) { return std::string(answer); });
    deliver();
    EXPECT_FALSE(connection_.is_connected()) << answer;
    lines_.clear();
    clock_.pass(10);
    engine_.drop();
  }
}

TEST_F(EngineConnectionTest, AnAnswerWithoutEndEndsTheConnection) {
  queue(1);
  deliver();
  for (int i = 0; i < 10 && connection_.is_connected(); ++i) {
    engine_.take(1, [](const std::string&) { return std::string(); });
    engine_.say(std::string(20'000, 'x'));
    deliver();
  }
  EXPECT_FALSE(connection_.is_connected());
}

TEST_F(EngineConnectionTest, AnEngineThatDoesNotAnswerIsToldOfOnce) {
  queue(1);
  deliver();
  EXPECT_EQ(connection_.until_next(), 30s);
  clock_.pass(31);
  deliver();
  deliver();
  ASSERT_EQ(told_.size(), 1U);
  EXPECT_EQ(told_[0].substr(0, 41), "the engine has not answered for 30 s; the");
  EXPECT_TRUE(connection_.is_connected());
  deliver_all();
  EXPECT_EQ(engine_.lines, all_);
}

TEST_F(EngineConnectionTest, AnIdleConnectionThatTheEngineClosesIsNothingToTell) {
  queue(1);
  deliver_all();
  engine_.drop();
  deliver();
  EXPECT_FALSE(connection_.is_connected());
  queue(1);
  clock_.pass(1);
  deliver_all();
  EXPECT_EQ(engine_.lines, all_);
  EXPECT_EQ(told_, Texts{});
}

TEST_F(EngineConnectionTest, APathThatIsTooLongIsRefused) {
  EXPECT_THROW(EngineConnection(std::string(200, 'x'), clock_, {}), std::runtime_error);
}

}  // namespace engine_connection_test
}  // namespace polaiga::ipmi
