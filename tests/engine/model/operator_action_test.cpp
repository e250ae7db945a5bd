#include "model/operator_action.h"

#include <gtest/gtest.h>

namespace polaiga::engine {
namespace operator_action_test {

struct Words {
  ActionKind kind;
  const char* word;
  std::optional<ChangeKind> change;
  bool about_object;
};

constexpr Words kWords[] = {
    {ActionKind::kAcknowledge, "acknowledge", ChangeKind::kAcknowledged, false},
    {ActionKind::kUnacknowledge, "unacknowledge", ChangeKind::kUnacknowledged, false},
    {ActionKind::kClose, "close", ChangeKind::kClosed, false},
    {ActionKind::kComment, "comment", ChangeKind::kCommented, false},
    {ActionKind::kShelve, "shelve", ChangeKind::kShelved, false},
    {ActionKind::kUnshelve, "unshelve", ChangeKind::kUnshelved, false},
    {ActionKind::kMaintain, "maintain", ChangeKind::kOutOfService, true},
    {ActionKind::kEndMaintenance, "end_maintenance", ChangeKind::kBackInService, true},
    {ActionKind::kAcknowledgeMissed, "acknowledge_missed", std::nullopt, false},
};

TEST(OperatorAction, WordsAndChanges) {
  for (const Words& row : kWords) {
    EXPECT_EQ(action_word(row.kind), row.word);
    EXPECT_EQ(find_action(row.word), row.kind);
    EXPECT_EQ(change_of(row.kind), row.change) << row.word;
    EXPECT_EQ(is_about_object(row.kind), row.about_object) << row.word;
    if (row.change) {
      EXPECT_TRUE(is_of_operators(*row.change)) << row.word;
    }
  }
  EXPECT_EQ(find_action("acknowledged"), std::nullopt);
  EXPECT_FALSE(is_of_operators(ChangeKind::kMerged));
}

TEST(OperatorState, Words) {
  EXPECT_EQ(operator_state_word(OperatorState::kNone), "none");
  EXPECT_EQ(operator_state_word(OperatorState::kAcknowledged), "acknowledged");
  EXPECT_EQ(operator_state_word(OperatorState::kClosed), "closed");
  EXPECT_EQ(operator_state_word(OperatorState::kShelved), "shelved");
  EXPECT_EQ(operator_state_word(OperatorState::kUnshelved), "unshelved");
  EXPECT_EQ(find_operator_state("shelved"), OperatorState::kShelved);
  EXPECT_EQ(find_operator_state("un-shelved"), std::nullopt);
}

}  // namespace operator_action_test
}  // namespace polaiga::engine
