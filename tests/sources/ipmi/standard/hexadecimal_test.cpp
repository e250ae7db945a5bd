#include "standard/hexadecimal.h"

#include <gtest/gtest.h>

namespace polaiga::ipmi {
namespace hexadecimal_test {

TEST(Hexadecimal, HasAllDigitsOfItsNumber) {
  EXPECT_EQ(hex(std::uint8_t{0x00}), "00h");
  EXPECT_EQ(hex(std::uint8_t{0xC5}), "C5h");
  EXPECT_EQ(hex(std::uint16_t{0x000A}), "000Ah");
  EXPECT_EQ(hex(std::uint16_t{0xFEDC}), "FEDCh");
}

}  // namespace hexadecimal_test
}  // namespace polaiga::ipmi
