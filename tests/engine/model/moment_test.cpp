#include "model/moment.h"

#include <gtest/gtest.h>

namespace polaiga::engine {
namespace moment_test {

TEST(Moment, Parse) {
  const std::pair<const char*, Moment> kRows[] = {
      {"1970-01-01T00:00:00Z", 0},
      {"2024-01-31T23:59:59Z", 1706745599},
      {"2024-01-31t23:59:59z", 1706745599},
      {"2024-01-31T23:59:59.999999Z", 1706745599},
      {"2024-02-01T01:59:59+02:00", 1706745599},
      {"2024-01-31T18:29:59-05:30", 1706745599},
      {"2024-01-31T23:59:59-00:00", 1706745599},
      {"2000-02-29T00:00:00Z", 951782400},
      {"2016-12-31T23:59:60Z", 1483228800},  // a leap second
      {"9999-12-31T23:59:59Z", 253402300799},
  };
  for (const auto& [text, moment] : kRows) EXPECT_EQ(parse_moment(text), moment) << text;
}

TEST(Moment, WhatIsNoTime) {
  for (const char* text : {"",
                           "2024",
                           "2024-01-31",
                           "2024-01-31T23:59:59",
                           "2024-01-31 23:59:59Z",
                           "2024-01-31T23:59Z",
                           "2024-01-31T24:00:00Z",
                           "2024-01-31T23:60:00Z",
                           "2024-01-31T23:59:61Z",
                           "2024-13-01T00:00:00Z",
                           "2024-00-01T00:00:00Z",
                           "2024-04-31T00:00:00Z",
                           "2023-02-29T00:00:00Z",
                           "2024-01-00T00:00:00Z",
                           "2024-1-31T23:59:59Z",
                           "+024-01-31T23:59:59Z",
                           "2024-01-31T23:59:59.Z",
                           "2024-01-31T23:59:59+0200",
                           "2024-01-31T23:59:59+24:00",
                           "2024-01-31T23:59:59+02:60",
                           "2024-01-31T23:59:59Zx",
                           "2024-01-31T23:59:59Z ",
                           "1969-12-31T23:59:59Z",
                           "1970-01-01T00:00:00+00:01",
                           "9999-12-31T23:59:59-00:01"}) {
    EXPECT_FALSE(parse_moment(text).has_value()) << text;
  }
}

TEST(Moment, Format) {
  EXPECT_EQ(format_moment(0), "1970-01-01T00:00:00Z");
  EXPECT_EQ(format_moment(1706745599), "2024-01-31T23:59:59Z");
  EXPECT_EQ(format_moment(951782400), "2000-02-29T00:00:00Z");
  EXPECT_EQ(format_moment(kLastMoment), "9999-12-31T23:59:59Z");
}

}  // namespace moment_test
}  // namespace polaiga::engine
