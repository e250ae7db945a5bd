// Everything that a manager can read, of one picture of a ledger.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "tables/alarm_tables.h"
#include "tables/change_table.h"
#include "tables/cleared_alarms.h"
#include "tables/scalar.h"
#include "tables/standard_tables.h"
#include "tables/tree.h"

namespace polaiga::snmp {

// What the objects of the ledger say.
struct LedgerFacts {
  std::string ledger_id = {};
  engine::ChangeNumber last = 0;
  engine::ChangeNumber oldest = 0;
  engine::ChangeNumber told = 0;
  std::string problem = {};
};

class ObjectTree {
 public:
  using Facts = std::function<LedgerFacts()>;

  // All must outlive this.
  ObjectTree(const Places& places, const AlarmView& view, const ChangeTable& changes, const ClearedAlarms& cleared,
             const Facts& facts, const StandardTables::LastChanged& last_changed);

  const Tree& tree() const { return tree_; }

 private:
  OwnedRegions owned_;
  StandardTables standard_;
  Tree tree_;
};

}  // namespace polaiga::snmp
