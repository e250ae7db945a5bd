// All objects that a manager can ask for, in the order of their identifiers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "oids/oid.h"
#include "oids/value.h"

namespace polaiga::snmp {

// Columns with rows. Throws engine::LedgerError when it has to read a ledger and cannot.
class Table {
 public:
  struct Cell {
    Oid index;
    Value value;
  };

  Table() = default;
  virtual ~Table() = default;
  Table(const Table&) = delete;
  Table& operator=(const Table&) = delete;

  // Nothing: there is no such row.
  virtual std::optional<Value> get(std::uint32_t column, OidView index) const = 0;
  virtual std::optional<Cell> next(std::uint32_t column, const RowStart& start) const = 0;
};

// A part of the tree: the columns of a table, or objects that are in no table.
struct Region {
  Oid prefix;                          // above the columns
  std::vector<std::uint32_t> columns;  // ascending
  const Table* table = nullptr;
};

class Tree {
 public:
  struct Found {
    Oid oid;
    Value value;
  };
  // Why there is no value.
  enum class Missing : std::uint8_t { kObject, kInstance };
  struct Answer {
    std::optional<Value> value;
    Missing missing = Missing::kObject;  // if there is no value
  };

  // No prefix may begin with another one.
  explicit Tree(std::vector<Region> regions);

  Answer get(OidView oid) const;

  // The first object after `oid`, or at it if `is_inclusive`, and before `end`; an empty `end` sets no limit.
  std::optional<Found> next(OidView oid, bool is_inclusive, OidView end) const;

 private:
  std::vector<Region> regions_;
};

}  // namespace polaiga::snmp
