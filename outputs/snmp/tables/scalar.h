// An object that is in no table. Its one instance, .0, takes the place of a column, and has no rows below it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "tables/tree.h"

namespace polaiga::snmp {

class Scalar final : public Table {
 public:
  using Read = std::function<Value()>;

  explicit Scalar(Read read) : read_(std::move(read)) {}

  std::optional<Value> get(std::uint32_t /*instance*/, OidView index) const override {
    if (!index.empty()) return std::nullopt;
    return read_();
  }

  std::optional<Cell> next(std::uint32_t /*instance*/, const RowStart& start) const override {
    if (!start.index.empty() || !start.is_inclusive) return std::nullopt;
    return Cell{.index = {}, .value = read_()};
  }

 private:
  Read read_;
};

// Regions with the tables that they need.
struct OwnedRegions {
  std::vector<Region> regions = {};
  std::vector<std::unique_ptr<Table>> tables = {};

  void add(Oid prefix, std::vector<std::uint32_t> columns, std::unique_ptr<Table> table) {
    regions.push_back({.prefix = std::move(prefix), .columns = std::move(columns), .table = table.get()});
    tables.push_back(std::move(table));
  }
  void add_scalar(Oid object, Scalar::Read read) {
    add(std::move(object), {0}, std::make_unique<Scalar>(std::move(read)));
  }
};

}  // namespace polaiga::snmp
