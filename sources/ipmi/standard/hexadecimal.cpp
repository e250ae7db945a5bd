#include "standard/hexadecimal.h"

#include <string_view>

namespace polaiga::ipmi {
namespace {

std::string digits(unsigned number, unsigned count) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string text;
  while (count-- > 0) text += kDigits[number >> 4 * count & 0x0FU];
  return text + 'h';
}

}  // namespace

std::string hex(std::uint8_t byte) { return digits(byte, 2); }
std::string hex(std::uint16_t number) { return digits(number, 4); }

}  // namespace polaiga::ipmi
