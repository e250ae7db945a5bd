#include "base/quantities.h"

#include <gtest/gtest.h>

#include <limits>

namespace polaiga::engine {
namespace quantities_test {

constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();

TEST(WholeNumber, Digits) {
  EXPECT_EQ(parse_whole_number("0"), 0);
  EXPECT_EQ(parse_whole_number("17"), 17);
  EXPECT_EQ(parse_whole_number("010"), 10);  // not octal
  EXPECT_EQ(parse_whole_number("-1"), -1);
  EXPECT_EQ(parse_whole_number("9223372036854775807"), kMost);
}

TEST(WholeNumber, AnythingElseIsNone) {
  for (const std::string_view text : {"",
                                      " ",
                                      "-",
                                      "+1",
                                      " 1",
                                      "1 ",
                                      "1x",
                                      "x1",
                                      "1.0",
                                      "1.",
                                      "1e3",
                                      "0x10",
                                      "1'000",
                                      "1_000",
                                      "1,000",
                                      "--1",
                                      "9223372036854775808",
                                      "-9223372036854775809",
                                      "12345678901234567890123",
                                      "nan",
                                      "inf",
                                      "\xD9\xA1"}) {
    EXPECT_EQ(parse_whole_number(text), std::nullopt) << text;
  }
  EXPECT_EQ(parse_whole_number(std::string_view("1\0", 2)), std::nullopt);
}

constexpr Unit kUnits[] = {{"", 1}, {"m", 60}, {"kib", 1024}};

TEST(Quantity, ANumberAndAUnit) {
  EXPECT_EQ(parse_quantity("5", kUnits), 5);
  EXPECT_EQ(parse_quantity("5m", kUnits), 300);
  EXPECT_EQ(parse_quantity("5M", kUnits), 300);
  EXPECT_EQ(parse_quantity("5  KiB", kUnits), 5120);
  EXPECT_EQ(parse_quantity("0KIB", kUnits), 0);
  EXPECT_EQ(parse_quantity("9007199254740991kib", kUnits), 9223372036854774784);
}

TEST(Quantity, AnythingElseIsNone) {
  for (const std::string_view text : {"", "m", "kib", "-5m", "+5m", " 5m", "5m ", "5mm", "5k", "5.5m", "5 m m", "5\tm",
                                      "9007199254740992kib", "12345678901234567890123m", "5\xC2\xB5"}) {
    EXPECT_EQ(parse_quantity(text, kUnits), std::nullopt) << text;
  }
  EXPECT_EQ(parse_quantity("5", std::span(kUnits).subspan(1)), std::nullopt);  // the unit is needed
}

}  // namespace quantities_test
}  // namespace polaiga::engine
