// An engine that is killed while a client waits for its acknowledgement.
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>

#include "support/client.h"
#include "support/forked_engine.h"

namespace polaiga::engine::test {
namespace kill_while_waiting_test {

using Answers = std::vector<std::string>;

class KillWhileWaitingTest : public RunTest {
 protected:
  // Its events wait for their write for longer than the test takes.
  std::function<int()> engine_that_waits() const {
    RunOptions patient = options();
    patient.commit_within = std::chrono::seconds(10'000);
    return forked_engine(patient);
  }
};

// The events were taken, but were not written yet: their numbers were told to nobody, and are given again.
TEST_F(KillWhileWaitingTest, WhatWasNotAcknowledgedIsTakenOnceWhenItIsSentAgain) {
  const std::string events_lines = slow(1, "a") + slow(2, "b") + slow(3, "c");
  for (int kills = 0; kills < 3; ++kills) {
    Child engine(engine_that_waits(), dir_);
    Client client(socket());
    client.send(events_lines + "[]\n");
    ASSERT_TRUE(engine.has_complained("not an object"));  // so what is before it was taken
    EXPECT_FALSE(client.has_answer());
    EXPECT_EQ(stop(engine, SIGKILL).status, 128 + SIGKILL);
    EXPECT_TRUE(client.is_let_go());
    EXPECT_EQ(events(), 0);
  }
  Child engine(command(), dir_);
  Client client(socket());
  client.send(events_lines + events_lines);
  EXPECT_EQ(client.answers(6), Answers({taken(1), taken(2), taken(3), known(1), known(2), known(3)}));
  EXPECT_EQ(stop(engine, SIGTERM).status, 0);
  EXPECT_EQ(ask("SELECT id FROM event ORDER BY seq"), Answers({"a", "b", "c"}));
  EXPECT_EQ(ask("SELECT number || ' ' || change FROM changes ORDER BY number"),
            Answers({"1 raised", "2 raised", "3 raised"}));
}

// One client was answered before, another waits.
TEST_F(KillWhileWaitingTest, TheAcknowledgedStaysAndTheWaitingIsFreeToGoElsewhere) {
  {
    Child engine(command(), dir_);
    Client first(socket());
    first.send(slow(1, "first"));
    EXPECT_EQ(first.answer(), taken(1));
    EXPECT_EQ(stop(engine, SIGKILL).status, 128 + SIGKILL);
  }
  {
    Child engine(engine_that_waits(), dir_);
    Client waiting(socket());
    waiting.send(slow(2, "waiting") + "[]\n");
    ASSERT_TRUE(engine.has_complained("not an object"));
    EXPECT_EQ(stop(engine, SIGKILL).status, 128 + SIGKILL);
  }
  Child engine(command(), dir_);
  Client other(socket());
  other.send(slow(3, "other") + slow(2, "waiting") + slow(1, "first"));
  EXPECT_EQ(other.answers(3), Answers({taken(2), taken(3), known(1)}));
}

}  // namespace kill_while_waiting_test
}  // namespace polaiga::engine::test
