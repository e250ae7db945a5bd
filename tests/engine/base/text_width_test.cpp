#include "base/text_width.h"

#include <gtest/gtest.h>

namespace polaiga::engine {
namespace text_width_test {

const std::string kAccent = "\xCC\x81";      // U+0301, stands on the character before it
const std::string kMiddle = "\xE4\xB8\xAD";  // U+4E2D, two columns

TEST(TextWidth, InColumns) {
  EXPECT_EQ(text_width(""), 0U);
  EXPECT_EQ(text_width("fan 1"), 5U);
  EXPECT_EQ(text_width("caf\xC3\xA9"), 4U);
  EXPECT_EQ(text_width("cafe" + kAccent), 4U);
  EXPECT_EQ(text_width(kMiddle + "x" + kMiddle), 5U);
  EXPECT_EQ(text_width("\xF0\x9F\x98\x80"), 2U);  // U+1F600
  EXPECT_EQ(text_width("\xEF\xBD\xB1"), 1U);      // U+FF71, of half width
  EXPECT_EQ(text_width("\xEF\xBC\xA1"), 2U);      // U+FF21, of full width
  EXPECT_EQ(text_width("\xE2\x82\xAC"), 1U);      // U+20AC
  EXPECT_EQ(text_width("\xFF"), 1U);
}

TEST(TextWidth, ColoursTakeNoRoom) {
  EXPECT_EQ(text_width("\x1b[1;31mmajor\x1b[0m "), 6U);
  EXPECT_EQ(text_width("x\x1b[1;31"), 1U);
}

TEST(CutToWidth, WhatFitsIsWhole) {
  EXPECT_EQ(cut_to_width("", 0), "");
  EXPECT_EQ(cut_to_width("12345", 5), "12345");
  EXPECT_EQ(cut_to_width("12345", 9), "12345");
  EXPECT_EQ(cut_to_width("1234e" + kAccent, 5), "1234e" + kAccent);
  EXPECT_EQ(cut_to_width(kMiddle + kMiddle, 4), kMiddle + kMiddle);
}

TEST(CutToWidth, DotsTellThatMoreWasThere) {
  EXPECT_EQ(cut_to_width("123456", 5), "12...");
  EXPECT_EQ(cut_to_width("123456", 4), "1...");
  EXPECT_EQ(cut_to_width("123456", 3), "...");
  EXPECT_EQ(cut_to_width("123456", 2), "..");
  EXPECT_EQ(cut_to_width("123456", 0), "");
  EXPECT_EQ(cut_to_width("1e" + kAccent + "3456", 5), "1e" + kAccent + "...");
  EXPECT_EQ(cut_to_width(kMiddle + kMiddle + kMiddle, 5), kMiddle + "...");
  EXPECT_EQ(cut_to_width(kMiddle + kMiddle + kMiddle, 4), "...");
}

TEST(CutFrontToWidth, TheEndStays) {
  EXPECT_EQ(cut_front_to_width("", 0), "");
  EXPECT_EQ(cut_front_to_width("12345", 5), "12345");
  EXPECT_EQ(cut_front_to_width("123456", 5), "...56");
  EXPECT_EQ(cut_front_to_width("123456", 3), "...");
  EXPECT_EQ(cut_front_to_width("123456", 1), ".");
  EXPECT_EQ(cut_front_to_width("123456", 0), "");
  EXPECT_EQ(cut_front_to_width(kMiddle + kMiddle + "x", 4), "...x");
  EXPECT_EQ(cut_front_to_width("1234e" + kAccent + "6", 5), "...e" + kAccent + "6");
  EXPECT_EQ(cut_front_to_width("1234e" + kAccent + "6", 4), "...6");
}

}  // namespace text_width_test
}  // namespace polaiga::engine
