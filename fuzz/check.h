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

// A complaint about a table has the form FILE:LINE:CHARACTER: what is wrong.
inline void check_table_complaint(std::string_view complaint, std::string_view file) {
  check(is_printable(complaint), "a complaint can be shown");
  check(complaint.starts_with(file), "a complaint names the file");
  complaint.remove_prefix(file.size());
  for (int number = 0; number < 2; ++number) {
    check(complaint.starts_with(':'), "a complaint names line and character");
    complaint.remove_prefix(1);
    const std::size_t digits = complaint.find_first_not_of("0123456789");
    check(digits != 0 && digits != std::string_view::npos && complaint.front() != '0', "they are counted from 1");
    complaint.remove_prefix(digits);
  }
  check(complaint.starts_with(": ") && complaint.size() > 2, "a complaint says what is wrong");
}

}  // namespace polaiga::fuzz
