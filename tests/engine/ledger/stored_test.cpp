#include "ledger/stored.h"

#include <gtest/gtest.h>

namespace polaiga::engine {
namespace stored_test {

// "acknowledged by 2", after these actions one after the other: the state and the change that gave it.
std::string standing_after(const std::vector<ChangeKind>& kinds) {
  AlarmStanding standing;
  ChangeNumber number = 1;
  for (const ChangeKind kind : kinds) apply(standing, {.number = ++number, .kind = kind, .at = 1000, .action = {}});
  return std::string(operator_state_word(standing.state())) + " by " + std::to_string(state_change(standing));
}

TEST(StoredTest, ActionsGiveAnAlarmItsState) {
  using enum ChangeKind;
  EXPECT_EQ(standing_after({}), "none by 0");
  EXPECT_EQ(standing_after({kCommented}), "none by 0");
  EXPECT_EQ(standing_after({kAcknowledged}), "acknowledged by 2");
  EXPECT_EQ(standing_after({kAcknowledged, kCommented, kClosed}), "closed by 4");
  EXPECT_EQ(standing_after({kAcknowledged, kClosed, kUnacknowledged}), "none by 0");
  EXPECT_EQ(standing_after({kAcknowledged, kShelved}), "shelved by 3");
  EXPECT_EQ(standing_after({kAcknowledged, kShelved, kUnshelved}), "acknowledged by 2");
  EXPECT_EQ(standing_after({kShelved, kUnshelved}), "unshelved by 0");
  EXPECT_EQ(standing_after({kOutOfService, kBackInService}), "none by 0");
}

TEST(StoredTest, AShelfLastsUntilItsActionSays) {
  AlarmStanding standing;
  StoredAction action;
  action.until = 1060;
  apply(standing, {.number = 2, .kind = ChangeKind::kShelved, .at = 1000, .action = action});
  EXPECT_EQ(standing.shelved_until, 1060);
  apply(standing, {.number = 3, .kind = ChangeKind::kUnshelved, .at = 1010, .action = {}});
  EXPECT_EQ(standing.shelved_until, 0);
  apply(standing, {.number = 4, .kind = ChangeKind::kShelved, .at = 1020, .action = {}});  // what was done is gone
  EXPECT_EQ(standing.shelved, 4);
  EXPECT_EQ(standing.shelved_until, 0);
}

TEST(StoredTest, TellsWhoGaveAnAlarmItsState) {
  StoredAlarm alarm;
  alarm.actions = {{.number = 2, .kind = ChangeKind::kCommented, .at = 0, .action = {}},
                   {.number = 3, .kind = ChangeKind::kAcknowledged, .at = 0, .action = {}}};
  EXPECT_EQ(alarm.state_by(), nullptr);
  alarm.standing.acknowledged = 3;
  ASSERT_NE(alarm.state_by(), nullptr);
  EXPECT_EQ(alarm.state_by()->number, 3);
}

}  // namespace stored_test
}  // namespace polaiga::engine
