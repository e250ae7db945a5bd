#include "model/change.h"

#include <gtest/gtest.h>

namespace polaiga::engine {
namespace change_test {

TEST(ChangeKinds, WordsBothWays) {
  const std::pair<ChangeKind, const char*> kRows[] = {
      {ChangeKind::kRaised, "raised"},
      {ChangeKind::kRefreshed, "refreshed"},
      {ChangeKind::kPartlyCleared, "partly_cleared"},
      {ChangeKind::kCleared, "cleared"},
      {ChangeKind::kSuperseded, "superseded"},
      {ChangeKind::kWithdrawn, "withdrawn"},
      {ChangeKind::kMerged, "merged"},
  };
  for (const auto& [kind, word] : kRows) {
    EXPECT_EQ(change_word(kind), word);
    EXPECT_EQ(find_change(word), kind) << word;
  }
}

TEST(ChangeKinds, WhatIsNone) {
  for (const char* word : {"", "Raised", "raise", "raised ", "already_clear", "not_tracked"}) {
    EXPECT_EQ(find_change(word), std::nullopt) << word;
  }
}

TEST(Outcomes, WordsBothWays) {
  const std::pair<Outcome, const char*> kRows[] = {
      {Outcome::kRaised, "raised"},
      {Outcome::kRefreshed, "refreshed"},
      {Outcome::kPartlyCleared, "partly_cleared"},
      {Outcome::kCleared, "cleared"},
      {Outcome::kAlreadyClear, "already_clear"},
      {Outcome::kNotTracked, "not_tracked"},
  };
  for (const auto& [outcome, word] : kRows) {
    EXPECT_EQ(outcome_word(outcome), word);
    EXPECT_EQ(find_outcome(word), outcome) << word;
  }
}

TEST(Outcomes, WhatIsNone) {
  for (const char* word : {"", "Cleared", "superseded", "withdrawn", "merged", "already clear"}) {
    EXPECT_EQ(find_outcome(word), std::nullopt) << word;
  }
}

// Two changes are the same if they agree in every member.
TEST(Change, ComparesAllMembers) {
  const Change change{.number = 9,
                      .sequence = 8,
                      .kind = ChangeKind::kMerged,
                      .at = 7,
                      .fault_dn = "a/fault-F0395",
                      .fault = 6,
                      .alarm = 5,
                      .before = Severity::kMinor,
                      .after = Severity::kMajor,
                      .other = 4,
                      .shown = 3,
                      .reporters = 2};
  EXPECT_EQ(change, Change(change));
  const auto with = [&change](auto Change::*member, auto value) {
    Change other = change;
    other.*member = value;
    return other;
  };
  EXPECT_NE(change, with(&Change::number, ChangeNumber{1}));
  EXPECT_NE(change, with(&Change::sequence, Sequence{1}));
  EXPECT_NE(change, with(&Change::kind, ChangeKind::kRaised));
  EXPECT_NE(change, with(&Change::at, Moment{1}));
  EXPECT_NE(change, with(&Change::fault_dn, std::string("a/fault-F0396")));
  EXPECT_NE(change, with(&Change::fault, ChangeNumber{1}));
  EXPECT_NE(change, with(&Change::alarm, ChangeNumber{1}));
  EXPECT_NE(change, with(&Change::before, Severity::kWarning));
  EXPECT_NE(change, with(&Change::after, Severity::kWarning));
  EXPECT_NE(change, with(&Change::other, ChangeNumber{1}));
  EXPECT_NE(change, with(&Change::shown, Sequence{1}));
  EXPECT_NE(change, with(&Change::reporters, 1U));
}

}  // namespace change_test
}  // namespace polaiga::engine
