// Sets of characters, as ranges.
#pragma once

#include <algorithm>
#include <span>

namespace polaiga::engine {

struct CodeRange {
  char32_t first;
  char32_t last;
};

// The ranges are in ascending order.
inline bool is_in(std::span<const CodeRange> ranges, char32_t code) {
  const auto range = std::ranges::lower_bound(ranges, code, {}, &CodeRange::last);
  return range != ranges.end() && range->first <= code;
}

}  // namespace polaiga::engine
