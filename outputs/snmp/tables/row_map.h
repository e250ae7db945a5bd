// Rows that are kept in the order of their names.
#pragma once

#include <cstdint>
#include <map>
#include <optional>

#include "tables/tree.h"

namespace polaiga::snmp {

struct OidOrder {
  using is_transparent = void;
  bool operator()(OidView one, OidView other) const { return is_before(one, other); }
};

template <class Row>
using RowMap = std::map<Oid, Row, OidOrder>;

// The first row that is asked for, or the end.
template <class Row>
typename RowMap<Row>::const_iterator first_row(const RowMap<Row>& rows, const RowStart& start) {
  return start.is_inclusive ? rows.lower_bound(start.index) : rows.upper_bound(start.index);
}

// A table of such rows, whose cells the derived class makes.
template <class Row>
class RowTable : public Table {
 public:
  explicit RowTable(const RowMap<Row>& rows) : rows_(rows) {}

  std::optional<Value> get(std::uint32_t column, OidView index) const override {
    const auto found = rows_.find(index);
    if (found == rows_.end()) return std::nullopt;
    return cell(column, found->first, found->second);
  }

  std::optional<Cell> next(std::uint32_t column, const RowStart& start) const override {
    const auto found = first_row(rows_, start);
    if (found == rows_.end()) return std::nullopt;
    return Cell{.index = found->first, .value = cell(column, found->first, found->second)};
  }

 private:
  virtual Value cell(std::uint32_t column, const Oid& index, const Row& row) const = 0;

  const RowMap<Row>& rows_;
};

}  // namespace polaiga::snmp
