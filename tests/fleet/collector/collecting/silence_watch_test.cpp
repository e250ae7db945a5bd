#include "collecting/silence_watch.h"

#include <gtest/gtest.h>

namespace polaiga::fleet {
namespace silence_watch_test {

using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::seconds;

// Controllers are silent after 100 s. What it says at a time, when the database's clock is so much ahead.
class SilenceWatchTest : public testing::Test {
 protected:
  bool at(int second, milliseconds ahead = milliseconds(0), bool is_all_read = true) {
    const auto now = seconds(second);
    return watch_.may_judge(is_all_read, SilenceWatch::Steady(now), microseconds(seconds(1'800'000'000) + now + ahead));
  }

  SilenceWatch watch_{seconds(100)};
};

TEST_F(SilenceWatchTest, JudgesAfterAllWasReadForSoLong) {
  EXPECT_FALSE(at(5));
  EXPECT_FALSE(at(104));
  EXPECT_TRUE(at(105));
  EXPECT_TRUE(at(110));
  EXPECT_FALSE(at(115, {}, false));
  EXPECT_FALSE(at(120));
  EXPECT_FALSE(at(219));
  EXPECT_TRUE(at(220));
  watch_.begin_anew();
  EXPECT_FALSE(at(225));
  EXPECT_TRUE(at(325));
}

// Otherwise all controllers would be silent at once.
TEST_F(SilenceWatchTest, TheDatabasesClockJumpsAhead) {
  EXPECT_FALSE(at(0));
  EXPECT_TRUE(at(100));
  EXPECT_FALSE(at(105, seconds(3600)));
  EXPECT_FALSE(at(204, seconds(3600)));
  EXPECT_TRUE(at(205, seconds(3600)));
}

TEST_F(SilenceWatchTest, TheDatabasesClockIsSetBack) {
  EXPECT_FALSE(at(0));
  EXPECT_TRUE(at(100));
  EXPECT_FALSE(at(105, -seconds(3600)));
  EXPECT_TRUE(at(205, -seconds(3600)));
}

TEST_F(SilenceWatchTest, SmallStepsCountTogether) {
  EXPECT_FALSE(at(0));
  EXPECT_TRUE(at(100, seconds(4)));
  EXPECT_TRUE(at(105, seconds(8)));
  EXPECT_TRUE(at(110, seconds(10)));
  EXPECT_FALSE(at(115, milliseconds(10'001)));
}

}  // namespace silence_watch_test
}  // namespace polaiga::fleet
