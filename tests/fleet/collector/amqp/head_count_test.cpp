#include "amqp/head_count.h"

#include <gtest/gtest.h>

namespace polaiga::fleet::head_count_test {

void look(HeadCount& count, int times, bool is_unread_left) {
  for (int i = 0; i < times; ++i) count.look(is_unread_left);
}

TEST(HeadCount, ItIsWhatTheBrokerCounts) {
  HeadCount count;
  EXPECT_EQ(count.collectors(), 1U);
  count.take(3);
  EXPECT_EQ(count.collectors(), 3U);
  count.take(2);
  EXPECT_EQ(count.collectors(), 2U);
}

TEST(HeadCount, WithoutACountTheOneBeforeStays) {
  HeadCount count;
  count.take(3);
  count.take(0);
  EXPECT_EQ(count.collectors(), 3U);
}

TEST(HeadCount, WhileInboxesAreLeftUnreadOneAfterTheOtherIsLeftOut) {
  HeadCount count;
  count.take(4);
  look(count, 2, true);
  EXPECT_EQ(count.collectors(), 4U);
  look(count, 1, true);
  EXPECT_EQ(count.collectors(), 3U);
  count.take(4);  // the same count says nothing new
  look(count, 2, true);
  EXPECT_EQ(count.collectors(), 3U);
  look(count, 1, true);
  EXPECT_EQ(count.collectors(), 2U);
  look(count, 30, true);
  EXPECT_EQ(count.collectors(), 1U) << "this one is there";
}

TEST(HeadCount, LooksThatAreNotInARowDoNotCount) {
  HeadCount count;
  count.take(2);
  for (int i = 0; i < 10; ++i) {
    look(count, 2, true);
    look(count, 1, false);
  }
  EXPECT_EQ(count.collectors(), 2U);
}

TEST(HeadCount, AnotherCountBeginsAnew) {
  HeadCount count;
  count.take(3);
  look(count, 3, true);
  EXPECT_EQ(count.collectors(), 2U);
  count.take(2);  // the node is back, and those who were lost with it are not counted any more
  EXPECT_EQ(count.collectors(), 2U);
  count.take(3);
  look(count, 2, true);
  EXPECT_EQ(count.collectors(), 3U);
}

TEST(HeadCount, OneThatWasLeftOutIsCountedInAgainAfterALongTime) {
  HeadCount count;
  count.take(3);
  look(count, 6, true);
  EXPECT_EQ(count.collectors(), 1U);
  look(count, 149, false);
  EXPECT_EQ(count.collectors(), 1U);
  look(count, 1, false);
  EXPECT_EQ(count.collectors(), 2U);
  look(count, 3, true);
  EXPECT_EQ(count.collectors(), 1U) << "it is not there";
}

}  // namespace polaiga::fleet::head_count_test
