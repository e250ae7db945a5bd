#include "simulated/latencies.h"

#include <gtest/gtest.h>

namespace polaiga::fleet::latencies_test {

using std::chrono::milliseconds;

TEST(LatenciesTest, PercentilesAreExactToTheMillisecond) {
  Latencies latencies;
  EXPECT_EQ(latencies.percentile(50), 0U);
  for (int i = 1; i <= 100; ++i) latencies.add(milliseconds(i * 10));
  EXPECT_EQ(latencies.count(), 100U);
  EXPECT_EQ(latencies.percentile(50), 500U);
  EXPECT_EQ(latencies.percentile(99), 990U);
  EXPECT_EQ(latencies.percentile(100), 1000U);
  EXPECT_EQ(latencies.within(milliseconds(500)), 50U);
  EXPECT_EQ(latencies.within(milliseconds(499)), 49U);
}

TEST(LatenciesTest, WhatTookLongerThanAMillisecondCountsAsTwo) {
  Latencies latencies;
  latencies.add(std::chrono::microseconds(1001));
  EXPECT_EQ(latencies.percentile(99), 2U);
}

TEST(LatenciesTest, WhatTakesVeryLongIsNotLost) {
  Latencies latencies;
  latencies.add(std::chrono::hours(1));
  EXPECT_EQ(latencies.count(), 1U);
  EXPECT_EQ(latencies.percentile(50), Latencies::kMost);
  latencies.clear();
  EXPECT_EQ(latencies.count(), 0U);
}

}  // namespace polaiga::fleet::latencies_test
