#include "tables/alarm_view.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "oids/numbers.h"

namespace polaiga::snmp {

using engine::ChangeNumber;
using engine::Severity;

std::uint32_t ObjectRow::count() const { return std::accumulate(alarms.begin(), alarms.end(), std::uint32_t{0}); }

Severity ObjectRow::worst() const {
  for (std::size_t i = alarms.size(); i > 0; --i) {
    if (alarms.at(i - 1) != 0) return static_cast<Severity>(i - 1);
  }
  return Severity::kCleared;
}

Oid listed_index(engine::Moment at, ChangeNumber number) {
  Oid index{0};
  add_time_index(index, at);
  index.push_back(static_cast<std::uint32_t>(number));
  return index;
}

void AlarmView::read_all() {
  counted_.clear();
  objects_.clear();
  by_time_.clear();
  counts_ = {};
  silenced_ = 0;
  ++comings_and_goings_;
  for (const auto& [number, alarm] : alarms_) add(number, alarm);
  for (const std::string& dn : maintained_) objects_[object_index(dn)].is_maintained = true;
}

void AlarmView::read(const std::vector<ChangeNumber>& touched) {
  for (const ChangeNumber number : touched) {
    const bool was_there = counted_.contains(number);
    take(number);
    const auto alarm = alarms_.find(number);
    if (alarm != alarms_.end()) add(number, alarm->second);
    if (was_there != (alarm != alarms_.end())) ++comings_and_goings_;
  }
}

void AlarmView::set_maintained(const std::set<std::string>& dns) {
  if (dns == maintained_) return;
  for (const std::string& dn : maintained_) {
    const auto object = objects_.find(object_index(dn));
    if (object == objects_.end()) continue;
    object->second.is_maintained = false;
    remove_if_empty(dn);
  }
  maintained_ = dns;
  for (const std::string& dn : maintained_) objects_[object_index(dn)].is_maintained = true;
}

const output::OutputAlarm* AlarmView::alarm(ChangeNumber number) const {
  const auto found = alarms_.find(number);
  return found == alarms_.end() ? nullptr : &found->second;
}

Severity AlarmView::worst_of(const std::string& dn) const {
  const auto object = objects_.find(object_index(dn));
  return object == objects_.end() ? Severity::kCleared : object->second.worst();
}

void AlarmView::take(ChangeNumber number) {
  const auto found = counted_.find(number);
  if (found == counted_.end()) return;
  const Counted& counted = found->second;
  --counts_.at(static_cast<std::size_t>(counted.severity));
  silenced_ -= counted.is_silenced ? 1 : 0;
  // Another alarm of the same time and number of fault may stand there by now.
  const auto listed = by_time_.find(counted.by_time);
  if (listed != by_time_.end() && listed->second == number) by_time_.erase(listed);
  const auto object = objects_.find(object_index(counted.dn));
  if (object != objects_.end()) {
    --object->second.alarms.at(static_cast<std::size_t>(counted.severity));
    object->second.out_of_service_alarms -= counted.is_out_of_service ? 1 : 0;
    remove_if_empty(counted.dn);
  }
  counted_.erase(found);
}

void AlarmView::add(ChangeNumber number, const output::OutputAlarm& alarm) {
  Counted counted{.by_time = listed_index(alarm.since, alarm.fault),
                  .dn = alarm.dn,
                  .severity = alarm.severity,
                  .is_silenced = alarm.is_silenced(),
                  .is_out_of_service = alarm.is_out_of_service};
  ++counts_.at(static_cast<std::size_t>(counted.severity));
  silenced_ += counted.is_silenced ? 1 : 0;
  by_time_.insert_or_assign(counted.by_time, number);
  ObjectRow& object = objects_[object_index(counted.dn)];
  ++object.alarms.at(static_cast<std::size_t>(counted.severity));
  object.out_of_service_alarms += counted.is_out_of_service ? 1 : 0;
  counted_.insert_or_assign(number, std::move(counted));
}

void AlarmView::remove_if_empty(const std::string& dn) {
  const auto object = objects_.find(object_index(dn));
  if (object == objects_.end() || object->second.count() != 0 || object->second.is_maintained) return;
  objects_.erase(object);
}

}  // namespace polaiga::snmp
