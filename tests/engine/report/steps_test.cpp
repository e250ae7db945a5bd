#include "report/steps.h"

#include <gtest/gtest.h>

namespace polaiga::engine {
namespace steps_test {

StoredFault step(ChangeNumber number, Sequence raised, std::optional<Sequence> ended = std::nullopt,
                 ChangeKind ending = ChangeKind::kSuperseded) {
  StoredFault fault;
  fault.number = number;
  fault.raised = raised;
  fault.ended = ended;
  fault.ending = ending;
  return fault;
}

ChangeNumber number_of(const StoredFault* fault) { return fault != nullptr ? fault->number : 0; }

TEST(Steps, OneAfterTheOther) {
  StoredAlarm alarm;
  alarm.steps = {step(1, 10, 20), step(3, 20, 30), step(5, 30)};
  EXPECT_EQ(number_of(superseded_by(alarm, alarm.steps[0])), 3);
  EXPECT_EQ(number_of(superseded_by(alarm, alarm.steps[1])), 5);
  EXPECT_EQ(number_of(superseded_by(alarm, alarm.steps[2])), 0);
  EXPECT_TRUE(superseded(alarm, alarm.steps[0]).empty());
  ASSERT_EQ(superseded(alarm, alarm.steps[1]).size(), 1U);
  EXPECT_EQ(superseded(alarm, alarm.steps[1])[0]->number, 1);
}

// The second fault had an alarm of its own when the first one was superseded by it.
TEST(Steps, AMergedAlarm) {
  StoredAlarm alarm;
  alarm.steps = {step(1, 10, 20), step(2, 12, 40, ChangeKind::kCleared)};
  EXPECT_EQ(number_of(superseded_by(alarm, alarm.steps[0])), 2);
}

TEST(Steps, ClearedAndUnknown) {
  StoredAlarm alarm;
  alarm.steps = {step(1, 10, 20, ChangeKind::kCleared), step(3, 20)};
  EXPECT_EQ(superseded_by(alarm, alarm.steps[0]), nullptr);
  alarm.steps = {step(1, 10, 20)};  // what came next is not kept
  EXPECT_EQ(superseded_by(alarm, alarm.steps[0]), nullptr);
}

}  // namespace steps_test
}  // namespace polaiga::engine
