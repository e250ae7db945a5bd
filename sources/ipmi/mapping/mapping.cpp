#include "mapping/mapping.h"

#include <algorithm>

#include "mapping/mapping_row.h"

namespace polaiga::ipmi {
namespace {

// The first row that takes a sensor; the end: none does.
auto first_for(const std::vector<std::shared_ptr<const MappingRow>>& rows, const Sensor& sensor) {
  return std::ranges::find_if(rows, [&sensor](const auto& row) { return row->sensors.match(sensor).has_value(); });
}

}  // namespace

Mapping Mapping::parse(std::string_view text, const std::string& name) {
  Mapping mapping;
  mapping.rows_ = read_mapping(text, name);
  return mapping;
}

std::vector<Mapped> Mapping::of(const Sensor& sensor) const {
  std::vector<Mapped> found;
  const auto first = first_for(rows_, sensor);
  if (first == rows_.end()) return found;
  const NameNumbers numbers = (*first)->sensors.match(sensor).value_or(NameNumbers{});
  const auto is_with_first = [first](const auto& row) {
    return row->section == (*first)->section && row->conditions == (*first)->conditions;
  };
  for (auto row = first; row != rows_.end() && is_with_first(*row); ++row) {
    for (const auto& ladder : (*row)->ladders) found.push_back({(*row)->target(sensor, numbers), ladder, (*row)->line});
  }
  return found;
}

std::size_t Mapping::line_of(const Sensor& sensor) const {
  const auto first = first_for(rows_, sensor);
  return first == rows_.end() ? 0 : (*first)->line;
}

}  // namespace polaiga::ipmi
