#include "tables/change_row.h"

#include <gtest/gtest.h>

namespace polaiga::snmp {
namespace change_row_test {

using engine::ChangeKind;
using enum engine::Severity;

engine::StoredChange change(ChangeKind kind, engine::Severity before, engine::Severity after) {
  engine::StoredChange stored;
  stored.change.number = 9;
  stored.change.alarm = 4;
  stored.change.kind = kind;
  stored.change.before = before;
  stored.change.after = after;
  stored.change.fault_dn = "sys/fan-1/fault-F0395";
  return stored;
}

TEST(ChangeRowTest, WhichNotificationTellsIt) {
  struct Row {
    ChangeKind kind;
    engine::Severity before;
    engine::Severity after;
    NotificationType type;
  };
  for (const Row& row : {
           Row{ChangeKind::kRaised, kCleared, kMinor, NotificationType::kRaised},
           Row{ChangeKind::kRaised, kMinor, kMajor, NotificationType::kChanged},
           Row{ChangeKind::kRefreshed, kMinor, kMinor, NotificationType::kChanged},
           Row{ChangeKind::kPartlyCleared, kMinor, kMinor, NotificationType::kChanged},
           Row{ChangeKind::kCleared, kMinor, kCleared, NotificationType::kCleared},
           Row{ChangeKind::kSuperseded, kMajor, kMinor, NotificationType::kChanged},
           Row{ChangeKind::kWithdrawn, kMinor, kCleared, NotificationType::kCleared},
           Row{ChangeKind::kMerged, kMinor, kCleared, NotificationType::kCleared},
           Row{ChangeKind::kAcknowledged, kMinor, kMinor, NotificationType::kChanged},
           Row{ChangeKind::kUnshelved, kMinor, kMinor, NotificationType::kChanged},
           Row{ChangeKind::kChattering, kMinor, kMinor, NotificationType::kChanged},
           Row{ChangeKind::kSettled, kCleared, kCleared, NotificationType::kCleared},
           Row{ChangeKind::kSettled, kMinor, kMinor, NotificationType::kChanged},
       }) {
    EXPECT_EQ(notification_of(change_row(change(row.kind, row.before, row.after))), row.type);
  }
  // An object has no severity, and is not over.
  engine::StoredChange object = change(ChangeKind::kOutOfService, kCleared, kCleared);
  object.change.alarm = 0;
  object.change.fault_dn = "sys/fan-1";
  EXPECT_EQ(notification_of(change_row(object)), NotificationType::kChanged);
}

TEST(ChangeRowTest, TheObjectOfAFault) {
  const ChangeRow row = change_row(change(ChangeKind::kAcknowledged, kMinor, kMinor));
  EXPECT_EQ(row.dn, "sys/fan-1");
  EXPECT_EQ(row.code, 395U);
  EXPECT_EQ(row.name, "fltEquipmentFanPerfThresholdNonCritical");
  engine::StoredChange object = change(ChangeKind::kOutOfService, kCleared, kCleared);
  object.change.alarm = 0;
  object.change.fault_dn = "sys/fan-1";
  EXPECT_EQ(change_row(object).dn, "sys/fan-1");
  EXPECT_EQ(change_row(object).fault_dn, "");
  EXPECT_EQ(change_row(object).code, 0U);
}

TEST(ChangeRowTest, Operators) {
  engine::StoredChange stored = change(ChangeKind::kShelved, kMinor, kMinor);
  stored.action.emplace();
  stored.action->person = "www";
  stored.action->comment = "silent";
  EXPECT_EQ(change_row(stored).person, "www");
  stored.action->on_behalf_of = "anna";
  EXPECT_EQ(change_row(stored).person, "anna");
  EXPECT_EQ(change_cell(kChangeComment, change_row(stored)).text, "silent");
  EXPECT_FALSE(is_cut(change_row(stored)));
  stored.action->comment = std::string(256, 'x');
  EXPECT_TRUE(is_cut(change_row(stored)));
}

TEST(ChangeRowTest, VariablesOfANotification) {
  const Places places(32473);
  const auto all =
      change_variables(places, "ab12", change_row(change(ChangeKind::kRaised, kCleared, kMajor)), 7, kCritical);
  ASSERT_EQ(all.size(), 24U);
  EXPECT_EQ(all[0].name, places.scalar(kLedgerArc, kLedgerId));
  EXPECT_EQ(all[0].value.text, "ab12");
  EXPECT_EQ(all[1].value.number, 9U);
  EXPECT_EQ(all[2].value.number, 7U);
  // The time and the type come before these, so the severity is where ALARM-MIB says that it is.
  EXPECT_EQ(all[kSeverityVariable - 3].name, places.change_column(kChangeAfter, 9));
  EXPECT_EQ(all[kSeverityVariable - 3].value.number, 5U);
  EXPECT_EQ(all[4].name, places.object_column(kObjectSeverity, "sys/fan-1"));
  EXPECT_EQ(all[4].value.number, 6U);
}

}  // namespace change_row_test
}  // namespace polaiga::snmp
