#include "report/bar.h"

#include <gtest/gtest.h>

namespace polaiga::engine {
namespace bar_test {

const std::string kWhole = "\xE2\x96\x88";
const std::string kHalf = "\xE2\x96\x8C";
const std::string kEighth = "\xE2\x96\x8F";

TEST(Bar, OfLetters) {
  struct Case {
    std::uint64_t value;
    std::uint64_t most;
    std::size_t width;
    const char* bar;
  };
  constexpr Case kCases[] = {
      {0, 10, 10, ""},    {5, 10, 10, "#####"}, {10, 10, 10, "##########"},
      {1, 1000, 10, "#"}, {1, 3, 10, "###"},    {2, 3, 10, "#######"},
      {0, 0, 10, ""},     {5, 0, 10, ""},       {20, 10, 4, "####"},
      {5, 10, 0, ""},
  };
  for (const Case& one : kCases) {
    EXPECT_EQ(bar(one.value, one.most, one.width, BarStyle::kAscii), one.bar) << one.value << " of " << one.most;
  }
}

TEST(Bar, OfBlocks) {
  EXPECT_EQ(bar(0, 10, 4, BarStyle::kBlocks), "");
  EXPECT_EQ(bar(10, 10, 2, BarStyle::kBlocks), kWhole + kWhole);
  EXPECT_EQ(bar(3, 4, 2, BarStyle::kBlocks), kWhole + kHalf);
  EXPECT_EQ(bar(1, 1'000'000, 4, BarStyle::kBlocks), kEighth);
  EXPECT_EQ(bar(~std::uint64_t{0}, ~std::uint64_t{0}, 1, BarStyle::kBlocks), kWhole);
}

}  // namespace bar_test
}  // namespace polaiga::engine
