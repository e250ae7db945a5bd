#include "http/html_text.h"

#include <array>
#include <cstdio>

#include "base/printable.h"
#include "base/utf8.h"

namespace polaiga::web {
namespace {

std::string code_of(const engine::Character& character, std::string_view text) {
  std::array<char, 16> code{};
  if (character.valid) {
    std::snprintf(code.data(), code.size(), "[U+%04X]", static_cast<unsigned>(character.code));
    return code.data();
  }
  std::string all;
  for (const char byte : text.substr(0, character.size)) {
    std::snprintf(code.data(), code.size(), "[0x%02X]", static_cast<unsigned char>(byte));
    all += code.data();
  }
  return all;
}

}  // namespace

std::string escaped(std::string_view text) {
  std::string html;
  html.reserve(text.size() + text.size() / 8);
  while (!text.empty()) {
    const engine::Character next = engine::first_character(text);
    switch (next.valid ? next.code : 0) {
      case '&':
        html += "&amp;";
        break;
      case '<':
        html += "&lt;";
        break;
      case '>':
        html += "&gt;";
        break;
      case '"':
        html += "&quot;";
        break;
      case '\'':
        html += "&#39;";
        break;
      default:
        html +=
            next.valid && engine::is_shown(next.code) ? std::string(text.substr(0, next.size)) : code_of(next, text);
    }
    text.remove_prefix(next.size);
  }
  return html;
}

}  // namespace polaiga::web
