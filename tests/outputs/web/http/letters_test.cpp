#include "http/letters.h"

#include <gtest/gtest.h>

namespace polaiga::web {
namespace letters_test {

TEST(LettersTest, OnlyThoseOfAsciiBecomeSmall) {
  EXPECT_EQ(small_letters("Content-Type @[`{ AZaz09"), "content-type @[`{ azaz09");
  EXPECT_EQ(small_letters("\u00c4"), "\u00c4");
  EXPECT_EQ(small_letters(""), "");
}

TEST(LettersTest, ATextIsFoundInAnyCase) {
  const struct {
    const char* where;
    const char* what;
    bool is_there;
  } kRows[] = {{"sys/FAN-1", "fan", true}, {"sys/fan-1", "FAN-1", true}, {"fan", "", true},    {"", "", true},
               {"", "a", false},           {"fan", "fans", false},       {"f n", "f@n", false}};
  for (const auto& [where, what, is_there] : kRows) {
    EXPECT_EQ(contains_in_any_case(where, what), is_there) << where << ": " << what;
  }
}

}  // namespace letters_test
}  // namespace polaiga::web
