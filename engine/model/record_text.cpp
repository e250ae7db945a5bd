#include "model/record_text.h"

#include <algorithm>
#include <array>
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

std::string_view change_word(Change change) {
  constexpr std::array<std::string_view, 4> kWords{"raised", "refreshed", "cleared", "already_clear"};
  return kWords.at(static_cast<std::size_t>(change));
}

}  // namespace polaiga::engine
