// Examples of encodings are written by hand after sections 43.15 of IPMI 2.0 and 13 of the FRU information storage
// definition, whose example of packed text is "IPMI".
#include "standard/id_string.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <vector>

#include "standard/sensor.h"

namespace polaiga::ipmi {
namespace id_string_test {

std::string parse(std::uint8_t type_length, std::initializer_list<std::uint8_t> bytes) {
  return parse_id_string(type_length, std::vector<std::uint8_t>(bytes));
}

TEST(IdString, Latin1) {
  EXPECT_EQ(parse(0xC4, {'F', 'A', 'N', '1'}), "FAN1");
  EXPECT_EQ(parse(0xC4, {'F', 'A', 'N', '1', 'X'}), "FAN1");  // what follows it is no part of it
  EXPECT_EQ(parse(0xC0, {}), "");
  EXPECT_EQ(parse(0xC3, {0xB5, 'A', 0xDF}), "\u00b5A\u00df");
}

TEST(IdString, EndsBeforeAZero) {
  EXPECT_EQ(parse(0xC5, {'P', '1', 0, 'x', 'y'}), "P1");
  EXPECT_EQ(parse(0xC2, {0, 'x'}), "");
}

TEST(IdString, KeepsBlanks) { EXPECT_EQ(parse(0xC5, {'F', 'a', 'n', ' ', ' '}), "Fan  "); }

TEST(IdString, HasNoControlCharacters) {
  EXPECT_EQ(parse(0xC4, {'a', 0x1B, 'b', '\n'}), "a?b?");
  EXPECT_EQ(parse(0xC2, {'a', 0x9B}), "a?");
}

TEST(IdString, SixBitPacked) {
  EXPECT_EQ(parse(0x83, {0x29, 0xDC, 0xA6}), "IPMI");  // three bytes
  EXPECT_EQ(parse(0x84, {0x29, 0xDC, 0xA6}), "IPMI");  // four characters: there is no fourth byte
  EXPECT_EQ(parse(0x81, {0x21}), "A");
  EXPECT_EQ(parse(0x82, {0xA1, 0x08}), "AB");
  // As OpenIPMI's sdrcomp packs them.
  EXPECT_EQ(parse(0x8B, {0xF0, 0x5C, 0x47, 0xFF, 0x4C, 0x87, 0x74, 0x3D, 0x03}), "PSU1_STATUS");
  EXPECT_EQ(parse(0x90, {0x62, 0xFA, 0xCE, 0xF0, 0x3B, 0xD3, 0x3F, 0x9D, 0xB6, 0xE5, 0x5B, 0xD3}), "BIOSPOST_TIMEOUT");
}

TEST(IdString, BcdPlus) {
  EXPECT_EQ(parse(0x44, {0x12, 0xAB, 0xC9, 0xDF}), "12 -.9:_");
  EXPECT_EQ(parse(0x43, {0x12, 0x3E}), "123");  // three characters: there is no third byte
}

TEST(IdString, Unicode) {
  EXPECT_EQ(parse(0x02, {'T', 0, 'x', 0}), "Tx");                    // two characters
  EXPECT_EQ(parse(0x04, {0xB0, 0x00, 0xAC, 0x20}), "\u00b0\u20ac");  // four bytes: there is no fifth
  EXPECT_EQ(parse(0x01, {0x00, 0xD8}), "???") << "half of a surrogate pair is three bytes that are no UTF-8";
}

TEST(IdString, MustFitIntoItsRecord) {
  EXPECT_THROW(parse(0xC2, {'F'}), BadRecord);
  EXPECT_THROW(parse(0x01, {}), BadRecord);
  EXPECT_THROW(parse(0x81, {}), BadRecord);
  EXPECT_THROW(parse(0x85, {0x29, 0xDC, 0xA6}), BadRecord);
  EXPECT_THROW(parse(0x45, {0x12, 0x34}), BadRecord);
}

}  // namespace id_string_test
}  // namespace polaiga::ipmi
