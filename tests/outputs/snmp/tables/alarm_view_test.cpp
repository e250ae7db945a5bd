#include "tables/alarm_view.h"

#include <gtest/gtest.h>

#include "oids/numbers.h"
#include "tables/alarm_tables.h"

namespace polaiga::snmp {
namespace alarm_view_test {

using engine::Severity;

class AlarmViewTest : public testing::Test {
 protected:
  void set(engine::ChangeNumber number, const std::string& dn, Severity severity, bool is_out_of_service = false) {
    output::OutputAlarm alarm;
    alarm.number = alarm.fault = number;
    alarm.dn = dn;
    alarm.severity = severity;
    alarm.since = 100 - number;
    alarm.is_out_of_service = is_out_of_service;
    alarms_[number] = alarm;
  }

  const ObjectRow* object(const std::string& dn) const {
    const auto found = view_.objects().find(object_index(dn));
    return found == view_.objects().end() ? nullptr : &found->second;
  }

  AlarmView::Alarms alarms_;
  AlarmView view_{alarms_};
};

TEST_F(AlarmViewTest, TheEndOfAnAlarmLeavesAnotherOneOfTheSameTimeAndFault) {
  set(1, "psu", Severity::kMinor);
  set(2, "psu", Severity::kMajor);
  alarms_.at(2).fault = alarms_.at(1).fault;
  alarms_.at(2).since = alarms_.at(1).since;
  view_.read_all();
  ASSERT_EQ(view_.by_time().size(), 1U);
  alarms_.erase(1);
  view_.read({1});
  ASSERT_EQ(view_.by_time().size(), 1U);
  EXPECT_EQ(view_.by_time().begin()->second, 2);
}

TEST_F(AlarmViewTest, CountsAndObjects) {
  set(1, "psu", Severity::kMinor);
  set(2, "psu", Severity::kCritical);
  set(3, "fan", Severity::kMinor, true);
  view_.read_all();
  EXPECT_EQ(view_.count(Severity::kMinor), 2U);
  EXPECT_EQ(view_.count(Severity::kCritical), 1U);
  EXPECT_EQ(view_.silenced(), 1U);
  EXPECT_EQ(view_.worst_of("psu"), Severity::kCritical);
  EXPECT_EQ(view_.worst_of("disk"), Severity::kCleared);
  EXPECT_TRUE(object("fan")->is_out_of_service());
  EXPECT_FALSE(object("psu")->is_out_of_service());
  // By the time of the raise, not by the number.
  ASSERT_EQ(view_.by_time().size(), 3U);
  EXPECT_EQ(view_.by_time().begin()->second, 3);

  set(2, "psu", Severity::kMajor);
  alarms_.erase(3);
  view_.read({2, 3, 4});
  EXPECT_EQ(view_.count(Severity::kCritical), 0U);
  EXPECT_EQ(view_.count(Severity::kMajor), 1U);
  EXPECT_EQ(view_.silenced(), 0U);
  EXPECT_EQ(object("psu")->count(), 2U);
  EXPECT_EQ(object("fan"), nullptr);
  EXPECT_EQ(view_.by_time().size(), 2U);
}

TEST_F(AlarmViewTest, ObjectsOutOfServiceWithoutAlarms) {
  set(1, "fan", Severity::kMinor, true);
  view_.set_maintained({"fan", "disk"});
  view_.read_all();
  ASSERT_NE(object("disk"), nullptr);
  EXPECT_EQ(object("disk")->count(), 0U);
  EXPECT_TRUE(object("disk")->is_out_of_service());
  // The alarm ends: the object stays as long as it is out of service.
  alarms_.clear();
  view_.read({1});
  EXPECT_NE(object("fan"), nullptr);
  view_.set_maintained({"fan"});
  EXPECT_EQ(object("disk"), nullptr);
  view_.set_maintained({});
  EXPECT_EQ(object("fan"), nullptr);
}

TEST_F(AlarmViewTest, ComingsAndGoings) {
  view_.read_all();
  const auto before = view_.comings_and_goings();
  set(1, "fan", Severity::kMinor);
  view_.read({1});
  EXPECT_EQ(view_.comings_and_goings(), before + 1);
  set(1, "fan", Severity::kMajor);
  view_.read({1});
  EXPECT_EQ(view_.comings_and_goings(), before + 1);
  alarms_.clear();
  view_.read({1});
  EXPECT_EQ(view_.comings_and_goings(), before + 2);
}

TEST_F(AlarmViewTest, RowsByNumber) {
  set(7, "fan", Severity::kMinor);
  set(9, "psu", Severity::kMajor);
  view_.read_all();
  const AlarmTable table(view_);
  EXPECT_EQ(table.get(kAlarmSeverity, Oid{9})->number, 5U);
  EXPECT_FALSE(table.get(kAlarmSeverity, Oid{8}));
  EXPECT_FALSE(table.get(kAlarmSeverity, Oid{}));
  EXPECT_EQ(table.next(kAlarmObjectDn, {})->index, Oid{7});
  const Oid seven{7};
  EXPECT_EQ(table.next(kAlarmObjectDn, {.index = seven, .is_inclusive = false})->value.text, "psu");
  const Oid nine{9, 1};
  EXPECT_FALSE(table.next(kAlarmObjectDn, {.index = nine, .is_inclusive = true}));
}

}  // namespace alarm_view_test
}  // namespace polaiga::snmp
