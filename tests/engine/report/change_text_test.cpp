#include "report/change_text.h"

#include <gtest/gtest.h>

#include "support/record.h"

namespace polaiga::engine {
namespace change_text_test {

const std::string kOwn = "sys/a/fault-F0396";
const std::string kOther = "sys/a/fault-F0395";

Change change(ChangeKind kind, std::uint32_t reporters, const std::string& fault_dn = kOwn) {
  return {.number = 4, .kind = kind, .fault_dn = fault_dn, .fault = 4, .alarm = 4, .reporters = reporters};
}

TEST(ChangeText, EachKind) {
  Change goes_on = change(ChangeKind::kRaised, 1);
  goes_on.alarm = 2;
  Change related = change(ChangeKind::kRaised, 1);
  related.other = 3;
  Change merged = change(ChangeKind::kMerged, 1);
  merged.other = 3;
  Change milder = change(ChangeKind::kRefreshed, 2);
  milder.before = Severity::kCritical;
  milder.after = Severity::kMinor;
  Change chattering = change(ChangeKind::kChattering, 1);
  chattering.raises = 7;
  Change settled = change(ChangeKind::kSettled, 0);
  settled.raises = 57;
  const std::pair<Change, const char*> kRows[] = {
      {chattering, "chattering, 7 raises"},
      {settled, "settled after 57 raises"},
      {milder, "refreshed, was critical, 2 report it"},
      {change(ChangeKind::kRaised, 1), "raised"},
      {goes_on, "raised, alarm 2 goes on"},
      {related, "raised, related to alarm 3"},
      {change(ChangeKind::kRefreshed, 1), "refreshed"},
      {change(ChangeKind::kRefreshed, 2), "refreshed, 2 report it"},
      {change(ChangeKind::kPartlyCleared, 1), "partly cleared, 1 still reports it"},
      {change(ChangeKind::kPartlyCleared, 3), "partly cleared, 3 still report it"},
      {change(ChangeKind::kCleared, 0), "cleared"},
      {change(ChangeKind::kSuperseded, 0), "superseded"},
      {change(ChangeKind::kWithdrawn, 0), "withdrawn"},
      {merged, "alarm 4 merged into alarm 3"},
  };
  for (const auto& [one, text] : kRows) EXPECT_EQ(change_text(one), text);
}

TEST(ConsequenceText, OfARecord) {
  Change goes_on = change(ChangeKind::kRaised, 1);
  goes_on.alarm = 1;
  Change merged = change(ChangeKind::kMerged, 1);
  merged.other = 1;
  const struct {
    Outcome outcome;
    std::vector<Change> changes;
    const char* text;
  } kRows[] = {
      {Outcome::kRaised, {change(ChangeKind::kRaised, 1)}, "raised"},
      {Outcome::kRaised, {change(ChangeKind::kSuperseded, 0, kOther), goes_on}, "raised, superseded F0395"},
      {Outcome::kRaised,
       {change(ChangeKind::kPartlyCleared, 1, kOther), change(ChangeKind::kRaised, 1)},
       "raised, F0395 partly cleared, 1 still reports it"},
      {Outcome::kRefreshed, {change(ChangeKind::kRefreshed, 2)}, "refreshed, 2 report it"},
      {Outcome::kRefreshed,
       {change(ChangeKind::kSuperseded, 0, kOther), merged, change(ChangeKind::kRefreshed, 1)},
       "refreshed, superseded F0395, alarm 4 merged into alarm 1"},
      {Outcome::kPartlyCleared, {change(ChangeKind::kPartlyCleared, 1)}, "partly cleared, 1 still reports it"},
      {Outcome::kCleared, {change(ChangeKind::kCleared, 0)}, "cleared"},
      {Outcome::kCleared,
       {change(ChangeKind::kWithdrawn, 0, kOther), change(ChangeKind::kCleared, 0)},
       "cleared, F0395 withdrawn"},
      {Outcome::kAlreadyClear, {}, "already clear"},
      {Outcome::kAlreadyClear, {change(ChangeKind::kWithdrawn, 0)}, "already clear, F0396 withdrawn"},
      {Outcome::kNotTracked, {}, "not tracked, because too many faults are active"},
      {Outcome::kNotTracked,
       {change(ChangeKind::kSuperseded, 0, kOther)},
       "not tracked, because too many faults are active, superseded F0395"},
  };
  for (const auto& row : kRows) {
    RecordedInput input;
    input.reported = true;
    input.record = test::make_record({.dn = "sys/a", .code = 396});
    input.outcome = row.outcome;
    input.changes = row.changes;
    EXPECT_EQ(consequence_text(input), row.text);
  }
}

TEST(FaultDnParts, DnAndCode) {
  EXPECT_EQ(parts_of(kOwn).dn, "sys/a");
  EXPECT_EQ(parts_of(kOwn).code, "F0396");
  EXPECT_EQ(parts_of("sys/a").dn, "sys/a");
  EXPECT_EQ(parts_of("sys/a").code, "");
}

}  // namespace change_text_test
}  // namespace polaiga::engine
