// Letters whose case does not count, as in the names of headers and hosts: those of ASCII alone.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace polaiga::web {

constexpr char small_letter(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

inline std::string small_letters(std::string_view text) {
  std::string small(text);
  std::ranges::transform(small, small.begin(), small_letter);
  return small;
}

// Whether one text is somewhere in the other, in whatever case.
inline bool contains_in_any_case(std::string_view where, std::string_view what) {
  const auto are_same = [](char one, char other) { return small_letter(one) == small_letter(other); };
  return what.empty() || std::search(where.begin(), where.end(), what.begin(), what.end(), are_same) != where.end();
}

}  // namespace polaiga::web
