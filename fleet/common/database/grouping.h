// Which alarms of one fault at one site make groups. There is no I/O here.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "model/moment.h"

namespace polaiga::fleet {

struct GroupableAlarm {
  std::int64_t alarm_no = 0;
  std::int64_t controller_id = 0;
  engine::Moment created = 0;
};

// What is known of a group that is there, and the alarms that come to it; or a new one, whose group_no is 0.
struct AlarmGroup {
  std::int64_t group_no = 0;
  engine::Moment first_created = 0;
  engine::Moment last_created = 0;
  std::vector<GroupableAlarm> members = {};  // that are new in it; ascending by created
};

// Puts alarms that are in no group yet into groups. A group's alarms all begin within `window` seconds, and a new one
// has alarms of at least `fewest` controllers. Answers with the groups that got members, the new ones last.
std::vector<AlarmGroup> group_alarms(std::vector<GroupableAlarm> alarms, std::span<const AlarmGroup> groups,
                                     std::int64_t window, int fewest);

}  // namespace polaiga::fleet
