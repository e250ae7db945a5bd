#include "publisher/back_off.h"

#include <gtest/gtest.h>

#include <vector>

namespace polaiga::output {
namespace back_off_test {

using std::chrono::milliseconds;

std::vector<std::int64_t> pauses(BackOff& back_off, int count) {
  std::vector<std::int64_t> found;
  for (int i = 0; i < count; ++i) found.push_back(back_off.next().count());
  return found;
}

TEST(BackOff, PausesAreDoubledUpToTheLongest) {
  BackOff most(milliseconds(100), milliseconds(1000), [] { return 50; });  // 100 is 50 and 0 to 50 more
  EXPECT_EQ(most.next(), milliseconds(100));
  BackOff least(milliseconds(100), milliseconds(1000), [] { return 0; });
  EXPECT_EQ(pauses(least, 6), (std::vector<std::int64_t>{50, 100, 200, 400, 500, 500}));
  least.reset();
  EXPECT_EQ(pauses(least, 2), (std::vector<std::int64_t>{50, 100}));
}

TEST(BackOff, APauseIsBetweenTheHalfAndTheWhole) {
  std::uint64_t random = 0;
  BackOff back_off(milliseconds(1000), milliseconds(1000), [&random] { return random; });
  for (random = 0; random < 5000; random += 7) {
    const auto pause = back_off.next();
    EXPECT_GE(pause, milliseconds(500)) << random;
    EXPECT_LE(pause, milliseconds(1000)) << random;
  }
  random = 500;
  EXPECT_EQ(back_off.next(), milliseconds(1000));
  random = 501;
  EXPECT_EQ(back_off.next(), milliseconds(500));
}

TEST(BackOff, ALongestThatIsShorterThanTheFirstIsTheFirst) {
  BackOff back_off(milliseconds(100), milliseconds(10), [] { return 50; });
  EXPECT_EQ(back_off.next(), milliseconds(100));
  EXPECT_EQ(back_off.next(), milliseconds(100));
}

TEST(RandomNumber, Differs) { EXPECT_NE(random_number(), random_number()); }

}  // namespace back_off_test
}  // namespace polaiga::output
