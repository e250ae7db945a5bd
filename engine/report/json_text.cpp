#include "report/json_text.h"

#include <algorithm>

#include "base/printable.h"
#include "base/utf8.h"

namespace polaiga::engine {
namespace {

void add_unit(std::string& text, char32_t unit) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  text += "\\u";
  for (const unsigned shift : {12U, 8U, 4U, 0U}) text += kDigits[unit >> shift & 0xFU];
}

// As \u202e, or as a pair of surrogates.
void add_escape(std::string& text, char32_t code) {
  constexpr char32_t kFirstOfPair = 0xD800;
  constexpr char32_t kSecondOfPair = 0xDC00;
  constexpr char32_t kFirstBeyond = 0x10000;
  constexpr unsigned kBits = 10;
  if (code < kFirstBeyond) {
    add_unit(text, code);
  } else {
    add_unit(text, kFirstOfPair + ((code - kFirstBeyond) >> kBits));
    add_unit(text, kSecondOfPair + (code & ((1U << kBits) - 1)));
  }
}

bool is_plain(char c) { return c >= ' ' && c <= '~'; }

// Outside of texts JSON is plain, so all that is found here is part of a text.
std::string with_escapes(std::string_view json) {
  std::string text;
  text.reserve(json.size());
  while (!json.empty()) {
    const Character next = first_character(json);
    if (is_shown(next.code)) {
      text += json.substr(0, next.size);
    } else {
      add_escape(text, next.code);
    }
    json.remove_prefix(next.size);
  }
  return text;
}

}  // namespace

std::string json_text(const nlohmann::ordered_json& value) {
  std::string text = value.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
  return std::ranges::all_of(text, is_plain) ? text : with_escapes(text);
}

void add_json_text(std::string& line, std::string_view text) {
  const auto needs_escape = [](char c) { return !is_plain(c) || c == '"' || c == '\\'; };
  if (std::ranges::any_of(text, needs_escape)) {
    line += json_text(text);
  } else {
    line.append(1, '"').append(text).append(1, '"');
  }
}

}  // namespace polaiga::engine
