#include "database/grouping.h"

#include <gtest/gtest.h>

#include <string>

namespace polaiga::fleet {
namespace grouping_test {

struct Case {
  const char* name;
  std::vector<GroupableAlarm> alarms;  // number, controller, when it began
  std::vector<AlarmGroup> groups;      // number, and when the first and the last alarm began
  const char* want;                    // "group: alarms; ..."
};

std::string text(const std::vector<AlarmGroup>& groups) {
  std::string text;
  for (const AlarmGroup& group : groups) {
    text += std::to_string(group.group_no) + ":";
    for (const GroupableAlarm& alarm : group.members) text += " " + std::to_string(alarm.alarm_no);
    text += " [" + std::to_string(group.first_created) + "," + std::to_string(group.last_created) + "];";
  }
  return text;
}

// A window of 60 s and at least three controllers.
TEST(Grouping, Cases) {
  const Case cases[] = {
      {"nothing", {}, {}, ""},
      {"two controllers", {{1, 1, 0}, {2, 2, 0}}, {}, ""},
      {"three", {{1, 1, 0}, {2, 2, 30}, {3, 3, 60}}, {}, "0: 1 2 3 [0,60];"},
      {"three that are too far apart", {{1, 1, 0}, {2, 2, 30}, {3, 3, 61}}, {}, ""},
      {"one controller three times", {{1, 1, 0}, {2, 1, 1}, {3, 1, 2}}, {}, ""},
      {"one of three twice", {{1, 1, 0}, {2, 1, 1}, {3, 2, 2}, {4, 3, 3}}, {}, "0: 1 2 3 4 [0,3];"},
      {"the order does not count", {{3, 3, 60}, {1, 1, 0}, {2, 2, 30}}, {}, "0: 1 2 3 [0,60];"},
      {"the first is alone", {{1, 1, 0}, {2, 2, 61}, {3, 3, 62}, {4, 4, 63}}, {}, "0: 2 3 4 [61,63];"},
      {"two groups",
       {{1, 1, 0}, {2, 2, 1}, {3, 3, 2}, {4, 1, 100}, {5, 2, 101}, {6, 3, 102}},
       {},
       "0: 1 2 3 [0,2];0: 4 5 6 [100,102];"},
      {"a late one joins", {{9, 9, 50}}, {{7, 0, 20}}, "7: 9 [0,50];"},
      {"an earlier one joins", {{9, 9, 0}}, {{7, 10, 20}}, "7: 9 [0,20];"},
      {"too late", {{9, 9, 61}}, {{7, 0, 20}}, ""},
      {"a group does not grow over the window", {{8, 8, 60}, {9, 9, 70}}, {{7, 0, 20}}, "7: 8 [0,60];"},
      {"the rest makes a group of its own",
       {{1, 1, 50}, {2, 2, 70}, {3, 3, 71}, {4, 4, 72}},
       {{7, 0, 20}},
       "7: 1 [0,50];0: 2 3 4 [70,72];"},
  };
  for (const Case& one : cases) EXPECT_EQ(text(group_alarms(one.alarms, one.groups, 60, 3)), one.want) << one.name;
}

}  // namespace grouping_test
}  // namespace polaiga::fleet
