// ALARM-MIB and ITU-ALARM-MIB of RFC 3877, as far as they apply: what alarms there can be, those that are active, and
// those that ended last.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "oids/numbers.h"
#include "tables/alarm_view.h"
#include "tables/cleared_alarms.h"
#include "tables/scalar.h"
#include "tables/tree.h"

namespace polaiga::snmp {

class StandardTables {
 public:
  // sysUpTime when an alarm came or went last; 0: none has since the start.
  using LastChanged = std::function<std::uint32_t()>;

  // All must outlive this.
  StandardTables(const Places& places, const AlarmView& view, const ClearedAlarms& cleared,
                 const LastChanged& last_changed);

  const std::vector<Region>& regions() const { return owned_.regions; }

 private:
  OwnedRegions owned_;
  RowMap<engine::Severity> model_rows_;
  RowMap<engine::Severity> itu_model_rows_;
  RowMap<int> lists_;
};

}  // namespace polaiga::snmp
