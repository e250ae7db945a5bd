#include "base/printable.h"

#include <algorithm>

#include "base/code_ranges.h"
#include "base/utf8.h"

namespace polaiga::engine {
namespace {

// Control characters, and Unicode's format characters and other characters that are
// ignored where text is drawn.
constexpr CodeRange kHidden[] = {
    {0x0000, 0x001F},    // control characters
    {0x007F, 0x009F},    // delete, and the control characters that ISO 6429 calls C1
    {0x00AD, 0x00AD},    // soft hyphen
    {0x034F, 0x034F},    // combining grapheme joiner
    {0x061C, 0x061C},    // Arabic letter mark
    {0x115F, 0x1160},    // fillers for Hangul
    {0x17B4, 0x17B5},    // inherent vowels of Khmer
    {0x180B, 0x180F},    // variation and vowel separators of Mongolian
    {0x200B, 0x200F},    // spaces without width, joiners, marks of direction
    {0x2028, 0x202E},    // separators of lines and paragraphs, embeddings and overrides of direction
    {0x2060, 0x206F},    // invisible operators, isolates of direction
    {0x3164, 0x3164},    // filler for Hangul
    {0xFDD0, 0xFDEF},    // no characters
    {0xFE00, 0xFE0F},    // variation selectors
    {0xFEFF, 0xFEFF},    // byte order mark
    {0xFFA0, 0xFFA0},    // filler for Hangul
    {0xFFF0, 0xFFFB},    // reserved, and annotations between lines
    {0x13430, 0x1343F},  // joiners of hieroglyphs
    {0x1BCA0, 0x1BCA3},  // shorthand
    {0x1D173, 0x1D17A},  // music
    {0xE0000, 0xE0FFF},  // tags, variation selectors
};

// The last two of each plane are no characters.
bool is_no_character(char32_t code) { return (code & 0xFFFE) == 0xFFFE; }

bool is_plain(char c) { return c >= ' ' && c <= '~'; }

}  // namespace

bool is_shown(char32_t character) { return !is_no_character(character) && !is_in(kHidden, character); }

void add_printable(std::string& line, std::string_view text) {
  while (!text.empty()) {
    std::size_t size = 0;
    while (size < text.size() && is_plain(text[size])) ++size;
    if (size > 0) {
      line += text.substr(0, size);
    } else {
      const Character next = first_character(text);
      line += next.valid && is_shown(next.code) ? text.substr(0, next.size) : "?";
      size = next.size;
    }
    text.remove_prefix(size);
  }
}

std::string printable(std::string_view text) {
  std::string shown;
  shown.reserve(text.size());
  add_printable(shown, text);
  return shown;
}

std::string printable_lines(std::string_view text) {
  std::string shown;
  shown.reserve(text.size());
  for (std::size_t end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
    add_printable(shown, text.substr(0, end));
    shown += '\n';
    text.remove_prefix(end + 1);
  }
  add_printable(shown, text);
  return shown;
}

std::string in_quotes(std::string_view text) {
  constexpr std::size_t kMost = 40;  // bytes
  std::size_t size = std::min(text.size(), kMost);
  if (size < text.size()) {
    const auto is_amid_character = [text](std::size_t at) { return (static_cast<unsigned>(text[at]) & 0xC0U) == 0x80; };
    while (size > kMost - 4 && is_amid_character(size)) --size;
  }
  std::string quoted = "'";
  add_printable(quoted, text.substr(0, size));
  return quoted += size < text.size() ? "...'" : "'";
}

}  // namespace polaiga::engine
