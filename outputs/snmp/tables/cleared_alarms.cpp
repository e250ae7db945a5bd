#include "tables/cleared_alarms.h"

#include <algorithm>

#include "tables/alarm_view.h"

namespace polaiga::snmp {

using engine::ChangeNumber;

void ClearedAlarms::begin(ChangeNumber last) {
  rows_.clear();
  order_.clear();
  number_ = std::max<ChangeNumber>(0, last - kLookBack);
}

bool ClearedAlarms::read_on(ChangeNumber last) {
  if (number_ >= last) return false;
  const engine::Feed feed = read_(number_, kAtOnce);
  if (feed.gap) {
    number_ = std::min(last, std::max(feed.gap->last, number_ + 1));
    return number_ < last;
  }
  for (const engine::StoredChange& one : feed.changes) {
    if (one.change.number <= last) add(change_row(one));
  }
  number_ = feed.through > number_ ? std::min(feed.through, last) : last;
  return number_ < last;
}

void ClearedAlarms::add(const ChangeRow& change) {
  if (!change.is_end() || change.is_quiet) return;
  const Oid index = listed_index(change.at, change.fault != 0 ? change.fault : change.alarm);
  if (rows_.insert_or_assign(index, ClearedAlarm{change.code, change.dn, change.number}).second)
    order_.push_back(index);
  while (order_.size() > kMost) {
    rows_.erase(order_.front());
    order_.pop_front();
  }
}

}  // namespace polaiga::snmp
