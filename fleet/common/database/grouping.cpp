#include "database/grouping.h"

#include <algorithm>
#include <set>
#include <utility>

namespace polaiga::fleet {
namespace {

// Takes an alarm into the first group whose alarms began within the window together with it.
bool joins(const GroupableAlarm& alarm, std::vector<AlarmGroup>& groups, std::int64_t window) {
  for (AlarmGroup& group : groups) {
    const engine::Moment first = std::min(group.first_created, alarm.created);
    const engine::Moment last = std::max(group.last_created, alarm.created);
    if (last - first > window) continue;
    group.first_created = first;
    group.last_created = last;
    group.members.push_back(alarm);
    return true;
  }
  return false;
}

std::size_t controllers_of(std::span<const GroupableAlarm> alarms) {
  std::set<std::int64_t> controllers;
  for (const GroupableAlarm& alarm : alarms) controllers.insert(alarm.controller_id);
  return controllers.size();
}

}  // namespace

std::vector<AlarmGroup> group_alarms(std::vector<GroupableAlarm> alarms, std::span<const AlarmGroup> groups,
                                     std::int64_t window, int fewest) {
  std::ranges::sort(alarms, {}, [](const GroupableAlarm& alarm) { return std::pair(alarm.created, alarm.alarm_no); });
  std::vector<AlarmGroup> known(groups.begin(), groups.end());
  std::erase_if(alarms, [&](const GroupableAlarm& alarm) { return joins(alarm, known, window); });
  std::erase_if(known, [](const AlarmGroup& group) { return group.members.empty(); });
  for (std::size_t first = 0; first < alarms.size();) {
    std::size_t end = first;
    while (end < alarms.size() && alarms[end].created - alarms[first].created <= window) ++end;
    const std::span<const GroupableAlarm> together(alarms.data() + first, end - first);
    if (controllers_of(together) < static_cast<std::size_t>(fewest)) {
      ++first;
      continue;
    }
    known.push_back({.group_no = 0,
                     .first_created = together.front().created,
                     .last_created = together.back().created,
                     .members = {together.begin(), together.end()}});
    first = end;
  }
  return known;
}

}  // namespace polaiga::fleet
