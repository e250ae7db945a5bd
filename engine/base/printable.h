// Makes texts from outside safe to show on a terminal.
#pragma once

#include <string>
#include <string_view>

namespace polaiga::engine {

// Appends a text to a line, with "?" in place of every control character. That
// includes the control characters that take two bytes in UTF-8.
inline void add_printable(std::string& line, std::string_view text) {
  std::size_t plain = 0;  // what begins here is not appended yet
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const bool is_control = byte < 0x20 || byte == 0x7F;
    const bool begins_control = byte == 0xC2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xA0;
    if (!is_control && !begins_control) continue;
    line.append(text.substr(plain, i - plain)).append(1, '?');
    if (begins_control) ++i;
    plain = i + 1;
  }
  line += text.substr(plain);
}

inline std::string printable(std::string_view text) {
  std::string shown;
  add_printable(shown, text);
  return shown;
}

// The same in single quotes. A long text is cut.
inline std::string in_quotes(std::string_view text) {
  constexpr std::size_t kShown = 40;
  std::string quoted = "'";
  quoted += printable(text.substr(0, kShown));
  quoted += text.size() > kShown ? "...'" : "'";
  return quoted;
}

}  // namespace polaiga::engine
