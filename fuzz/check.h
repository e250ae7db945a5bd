// What the fuzzers of the engine demand.
#pragma once

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace polaiga::fuzz {

// Ends the fuzzer with a failure unless the condition holds.
inline void check(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "failed: %s\n", what);
  std::abort();
}

// Whether a text can be shown on a terminal: no control characters.
inline bool is_printable(std::string_view text) {
  return std::ranges::none_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }) &&
         std::ranges::adjacent_find(text, [](char a, char b) {
           return a == '\xC2' && static_cast<unsigned char>(b) >= 0x80 && static_cast<unsigned char>(b) < 0xA0;
         }) == text.end();
}

}  // namespace polaiga::fuzz
