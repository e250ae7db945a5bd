#include "follow/known_bits.h"

#include <gtest/gtest.h>

namespace polaiga::ipmi {
namespace known_bits_test {

struct Case {
  const char* what;
  std::uint8_t reading_type;
  std::uint16_t before;
  std::uint8_t offset;
  bool is_deasserted;
  std::uint16_t after;
};

TEST(KnownBitsTest, WhatARecordMakesOfTheBits) {
  constexpr Case kCases[] = {
      {"a threshold is crossed", 0x01, 0x0000, 7, false, 0x0080},
      {"the next one, too", 0x01, 0x0080, 9, false, 0x0280},
      {"only the one that is named goes back", 0x01, 0x0280, 7, true, 0x0200},
      {"going low over an upper threshold ends going high", 0x01, 0x0280, 8, false, 0x0180},
      {"going high over a lower threshold ends going low", 0x01, 0x0005, 1, false, 0x0006},
      {"one of several", 0x6F, 0x0003, 4, false, 0x0013},
      {"one of several goes", 0x6F, 0x0013, 1, true, 0x0011},
      {"a state of two comes without the other's end", 0x03, 0x0002, 0, false, 0x0001},
      {"a state of two goes", 0x03, 0x0002, 1, true, 0x0001},
      {"a device is absent no more", 0x08, 0x0001, 0, true, 0x0002},
      {"a state of many ends the others", 0x07, 0x0004, 2, false, 0x0004},
      {"a state of many ends the others", 0x07, 0x0004, 1, false, 0x0002},
      {"full redundancy ends all the rest", 0x0B, 0x0022, 0, false, 0x0001},
      {"redundancy is lost, and resources are too few", 0x0B, 0x0002, 5, false, 0x0022},
      {"redundancy is not full any more", 0x0B, 0x0001, 1, false, 0x0002},
      {"of a maker's own type nothing is known", 0x70, 0x0001, 1, false, 0x0003},
  };
  for (const Case& some : kCases) {
    KnownBits bits{.asserted = some.before, .known = 0xFFFF, .data_3 = {}};
    bits.apply({.key = {},
                .sensor_type = 0,
                .reading_type = some.reading_type,
                .is_deasserted = some.is_deasserted,
                .offset = some.offset,
                .data = {}});
    EXPECT_EQ(bits.asserted, some.after) << some.what;
  }
}

TEST(KnownBitsTest, ARecordTellsOfItsOwnOffset) {
  KnownBits bits;
  bits.apply({.key = {}, .sensor_type = 0x08, .reading_type = 0x6F, .is_deasserted = true, .offset = 3, .data = {}});
  EXPECT_EQ(bits.known, 0x0008);
  EXPECT_EQ(bits.asserted, 0);
  bits.read(0x0011);
  EXPECT_EQ(bits.known, 0xFFFF);
  EXPECT_EQ(bits.asserted, 0x0011);
}

}  // namespace known_bits_test
}  // namespace polaiga::ipmi
