#include "report/json_text.h"

#include <gtest/gtest.h>

namespace polaiga::engine {
namespace json_text_test {

std::string added(std::string_view text) {
  std::string line = ":";
  add_json_text(line, text);
  return line;
}

TEST(JsonText, PlainTextsStandInQuotes) {
  EXPECT_EQ(added(""), R"(:"")");
  EXPECT_EQ(added("fan 1 ~"), R"(:"fan 1 ~")");
  EXPECT_EQ(added("caf\xC3\xA9"), ":\"caf\xC3\xA9\"");
  EXPECT_EQ(added("\xF0\x9F\x98\x80"), ":\"\xF0\x9F\x98\x80\"");
}

TEST(JsonText, WhatJsonEscapes) { EXPECT_EQ(added("a\"b\\c\n\x1b"), R"(:"a\"b\\c\n\u001b")"); }

TEST(JsonText, WhatNoTerminalMayGet) {
  EXPECT_EQ(added("\x7f|\xC2\x9B|\xE2\x80\xAE|\xEF\xBB\xBF"), R"(:"\u007f|\u009b|\u202e|\ufeff")");
  EXPECT_EQ(added("\xF3\xA0\x81\x81"), R"(:"\udb40\udc41")");
  EXPECT_EQ(added("\xF4\x8F\xBF\xBF"), R"(:"\udbff\udfff")");
  EXPECT_EQ(added("\xF0\x9F\xBF\xBE"), R"(:"\ud83f\udffe")");
}

TEST(JsonText, WhatIsNoCharacterIsReplaced) {
  EXPECT_EQ(added("cut \xE2\x82"), ":\"cut \xEF\xBF\xBD\"");
  EXPECT_EQ(added("\xFFx"), ":\"\xEF\xBF\xBDx\"");
}

TEST(JsonText, OfValues) {
  EXPECT_EQ(json_text({{"a\x7f", "b\xC2\x85"}, {"c", {1, nullptr}}}), R"({"a\u007f":"b\u0085","c":[1,null]})");
}

}  // namespace json_text_test
}  // namespace polaiga::engine
