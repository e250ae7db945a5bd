#include <gtest/gtest.h>

#include <pqxx/transaction>

#include "database/duties.h"
#include "support/sent.h"
#include "support/test_postgres.h"

namespace polaiga::fleet {
namespace groups_test {

using namespace sent;
constexpr std::chrono::seconds kWindow{60};

class GroupsTest : public testing::Test {
 protected:
  TestDatabase test_;
  Database database_{test_.url("polaiga_collector"), "groups_test"};
  Intake intake_{database_};
  Duties duties_{database_};

  // An alarm of a controller that began so many seconds after noon.
  void raise(const std::string& controller, Moment after, const std::string& site = "lab", std::uint32_t code = 395) {
    const ChangeNumber number = ++numbers_[site + controller];
    ChangeMessage message = raised(number, kLedger, words(code));
    message.at = kNoon + after;
    message.after = number == 1 ? engine::Severity::kMajor : engine::Severity::kCritical;
    take(intake_, sender(controller, site), message);
  }
  std::string groups() {
    return test_.sql(
        "select s.name, g.code, g.name, g.description, g.alarms, g.controllers, g.worst, extract(epoch from "
        "g.first_created)::bigint - 1741780800, extract(epoch from g.last_created)::bigint - 1741780800 "
        "from alarm_group g join site s using (site_id) order by group_no");
  }
  std::string due() { return test_.sql("select count(*) from alarm where is_grouping_due"); }

  std::map<std::string, ChangeNumber> numbers_;
};

TEST_F(GroupsTest, ThreeControllersOfASite) {
  raise("rack-1", 10);
  raise("rack-2", 20);
  EXPECT_EQ(duties_.find_groups(kWindow), 2);
  EXPECT_EQ(groups(), "");
  EXPECT_EQ(due(), "0\n");
  EXPECT_EQ(duties_.find_groups(kWindow), 0);
  raise("rack-3", 70);
  EXPECT_EQ(duties_.find_groups(kWindow), 1);
  EXPECT_EQ(groups(), "lab|395|fltFanInoperable|Fan 1 is inoperable|3|3|4|10|70\n");
  EXPECT_EQ(test_.sql("select count(*) from alarm where group_no = 1"), "3\n");
  EXPECT_EQ(test_.sql("select first_alarm_no = (select min(alarm_no) from alarm) from alarm_group"), "t\n");
}

TEST_F(GroupsTest, ALateMemberJoins) {
  for (const char* const rack : {"rack-1", "rack-2", "rack-3"}) raise(rack, 10);
  duties_.find_groups(kWindow);
  raise("rack-4", 60);
  raise("rack-1", 61);  // a second alarm of one that is in it, and worse
  raise("rack-5", 71);  // too late
  EXPECT_EQ(duties_.find_groups(kWindow), 3);
  EXPECT_EQ(groups(), "lab|395|fltFanInoperable|Fan 1 is inoperable|5|4|5|10|61\n");
  EXPECT_EQ(test_.sql("select count(*) from alarm where group_no is null"), "1\n");
}

TEST_F(GroupsTest, OneControllerThriceIsNoGroup) {
  for (int i = 0; i < 3; ++i) raise("rack-1", i);
  raise("rack-2", 3);
  duties_.find_groups(kWindow);
  EXPECT_EQ(groups(), "");
}

TEST_F(GroupsTest, SitesAndCodesAreApart) {
  raise("rack-1", 0, "north");
  raise("rack-2", 0, "north");
  raise("rack-1", 0, "south");
  raise("rack-2", 0, "south");
  raise("rack-3", 0, "north", 396);
  duties_.find_groups(kWindow);
  EXPECT_EQ(groups(), "");
  raise("rack-4", 1, "north");
  raise("rack-4", 2, "south");
  duties_.find_groups(kWindow);
  EXPECT_EQ(groups(),
            "north|395|fltFanInoperable|Fan 1 is inoperable|3|3|4|0|1\n"
            "south|395|fltFanInoperable|Fan 1 is inoperable|3|3|4|0|2\n");
}

TEST_F(GroupsTest, SilentControllersAreAGroup) {
  for (const char* const rack : {"rack-1", "rack-2", "rack-3"}) take(intake_, sender(rack), lost());
  EXPECT_EQ(duties_.find_silent(std::chrono::seconds(100), duties_.now()), 3);
  duties_.find_groups(kWindow);
  EXPECT_EQ(test_.sql("select name, alarms, controllers from alarm_group"), "fltFleetControllerSilent|3|3\n");
}

// Alarms that another transaction writes right now are not waited for, and are in the group the next time.
TEST_F(GroupsTest, AlarmsThatAreBeingWritten) {
  raise("rack-1", 1);
  duties_.find_groups(kWindow);
  raise("rack-2", 2);
  raise("rack-3", 3);
  pqxx::connection other(test_.url());
  {
    pqxx::work writing(other);
    writing.exec("update polaiga.alarm set count = count + 1 where created = to_timestamp(1741780801)");
    EXPECT_EQ(duties_.find_groups(kWindow), 0);
    EXPECT_EQ(groups(), "");
    EXPECT_EQ(due(), "2\n");
  }
  EXPECT_EQ(duties_.find_groups(kWindow), 2);
  EXPECT_EQ(groups(), "lab|395|fltFanInoperable|Fan 1 is inoperable|3|3|4|1|3\n");
}

TEST_F(GroupsTest, AGroupWhoseAlarmsWentGoesToo) {
  for (const char* const rack : {"rack-1", "rack-2", "rack-3"}) raise(rack, 10);
  duties_.find_groups(kWindow);
  test_.sql("delete from alarm");
  duties_.tidy(std::chrono::hours(1), std::chrono::hours(1));
  EXPECT_EQ(groups(), "");
}

// The clocks of some controllers are wrong by years. Only alarms around the time of a new one are looked at.
TEST_F(GroupsTest, ClocksThatAreWrong) {
  take(intake_, sender("rack-0"), raised(1));
  test_.sql(
      "insert into alarm (controller_id, site_id, ledger_no, number, fault, last_change, fault_dn, dn, code, name, "
      "description, cause, severity, worst, created, since, updated, is_grouping_due) select controller_id, site_id, "
      "ledger_no, n, n, n, "
      "fault_dn, dn, 1, name, description, cause, severity, worst, now() + interval '1 y', since, updated, false from "
      "alarm, "
      "generate_series(2, 20003) n; "
      "update alarm set created = to_timestamp(0), is_grouping_due = true where number = 2; "
      "update alarm set created = now() + interval '2 y', is_grouping_due = true where number = 3");
  for (const char* const rack : {"rack-1", "rack-2", "rack-3"}) raise(rack, 10);
  duties_.find_groups(kWindow);
  EXPECT_EQ(groups(), "lab|395|fltFanInoperable|Fan 1 is inoperable|4|4|4|1|10\n");
  EXPECT_EQ(due(), "0\n");
}

}  // namespace groups_test
}  // namespace polaiga::fleet
