// The id strings of sensors, in the encodings that the standard knows (IPMI 2.0, section 43.15).
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace polaiga::ipmi {

// `type_length` is the byte before the string, and `bytes` all that follows it in its record. The text is UTF-8,
// without control characters, and ends before a zero. Throws BadRecord when the record is too short for it.
//
// The standard counts the characters of a string; controllers count its bytes, too. So a packed string whose characters
// are more than the bytes that follow is counted in characters, and a Unicode string is, if it has room for them.
std::string parse_id_string(std::uint8_t type_length, std::span<const std::uint8_t> bytes);

}  // namespace polaiga::ipmi
