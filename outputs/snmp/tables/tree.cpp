#include "tables/tree.h"

#include <algorithm>
#include <utility>

namespace polaiga::snmp {
namespace {

struct Start {
  std::uint32_t column = 0;
  RowStart row;  // in that column; the columns after it are taken from their first rows
};

// Where to begin in a region; nothing: all of it lies before the identifier.
std::optional<Start> start_in(const Region& region, OidView oid, bool is_inclusive) {
  if (!begins_with(oid, region.prefix)) {
    if (is_before(region.prefix, oid)) return std::nullopt;
    return Start{};
  }
  const OidView rest = oid.subspan(region.prefix.size());
  if (rest.empty()) return Start{};
  return Start{.column = rest.front(), .row = {.index = rest.subspan(1), .is_inclusive = is_inclusive}};
}

}  // namespace

Tree::Tree(std::vector<Region> regions) : regions_(std::move(regions)) {
  std::ranges::sort(regions_, [](const Region& one, const Region& other) { return one.prefix < other.prefix; });
}

Tree::Answer Tree::get(OidView oid) const {
  for (const Region& region : regions_) {
    if (!begins_with(oid, region.prefix)) continue;
    const OidView rest = oid.subspan(region.prefix.size());
    if (rest.empty() || !std::ranges::binary_search(region.columns, rest.front())) return {};
    return {.value = region.table->get(rest.front(), rest.subspan(1)), .missing = Missing::kInstance};
  }
  return {};
}

std::optional<Tree::Found> Tree::next(OidView oid, bool is_inclusive, OidView end) const {
  for (const Region& region : regions_) {
    if (!end.empty() && !is_before(region.prefix, end)) return std::nullopt;
    const auto start = start_in(region, oid, is_inclusive);
    if (!start) continue;
    for (auto column = std::ranges::lower_bound(region.columns, start->column); column != region.columns.end();
         ++column) {
      Oid found = joined(region.prefix, Oid{*column});
      if (!end.empty() && !is_before(found, end)) return std::nullopt;
      auto cell = region.table->next(*column, *column == start->column ? start->row : RowStart{});
      if (!cell) continue;
      found.insert(found.end(), cell->index.begin(), cell->index.end());
      if (!end.empty() && !is_before(found, end)) return std::nullopt;
      return Found{.oid = std::move(found), .value = std::move(cell->value)};
    }
  }
  return std::nullopt;
}

}  // namespace polaiga::snmp
