#include "simulated/pace.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

namespace polaiga::fleet::pace_test {

TEST(PaceTest, ChangesComeAtAnEvenRate) {
  Pace pace(10, 50, false, 1);
  EXPECT_EQ(pace.due(0).size(), 0U);
  EXPECT_EQ(pace.due(0.5).size(), 25U);
  EXPECT_EQ(pace.due(0.5).size(), 0U);
  EXPECT_EQ(pace.due(2).size(), 75U);
}

TEST(PaceTest, OneInAHundredHasABurstInEachMinute) {
  Pace pace(200, 10, true, 1);
  std::map<std::size_t, std::size_t> changes;
  std::size_t all = 0;
  for (int tenth = 0; tenth < 600; ++tenth) {
    for (const std::size_t one : pace.due(tenth / 10.0)) {
      ++changes[one];
      ++all;
    }
  }
  // 600 in the minute, of which 100 are those of two controllers, which have some of the others, too.
  EXPECT_NEAR(static_cast<double>(all), 600, 2);
  EXPECT_EQ(std::ranges::count_if(changes, [](const auto& one) { return one.second >= 49; }), 2);
}

TEST(PaceTest, TheRateMustBeEnoughForTheBursts) {
  EXPECT_TRUE(Pace::is_enough(2000, 17, true));
  EXPECT_FALSE(Pace::is_enough(2000, 16, true)) << "20 controllers make 50 changes a minute: 16.7 a second";
  EXPECT_TRUE(Pace::is_enough(2000, 1, false));
}

}  // namespace polaiga::fleet::pace_test
