#include "report/shown.h"

#include <gtest/gtest.h>

namespace polaiga::engine {
namespace shown_test {

TEST(Shown, Durations) {
  const std::pair<Moment, const char*> kRows[] = {{0, "0s"},       {59, "59s"},     {60, "1m"},    {3600, "1h"},
                                                  {3601, "1h"},    {3661, "1h 1m"}, {86460, "1d"}, {90061, "1d 1h"},
                                                  {864000, "10d"}, {-65, "-1m 5s"}};
  for (const auto& [seconds, text] : kRows) EXPECT_EQ(duration_text(seconds), text) << seconds;
}

TEST(Shown, PaddedToColumnsOfTheTerminal) {
  EXPECT_EQ(padded("ab", 4), "ab  ");
  EXPECT_EQ(padded("abcd", 4), "abcd");
  EXPECT_EQ(padded("abcde", 4), "abcde");
  EXPECT_EQ(padded("\xC3\xA9", 3), "\xC3\xA9  ");
  EXPECT_EQ(padded("\xE4\xB8\xAD", 3), "\xE4\xB8\xAD ");
}

TEST(Shown, Plurals) {
  EXPECT_EQ(plural(0, "event"), "0 events");
  EXPECT_EQ(plural(1, "event"), "1 event");
}

TEST(Shown, Codes) {
  EXPECT_EQ(code_text(95), "F0095");
  EXPECT_EQ(code_text(12345), "F12345");
}

TEST(Shown, Descriptions) { EXPECT_EQ(shown_description("a\x1b[2J  b "), "a?[2J  b"); }

}  // namespace shown_test
}  // namespace polaiga::engine
