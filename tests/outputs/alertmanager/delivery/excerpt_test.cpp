#include "delivery/excerpt.h"

#include <gtest/gtest.h>

namespace polaiga::alertmanager {
namespace excerpt_test {

TEST(ExcerptTest, IsALineThatATerminalMayHave) {
  EXPECT_EQ(excerpt(""), "");
  EXPECT_EQ(excerpt(" \n\t\"\""), "");
  EXPECT_EQ(excerpt("\"invalid label set\"\n"), "invalid label set");
  EXPECT_EQ(excerpt("a\nb\x1b[31mc"), "a b?[31mc");
  EXPECT_EQ(excerpt("\xff\xfe"), "??");
}

TEST(ExcerptTest, IsBounded) {
  EXPECT_EQ(excerpt(std::string(200, 'a')), std::string(200, 'a'));
  EXPECT_EQ(excerpt(std::string(201, 'a')), std::string(200, 'a') + "...");
  EXPECT_EQ(excerpt(std::string(100'000, 'a')), std::string(200, 'a') + "...");
  std::string wide;
  for (int i = 0; i < 250; ++i) wide += "ü";
  EXPECT_EQ(excerpt(wide), wide.substr(0, 400) + "...");
}

}  // namespace excerpt_test
}  // namespace polaiga::alertmanager
