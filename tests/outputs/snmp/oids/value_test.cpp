#include "oids/value.h"

#include <gtest/gtest.h>

#include <string>

namespace polaiga::snmp {
namespace value_test {

std::string repeated(const std::string& text, int times) {
  std::string all;
  for (int i = 0; i < times; ++i) all += text;
  return all;
}

TEST(ValueTest, TextsAreCutBetweenCharacters) {
  struct Row {
    std::string text;
    std::string expected;
  };
  for (const Row& row : {
           Row{"", ""},
           Row{"fan", "fan"},
           Row{std::string(255, 'x'), std::string(255, 'x')},
           Row{std::string(256, 'x'), std::string(252, 'x') + "..."},
           Row{repeated("\xC3\xA9", 128), repeated("\xC3\xA9", 126) + "..."},              // 256 bytes
           Row{"x" + repeated("\xC3\xA9", 128), "x" + repeated("\xC3\xA9", 125) + "..."},  // 251 bytes, and the dots
           Row{"a\xFF"
               "b",
               "a?b"},
           Row{"\xC3", "?"},
       }) {
    EXPECT_EQ(text(row.text).text, row.expected);
    EXPECT_LE(text(row.text).text.size(), kMostTextBytes);
  }
}

TEST(ValueTest, Numbers) {
  EXPECT_EQ(unsigned_number(4294967295).number, 4294967295U);
  EXPECT_EQ(unsigned_number(4294967296).number, 4294967295U);
  EXPECT_EQ(counter(4294967297).number, 1U);
}

TEST(ValueTest, NoIdentifierIsNought) {
  EXPECT_EQ(oid_value({}).oid, (Oid{0, 0}));
  EXPECT_EQ(oid_value({1, 3}).oid, (Oid{1, 3}));
}

TEST(ValueTest, Times) { EXPECT_EQ(time_value(0).text, std::string("\x07\xB2\x01\x01\0\0\0\0+\0\0", 11)); }

}  // namespace value_test
}  // namespace polaiga::snmp
