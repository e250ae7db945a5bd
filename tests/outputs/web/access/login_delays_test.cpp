#include "access/login_delays.h"

#include <gtest/gtest.h>

#include "support/manual_clock.h"

namespace polaiga::web {
namespace login_delays_test {

using std::chrono::milliseconds;
using std::chrono::seconds;

class LoginDelaysTest : public ::testing::Test {
 protected:
  engine::test::ManualClock clock_{1'000'000};
  LoginDelays delays_{clock_};
};

TEST_F(LoginDelaysTest, DelaysGrowWithEachFailureUpToAMinute) {
  EXPECT_EQ(delays_.wait("a", "anna"), seconds(0));
  for (const int expected : {0, 1, 2, 4, 8, 16, 32, 60, 60}) {
    delays_.failed("a", "anna");
    EXPECT_EQ(delays_.wait("a", "anna"), seconds(expected));
  }
  clock_.pass(20);
  EXPECT_EQ(delays_.wait("a", "anna"), seconds(40));
  clock_.pass(milliseconds(39'999));
  EXPECT_EQ(delays_.wait("a", "anna"), milliseconds(1));
  clock_.pass(1);
  EXPECT_EQ(delays_.wait("a", "anna"), seconds(0));
}

TEST_F(LoginDelaysTest, AnAddressWaitsWhateverTheName) {
  delays_.failed("a", "anna");
  delays_.failed("a", "bob");
  EXPECT_EQ(delays_.wait("a", "carl"), seconds(1));
  EXPECT_EQ(delays_.wait("b", "carl"), seconds(0));
}

TEST_F(LoginDelaysTest, ANameWaitsWhateverTheAddress) {
  delays_.failed("a", "anna");
  delays_.failed("b", "anna");
  EXPECT_EQ(delays_.wait("c", "anna"), seconds(1));
  EXPECT_EQ(delays_.wait("c", "bob"), seconds(0));
}

TEST_F(LoginDelaysTest, AnAddressOfManyIsNotCounted) {
  for (const char* name : {"anna", "bob", "carl"}) delays_.failed("", name);
  EXPECT_EQ(delays_.wait("", "dora"), seconds(0));
  delays_.failed("", "anna");
  EXPECT_EQ(delays_.wait("", "anna"), seconds(1));
}

TEST_F(LoginDelaysTest, AStrangerDoesNotLockOutWhoHasLoggedInBefore) {
  delays_.succeeded("home", "anna");
  for (int i = 0; i < 10; ++i) delays_.failed("stranger", "anna");
  EXPECT_EQ(delays_.wait("home", "anna"), seconds(0));
  EXPECT_EQ(delays_.wait("elsewhere", "anna"), seconds(60));
  delays_.failed("home", "anna");
  delays_.failed("home", "anna");
  EXPECT_EQ(delays_.wait("home", "anna"), seconds(1)) << "but has to wait for failures of the own address";
}

TEST_F(LoginDelaysTest, AnOwnPasswordMakesNoRoomForGuesses) {
  for (int i = 0; i < 4; ++i) delays_.failed("a", "anna");
  clock_.pass(4);
  delays_.succeeded("a", "mallory");
  delays_.failed("a", "anna");
  EXPECT_EQ(delays_.wait("a", "anna"), seconds(8));
}

TEST_F(LoginDelaysTest, FailuresAreForgotten) {
  for (int i = 0; i < 10; ++i) delays_.failed("a", "anna");
  clock_.pass(15 * 60);
  delays_.failed("a", "anna");
  EXPECT_EQ(delays_.wait("a", "anna"), seconds(0));
  delays_.failed("b", "bob");
  delays_.succeeded("b", "bob");
  delays_.failed("c", "bob");
  EXPECT_EQ(delays_.wait("d", "bob"), seconds(0)) << "a login ends the failures of the name";
}

TEST_F(LoginDelaysTest, WhatIsRememberedIsBounded) {
  RecentFailures failures(3);
  const engine::Clock::Steady now{};
  for (const char* key : {"a", "b", "a", "c", "d", "b"}) failures.add(key, now);
  EXPECT_EQ(failures.size(), 3U);
  EXPECT_EQ(failures.wait("a", now), seconds(0)) << "the one whose failure was longest ago has gone";
  failures.add("d", now);
  EXPECT_EQ(failures.wait("d", now), seconds(1));
}

}  // namespace login_delays_test
}  // namespace polaiga::web
