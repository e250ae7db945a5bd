#include "model/record_text.h"

#include <algorithm>
#include <span>

namespace polaiga::engine {

std::string dotted_oid(const fe_fault_record& record) {
  std::span<const std::uint32_t> arcs(record.oid);
  std::size_t count = std::min<std::size_t>(record.oid_len, arcs.size());
  if (count == 0) {
    count = arcs.size();
    while (count > 0 && arcs[count - 1] == 0) --count;
  }
  std::string text;
  for (const std::uint32_t arc : arcs.first(count)) {
    if (!text.empty()) text += '.';
    text += std::to_string(arc);
  }
  return text;
}

}  // namespace polaiga::engine
