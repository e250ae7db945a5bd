// Texts that others wrote, made safe to show on a terminal.
#pragma once

#include <string>
#include <string_view>

namespace polaiga::engine {

// With "?" for every control character, those of two bytes included.
inline std::string printable(std::string_view text) {
  std::string shown(text);
  for (std::size_t i = 0; i < shown.size(); ++i) {
    const auto byte = static_cast<unsigned char>(shown[i]);
    if (byte < 0x20 || byte == 0x7F) {
      shown[i] = '?';
    } else if (byte == 0xC2 && i + 1 < shown.size() && static_cast<unsigned char>(shown[i + 1]) < 0xA0) {
      shown.replace(i, 2, "?");
    }
  }
  return shown;
}

// The same in single quotes, cut where it is long.
inline std::string in_quotes(std::string_view text) {
  constexpr std::size_t kShown = 40;
  std::string quoted = "'";
  quoted += printable(text.substr(0, kShown));
  quoted += text.size() > kShown ? "...'" : "'";
  return quoted;
}

}  // namespace polaiga::engine
