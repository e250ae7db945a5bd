#include "standard/id_string.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "base/printable.h"
#include "standard/sensor.h"

namespace polaiga::ipmi {
namespace {

using Bytes = std::span<const std::uint8_t>;

enum class Encoding : std::uint8_t { kUnicode, kBcdPlus, kSixBit, kLatin1 };

// Appends a character of the basic plane as UTF-8. Halves of surrogate pairs become "?", when the text is made
// printable.
void append_utf8(std::string& text, unsigned character) {
  const auto append = [&text](unsigned byte) { text += static_cast<char>(byte); };
  if (character < 0x80) {
    append(character);
  } else if (character < 0x800) {
    append(0xC0U | character >> 6U);
    append(0x80U | (character & 0x3FU));
  } else {
    append(0xE0U | character >> 12U);
    append(0x80U | (character >> 6U & 0x3FU));
    append(0x80U | (character & 0x3FU));
  }
}

// UCS-2, the low byte first.
std::string from_unicode(Bytes bytes) {
  std::string text;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2)
    append_utf8(text, bytes[i] | static_cast<unsigned>(bytes[i + 1]) << 8U);
  return text;
}

// Two characters a byte, the high half first.
std::string from_bcd_plus(Bytes bytes) {
  constexpr std::string_view kCharacters = "0123456789 -.:,_";
  std::string text;
  for (const auto byte : bytes) {
    text += kCharacters[byte >> 4U];
    text += kCharacters[byte & 0x0FU];
  }
  return text;
}

// Four characters in three bytes, the low bits first.
std::string from_six_bit(Bytes bytes) {
  std::string text;
  unsigned bits = 0;
  unsigned count = 0;
  for (const auto byte : bytes) {
    bits |= static_cast<unsigned>(byte) << count;
    for (count += 8; count >= 6; count -= 6, bits >>= 6U) text += static_cast<char>(0x20U + (bits & 0x3FU));
  }
  return text;
}

std::string from_latin1(Bytes bytes) {
  std::string text;
  for (const auto byte : bytes) append_utf8(text, byte);
  return text;
}

// How many bytes a packed string has, and how many characters are wanted of them.
struct Packed {
  std::size_t bytes;
  std::size_t characters;
};

Packed measure_packed(std::size_t length, std::size_t bits_each, std::size_t room) {
  if (length <= room) return {length, length * 8 / bits_each};
  return {(length * bits_each + 7) / 8, length};
}

Bytes first(Bytes bytes, std::size_t count) {
  if (count > bytes.size()) throw BadRecord("its id string goes on behind its end");
  return bytes.first(count);
}

std::string decode(Encoding encoding, std::size_t length, Bytes bytes) {
  switch (encoding) {
    case Encoding::kUnicode:
      return from_unicode(first(bytes, 2 * length <= bytes.size() ? 2 * length : length));
    case Encoding::kBcdPlus: {
      const auto packed = measure_packed(length, 4, bytes.size());
      return from_bcd_plus(first(bytes, packed.bytes)).substr(0, packed.characters);
    }
    case Encoding::kSixBit: {
      const auto packed = measure_packed(length, 6, bytes.size());
      return from_six_bit(first(bytes, packed.bytes)).substr(0, packed.characters);
    }
    case Encoding::kLatin1:
      break;
  }
  return from_latin1(first(bytes, length));
}

}  // namespace

std::string parse_id_string(std::uint8_t type_length, std::span<const std::uint8_t> bytes) {
  std::string text = decode(static_cast<Encoding>(type_length >> 6U), type_length & 0x1FU, bytes);
  text.resize(std::min(text.find('\0'), text.size()));
  return engine::printable(text);
}

}  // namespace polaiga::ipmi
