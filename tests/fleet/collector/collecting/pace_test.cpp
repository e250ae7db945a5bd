#include "collecting/pace.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "support/manual_clock.h"

namespace polaiga::fleet {
namespace pace_test {

using engine::test::kToday;
using engine::test::ManualClock;
using std::chrono::milliseconds;

Sender controller(int number) { return {.site = "lab", .controller = "rack-" + std::to_string(number)}; }

// How many messages of it are taken before one is not, at most `most`.
int taken(Pace& pace, const Sender& sender, int most = 10000) {
  int count = 0;
  while (count < most && pace.takes(sender)) ++count;
  return count;
}

TEST(Pace, AFewThousandMessagesMayComeAtOnce) {
  const ManualClock clock(kToday);
  Pace pace(clock);
  EXPECT_EQ(taken(pace, controller(1)), 4000);
  EXPECT_FALSE(pace.takes(controller(1)));
}

TEST(Pace, ThenTwoHundredInEachSecond) {
  ManualClock clock(kToday);
  Pace pace(clock);
  taken(pace, controller(1));
  clock.pass(1);
  EXPECT_EQ(taken(pace, controller(1)), 200);
  clock.pass(milliseconds(250));
  EXPECT_EQ(taken(pace, controller(1)), 50);
}

TEST(Pace, WhatIsNotUsedIsKeptUpToTheWholePart) {
  ManualClock clock(kToday);
  Pace pace(clock);
  taken(pace, controller(1));
  clock.pass(10);
  EXPECT_EQ(taken(pace, controller(1)), 2000);
  clock.pass(3600);
  EXPECT_EQ(taken(pace, controller(1)), 4000);
}

TEST(Pace, EachControllerHasItsOwn) {
  const ManualClock clock(kToday);
  Pace pace(clock);
  taken(pace, controller(1));
  EXPECT_TRUE(pace.takes(controller(2)));
  EXPECT_TRUE(pace.takes({.site = "lab-2", .controller = "rack-1"}));
  EXPECT_FALSE(pace.takes(controller(1)));
}

TEST(Pace, AControllerRests) {
  ManualClock clock(kToday);
  Pace pace(clock);
  pace.rest(controller(1), std::chrono::seconds(10));
  EXPECT_FALSE(pace.takes(controller(1)));
  EXPECT_TRUE(pace.takes(controller(2)));
  clock.pass(9);
  EXPECT_FALSE(pace.takes(controller(1)));
  clock.pass(1);
  EXPECT_TRUE(pace.takes(controller(1)));
}

TEST(Pace, ControllersWhosePartIsWholeAreForgottenWhenThereAreMany) {
  constexpr int kMost = 20000;
  ManualClock clock(kToday);
  Pace pace(clock);
  taken(pace, controller(0));
  for (int number = 1; number < kMost; ++number) EXPECT_TRUE(pace.takes(controller(number)));
  EXPECT_EQ(pace.known(), kMost);
  clock.pass(1);
  EXPECT_TRUE(pace.takes(controller(kMost)));
  EXPECT_EQ(pace.known(), 2) << "the one that sends too much, and the new one";
  EXPECT_EQ(taken(pace, controller(0)), 200);
}

TEST(Pace, NothingIsTakenOfAControllerThatRests) {
  ManualClock clock(kToday);
  Pace pace(clock);
  EXPECT_FALSE(pace.rests(controller(1)));
  pace.rest(controller(1), std::chrono::seconds(600));
  EXPECT_TRUE(pace.rests(controller(1)));
  EXPECT_FALSE(pace.takes(controller(1)));
  EXPECT_FALSE(pace.rests(controller(2)));
  EXPECT_TRUE(pace.takes(controller(2)));
  clock.pass(599);
  EXPECT_FALSE(pace.takes(controller(1)));
  clock.pass(1);
  EXPECT_FALSE(pace.rests(controller(1)));
  EXPECT_TRUE(pace.takes(controller(1)));
}

}  // namespace pace_test
}  // namespace polaiga::fleet
