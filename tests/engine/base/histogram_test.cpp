#include "base/histogram.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

namespace polaiga::engine::test {
namespace histogram_test {

using namespace std::chrono_literals;

TEST(HistogramTest, BeginsWithNothing) {
  const Histogram histogram;
  EXPECT_EQ(histogram.counts(), Histogram::Counts{});
  EXPECT_EQ(histogram.total(), 0ns);
}

TEST(HistogramTest, ASpanIsInTheFirstBucketThatIsLongEnough) {
  const std::pair<std::chrono::nanoseconds, std::size_t> kRows[] = {
      {0ns, 0},       {100us, 0}, {100us + 1ns, 1}, {250us, 1}, {999us, 3},      {1ms, 3},
      {1ms + 1ns, 4}, {100ms, 9}, {1s, 12},         {10s, 14},  {10s + 1ns, 15}, {24h, 15},
  };
  for (const auto& [span, bucket] : kRows) {
    Histogram histogram;
    histogram.add(span);
    Histogram::Counts counts{};
    counts.at(bucket) = 1;
    EXPECT_EQ(histogram.counts(), counts) << span.count();
  }
}

TEST(HistogramTest, AllSpansAreCountedAndAddedUp) {
  Histogram histogram;
  for (int i = 0; i < 1000; ++i) histogram.add(3ms);
  histogram.add(20s);
  EXPECT_EQ(histogram.counts().at(5), 1000U);
  EXPECT_EQ(histogram.counts().at(15), 1U);
  EXPECT_EQ(std::accumulate(histogram.counts().begin(), histogram.counts().end(), std::uint64_t{0}), 1001U);
  EXPECT_EQ(histogram.total(), 23s);
}

TEST(HistogramTest, BoundsAscend) { EXPECT_TRUE(std::ranges::is_sorted(Histogram::kBounds, std::less_equal<>())); }

}  // namespace histogram_test
}  // namespace polaiga::engine::test
