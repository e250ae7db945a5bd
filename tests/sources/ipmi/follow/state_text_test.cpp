#include "follow/state_text.h"

#include <gtest/gtest.h>

#include "support/full_state.h"

namespace polaiga::ipmi {
namespace state_text_test {

std::string complaint(const std::string& text) {
  try {
    parse_state(text);
  } catch (const BadState& error) {
    return error.what();
  }
  return "";
}

TEST(StateTextTest, WhatIsWrittenIsRead) {
  EXPECT_EQ(parse_state(state_text(test::full_state())), test::full_state());
  EXPECT_EQ(parse_state(state_text({})), State());
  State state = test::full_state();
  state.position.wants_new_epoch = true;
  EXPECT_EQ(parse_state(state_text(state)), state);
}

TEST(StateTextTest, EveryByteThatIsChangedIsNoticed) {
  const std::string text = state_text(test::full_state());
  for (std::size_t i = 0; i < text.size(); ++i) {
    std::string damaged = text;
    damaged[i] = static_cast<char>(damaged[i] ^ 1);
    EXPECT_NE(complaint(damaged), "") << i;
  }
}

TEST(StateTextTest, EveryByteThatIsMissingIsNoticed) {
  const std::string text = state_text(test::full_state());
  for (std::size_t i = 0; i < text.size(); ++i) EXPECT_NE(complaint(text.substr(0, i)), "") << i;
  EXPECT_EQ(complaint(""), "its end is missing");
  EXPECT_EQ(complaint("crc32 00000000\n"), "it is not the state of this program");
}

TEST(StateTextTest, OtherTextsWithARightChecksumAreRefused) {
  EXPECT_EQ(complaint("{}\ncrc32 dda1b006\n"), "it is not the state of this program");
  EXPECT_EQ(complaint("[]\ncrc32 7068d244\n"), "it is not the state of this program");
  EXPECT_EQ(complaint("{\"version\":2}\ncrc32 8f30e946\n"), "it is of another version of the program");
  const std::string rest = R"(},"readings":0,"log_wraps":false,"memory":[],"delivered":[]})";
  EXPECT_EQ(complaint(R"({"version":1,"position":{"epoch":-1,"erased":0,"trail":[])" + rest + "\ncrc32 75f3259e\n"),
            "a number is too large");
  EXPECT_EQ(
      complaint(R"({"version":1,"position":{"epoch":1,"erased":4294967296,"trail":[])" + rest + "\ncrc32 af42329f\n"),
      "a number is too large");
}

}  // namespace state_text_test
}  // namespace polaiga::ipmi
