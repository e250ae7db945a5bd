#include "tables/cleared_alarms.h"

#include <gtest/gtest.h>

#include "tables/alarm_view.h"

namespace polaiga::snmp {
namespace cleared_alarms_test {

using engine::ChangeNumber;

class ClearedAlarmsTest : public testing::Test {
 protected:
  // Even numbers are the ends of the alarms that the odd ones before them raise.
  engine::Feed read(ChangeNumber after, std::size_t most) {
    engine::Feed feed;
    feed.through = after;
    if (after < gone_) {
      feed.gap = engine::Feed::Gap{after + 1, gone_};
      return feed;
    }
    for (std::size_t i = 0; i < most && feed.through < last_; ++i) {
      engine::StoredChange one;
      one.change.number = ++feed.through;
      const bool is_end = one.change.number % 2 == 0;
      one.change.alarm = one.change.fault = is_end ? one.change.number - 1 : one.change.number;
      one.change.kind = is_end ? engine::ChangeKind::kCleared : engine::ChangeKind::kRaised;
      one.change.after = is_end ? engine::Severity::kCleared : engine::Severity::kMinor;
      one.change.at = one.change.number;
      one.change.fault_dn = "fan/fault-F0395";
      one.change.is_quiet = one.change.number == quiet_;
      feed.changes.push_back(one);
    }
    return feed;
  }

  void read_all() {
    for (int i = 0; i < 100 && cleared_.read_on(last_); ++i) {
    }
  }

  ChangeNumber last_ = 0;
  ChangeNumber gone_ = 0;
  ChangeNumber quiet_ = 0;
  ClearedAlarms cleared_{[this](ChangeNumber after, std::size_t most) { return read(after, most); }};
};

TEST_F(ClearedAlarmsTest, FollowsTheEnds) {
  last_ = 5;
  quiet_ = 4;
  cleared_.begin(0);
  read_all();
  ASSERT_EQ(cleared_.rows().size(), 1U);
  EXPECT_EQ(cleared_.rows().begin()->first, listed_index(2, 1));
  EXPECT_EQ(cleared_.rows().begin()->second.code, 395U);
  EXPECT_EQ(cleared_.rows().begin()->second.change, 2);
  last_ = 6;
  read_all();
  EXPECT_EQ(cleared_.rows().size(), 2U);
}

TEST_F(ClearedAlarmsTest, KeepsTheLatest) {
  last_ = 4000;
  cleared_.begin(0);
  read_all();
  EXPECT_EQ(cleared_.rows().size(), ClearedAlarms::kMost);
  EXPECT_EQ(cleared_.rows().begin()->second.change, 3002);
  EXPECT_EQ(cleared_.rows().rbegin()->second.change, 4000);
}

TEST_F(ClearedAlarmsTest, WhatIsGoneIsPassed) {
  last_ = 100;
  gone_ = 97;
  cleared_.begin(100);
  read_all();
  EXPECT_EQ(cleared_.rows().size(), 2U);
}

}  // namespace cleared_alarms_test
}  // namespace polaiga::snmp
