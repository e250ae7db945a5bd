// The words of an enumeration, whose values count from 0 in the order of the words.
#pragma once

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

namespace polaiga::engine {

template <std::size_t N>
using Words = std::array<std::string_view, N>;

// Nothing for a word that is not among them.
template <class Value, std::size_t N>
std::optional<Value> value_of(const Words<N>& words, std::string_view word) {
  const auto found = std::ranges::find(words, word);
  if (found == words.end()) return std::nullopt;
  return static_cast<Value>(found - words.begin());
}

}  // namespace polaiga::engine
