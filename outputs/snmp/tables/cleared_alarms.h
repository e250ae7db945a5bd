// The alarms that ended last, for alarmClearTable.
#pragma once

#include <cstddef>
#include <functional>
#include <list>
#include <string>

#include "tables/change_row.h"
#include "tables/row_map.h"

namespace polaiga::snmp {

struct ClearedAlarm {
  std::uint32_t code = 0;
  std::string dn;
  engine::ChangeNumber change = 0;  // that ended it
};

class ClearedAlarms {
 public:
  static constexpr std::size_t kMost = 500;
  // So many changes are read at once, and at the start so many of those that were before.
  static constexpr std::size_t kAtOnce = 500;
  static constexpr engine::ChangeNumber kLookBack = 5000;

  using Read = std::function<engine::Feed(engine::ChangeNumber after, std::size_t most)>;

  explicit ClearedAlarms(Read read) : read_(std::move(read)) {}

  // The ledger is another one, or its changes up to `last` have to be read anew.
  void begin(engine::ChangeNumber last);
  // Reads on, up to change `last`; answers whether there is more to read. Throws LedgerError.
  bool read_on(engine::ChangeNumber last);

  const RowMap<ClearedAlarm>& rows() const { return rows_; }

 private:
  void add(const ChangeRow& change);

  Read read_;
  engine::ChangeNumber number_ = 0;
  RowMap<ClearedAlarm> rows_;
  std::list<Oid> order_;  // in which they ended
};

}  // namespace polaiga::snmp
