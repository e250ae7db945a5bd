#include "ledger/range_text.h"

#include <algorithm>

namespace polaiga::engine {

std::string range_text(const char* what, std::int64_t first, std::int64_t last) {
  const std::string text = std::string(what) + (first == last ? " " : "s ") + std::to_string(first);
  return first == last ? text : text + " to " + std::to_string(last);
}

std::string lost_text(const GapRow& gap) {
  const std::int64_t inputs = std::max<std::int64_t>(gap.last_seq - gap.seq + 1, 0);
  const std::int64_t changes = std::max<std::int64_t>(gap.last_change - gap.change + 1, 0);
  std::string text;
  if (inputs > 0) text += range_text("input", gap.seq, gap.last_seq);
  if (inputs > 0 && changes > 0) text += " and ";
  if (changes > 0) text += range_text("change", gap.change, gap.last_change);
  return text + (inputs + changes == 1 ? " was lost" : " were lost");
}

}  // namespace polaiga::engine
