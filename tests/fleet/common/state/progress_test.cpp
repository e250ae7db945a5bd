#include <gtest/gtest.h>

#include <limits>

#include "state/controller_state.h"

namespace polaiga::fleet {
namespace progress_test {

LedgerProgress at(ChangeNumber through, ChangeNumber wanted_through = 0) {
  return {.through = through, .wanted_through = wanted_through};
}

struct Case {
  ChangeNumber previous;
  ChangeNumber number;  // of a gap: the last one
  Verdict verdict;
  LedgerProgress after;
};

// A receiver that has all changes up to 10.
TEST(Progress, Changes) {
  const Case cases[] = {
      {10, 11, Verdict::kTaken, at(11)},     {10, 15, Verdict::kTaken, at(15)},  // those between are never told
      {7, 12, Verdict::kTaken, at(12)},      {0, 11, Verdict::kTaken, at(11)},
      {9, 10, Verdict::kRepeat, at(10)},     {0, 1, Verdict::kRepeat, at(10)},
      {11, 12, Verdict::kEarly, at(10, 12)}, {100, 101, Verdict::kEarly, at(10, 101)},
  };
  for (const Case& one : cases) {
    LedgerProgress progress = at(10);
    const ChangeMessage change{.number = one.number, .previous = one.previous};
    EXPECT_EQ(take(change, progress), one.verdict) << one.previous << " " << one.number;
    EXPECT_EQ(progress, one.after) << one.previous << " " << one.number;
  }
}

TEST(Progress, WhatIsWantedDoesNotShrinkBeforeItIsThere) {
  LedgerProgress progress = at(10);
  EXPECT_EQ(take(ChangeMessage{.number = 20, .previous = 19}, progress), Verdict::kEarly);
  EXPECT_EQ(take(ChangeMessage{.number = 13, .previous = 12}, progress), Verdict::kEarly);
  EXPECT_EQ(progress, at(10, 20));
  EXPECT_EQ(take(ChangeMessage{.number = 11, .previous = 10}, progress), Verdict::kTaken);
  EXPECT_EQ(progress, at(11, 20));
}

LedgerProgress wants_list(ChangeNumber through, ChangeNumber wanted_through = 0) {
  return {.through = through, .wanted_through = wanted_through, .is_list_wanted = true};
}

TEST(Progress, WhenAnObjectIsBackTheListIsWanted) {
  LedgerProgress progress = at(10);
  ChangeMessage change{.number = 11, .previous = 10, .kind = engine::ChangeKind::kBackInService};
  change.alarm = 5;
  EXPECT_EQ(take(change, progress), Verdict::kTaken);
  EXPECT_EQ(progress, at(11)) << "that of the alarm says so itself";
  change.alarm = 0;
  change.number = 12;
  change.previous = 13;
  EXPECT_EQ(take(change, progress), Verdict::kEarly);
  EXPECT_FALSE(progress.is_list_wanted);
  change.previous = 11;
  EXPECT_EQ(take(change, progress), Verdict::kTaken);
  EXPECT_EQ(progress, wants_list(12, 12));
  progress = at(12);
  change.kind = engine::ChangeKind::kOutOfService;
  change.number = 13;
  EXPECT_EQ(take(change, progress), Verdict::kTaken);
  EXPECT_EQ(progress, at(13));
}

TEST(Progress, Gaps) {
  const Case cases[] = {
      {10, 20, Verdict::kTaken, wants_list(20)},
      {4, 20, Verdict::kTaken, wants_list(20)},
      {9, 10, Verdict::kRepeat, at(10)},
      {11, 20, Verdict::kEarly, at(10, 20)},
  };
  for (const Case& one : cases) {
    LedgerProgress progress = at(10);
    const GapMessage gap{.first = one.previous + 1, .last = one.number, .previous = one.previous};
    EXPECT_EQ(take(gap, progress), one.verdict) << one.previous << " " << one.number;
    EXPECT_EQ(progress, one.after) << one.previous << " " << one.number;
  }
}

TEST(Progress, ALedgerThatWasPutBack) {
  const GapMessage put_back{.first = 8, .last = 12, .previous = 12};
  LedgerProgress progress = at(12, 40);
  EXPECT_EQ(take(put_back, progress), Verdict::kTaken);
  EXPECT_EQ(progress.put_back_before, 8);
  EXPECT_EQ(take(put_back, progress), Verdict::kRepeat);
  EXPECT_EQ(take(GapMessage{.first = 9, .last = 12, .previous = 12}, progress), Verdict::kRepeat);
  finish_put_back(progress);
  EXPECT_EQ(progress, wants_list(7, 7));
  progress = at(3, 0);
  EXPECT_EQ(take(put_back, progress), Verdict::kTaken);
  finish_put_back(progress);
  EXPECT_EQ(progress, wants_list(3));
  // It goes on with other changes of the same numbers.
  progress = at(7);
  EXPECT_EQ(take(ChangeMessage{.number = 8, .previous = 7}, progress), Verdict::kTaken);
}

// What comes before all that is lost is deleted is wanted afterwards.
TEST(Progress, ALedgerThatIsBeingPutBackTakesNothing) {
  LedgerProgress progress = at(12);
  EXPECT_EQ(take(GapMessage{.first = 8, .last = 12, .previous = 12}, progress), Verdict::kTaken);
  EXPECT_EQ(next_request(progress), std::nullopt);
  EXPECT_EQ(take(ChangeMessage{.number = 8, .previous = 7}, progress), Verdict::kEarly);
  EXPECT_EQ(take(ChangeMessage{.number = 13, .previous = 12}, progress), Verdict::kEarly);
  EXPECT_EQ(take(GapMessage{.first = 14, .last = 15, .previous = 13}, progress), Verdict::kEarly);
  EXPECT_EQ(take(ReplayDone{.replay = "changes-20-1", .through = 20, .previous = 12}, progress), Verdict::kRepeat);
  EXPECT_EQ(take(ListMessage{.replay = "list-1", .number = 12, .through = 12, .is_last = true}, progress),
            Verdict::kRepeat);
  EXPECT_EQ(progress.through, 12);
  EXPECT_EQ(next_request(progress), std::nullopt);
  // It is put back farther.
  EXPECT_EQ(take(GapMessage{.first = 5, .last = 12, .previous = 12}, progress), Verdict::kTaken);
  EXPECT_EQ(take(ChangeMessage{.number = 5, .previous = 4}, progress), Verdict::kEarly);
  finish_put_back(progress);
  EXPECT_EQ(progress, wants_list(4, 5));
}

TEST(Progress, AGapEndsTheListThatIsOnItsWay) {
  LedgerProgress progress = at(10);
  progress.is_list_wanted = true;
  progress.list_after = 5;
  progress.asked_for = "list-1";
  EXPECT_EQ(take(GapMessage{.first = 11, .last = 12, .previous = 10}, progress), Verdict::kTaken);
  EXPECT_EQ(progress, wants_list(12));
}

TEST(Progress, AListInParts) {
  LedgerProgress progress = at(10);
  want_list(progress);
  progress.asked_for = "list-1";
  ListMessage part{.replay = "list-1", .number = 12, .after = 0, .through = 5};
  EXPECT_EQ(take(part, progress), Verdict::kTaken);
  EXPECT_EQ(progress.list_after, 5);
  EXPECT_EQ(take(part, progress), Verdict::kRepeat) << "it came twice";
  part.after = 8;
  part.through = 9;
  EXPECT_EQ(take(part, progress), Verdict::kRepeat) << "the one before it was lost";
  part.after = 5;
  part.through = 12;
  part.is_last = true;
  EXPECT_EQ(take(part, progress), Verdict::kTaken);
  EXPECT_EQ(progress, at(10));
  EXPECT_EQ(take(part, progress), Verdict::kRepeat) << "no list is wanted";
}

// It may be older than what made the list wanted again.
TEST(Progress, PartsOfAListThatWasAskedForBeforeAreNotTaken) {
  LedgerProgress progress = at(10);
  want_list(progress);
  progress.asked_for = "list-1";
  want_list(progress);
  const ListMessage part{.replay = "list-1", .number = 12, .after = 0, .through = 12, .is_last = true};
  EXPECT_EQ(take(part, progress), Verdict::kRepeat);
  progress.asked_for = "list-2";
  EXPECT_EQ(take(part, progress), Verdict::kRepeat);
  EXPECT_TRUE(progress.is_list_wanted);
}

TEST(Progress, AListThatNobodyAskedFor) {
  LedgerProgress progress = at(10);
  EXPECT_EQ(take(ListMessage{.replay = "x", .through = 12, .is_last = true}, progress), Verdict::kRepeat);
  want_list(progress);
  EXPECT_EQ(take(ListMessage{.replay = "", .through = 12, .is_last = true}, progress), Verdict::kRepeat);
  EXPECT_EQ(progress, wants_list(10));
}

TEST(Progress, TheEndOfAReplay) {
  struct {
    ReplayDone done;
    Verdict verdict;
    LedgerProgress after;
  } const cases[] = {
      {{.through = 20, .previous = 10}, Verdict::kTaken, at(20, 15)},  // 11 to 20 are never told
      {{.through = 20, .previous = 9}, Verdict::kTaken, at(20, 15)},
      {{.through = 20, .previous = 18}, Verdict::kEarly, at(10, 18)},  // the change 18 was lost
      {{.through = 20, .previous = 12}, Verdict::kEarly, at(10, 15)},
      {{.through = 10, .previous = 10}, Verdict::kRepeat, at(10, 15)},
      {{.through = 4, .previous = 4}, Verdict::kRepeat, at(10, 15)},
      {{.through = 20}, Verdict::kRepeat, at(10, 15)},  // an older program does not say what it told
  };
  for (const auto& [done, verdict, after] : cases) {
    LedgerProgress progress = at(10, 15);
    EXPECT_EQ(take(done, progress), verdict) << done.through;
    EXPECT_EQ(progress, after) << done.through;
  }
}

TEST(Progress, AnAnswerEndsItsRequest) {
  LedgerProgress progress = at(10, 15);
  progress.asked_for = "changes-1";
  take(ReplayDone{.replay = "changes-0", .through = 10, .previous = 10}, progress);
  EXPECT_EQ(progress.asked_for, "changes-1");
  take(ReplayDone{.replay = "changes-1", .through = 10, .previous = 10}, progress);
  EXPECT_EQ(progress.asked_for, "");
}

// As when a status from before the ledger was put back comes after that.
TEST(Progress, WhatIsBeyondTheEndOfTheLedgerIsNotAskedForAgain) {
  struct {
    ChangeNumber wanted;
    ChangeNumber done;
    LedgerProgress after;
  } const cases[] = {
      {200, 100, at(100, 100)},   // it ends where we are
      {200, 150, at(150, 150)},   // what is between is never told
      {5000, 900, at(900, 900)},  // not even the first part of what is wanted is there
      {5000, 1100, at(1100, 5000)}, {101, 101, at(101, 101)},
  };
  for (const auto& [wanted, done, after] : cases) {
    LedgerProgress progress = at(100, wanted);
    const auto request = next_request(progress);
    ASSERT_TRUE(request);
    progress.asked_for = request_id(*request, "1");
    take(ReplayDone{.replay = progress.asked_for, .through = done, .previous = 100}, progress);
    EXPECT_EQ(progress, after) << wanted << " " << done;
  }
  // A change that came meanwhile is asked for.
  LedgerProgress progress = at(100, 101);
  progress.asked_for = "changes-101-1";
  EXPECT_EQ(take(ChangeMessage{.number = 103, .previous = 102}, progress), Verdict::kEarly);
  take(ReplayDone{.replay = "changes-101-1", .through = 101, .previous = 101}, progress);
  EXPECT_EQ(next_request(progress), (Request{.first = 101, .last = 103}));
  // The id of a program before this one does not say it.
  progress = at(100, 200);
  progress.asked_for = "changes-1795000000000000";
  take(ReplayDone{.replay = progress.asked_for, .through = 150, .previous = 100}, progress);
  EXPECT_EQ(progress, at(150, 200));
}

TEST(Progress, AStatus) {
  LedgerProgress progress = at(10);
  take(StatusMessage{.told = 10, .at = 1000}, progress);
  EXPECT_EQ(next_request(progress), std::nullopt);
  EXPECT_EQ(progress.status_at, 1000);
  take(StatusMessage{.told = 14, .at = 1030}, progress);
  EXPECT_EQ(next_request(progress), (Request{.first = 11, .last = 14}));
  take(StatusMessage{.told = 12, .at = 990}, progress);  // an older one
  EXPECT_EQ(progress.status_at, 1030);
  EXPECT_EQ(progress.wanted_through, 14);
}

TEST(Progress, Requests) {
  EXPECT_EQ(next_request(at(10)), std::nullopt);
  EXPECT_EQ(next_request(at(10, 10)), std::nullopt);
  EXPECT_EQ(next_request(at(10, 11)), (Request{.first = 11, .last = 11}));
  EXPECT_EQ(next_request(at(10, 1010)), (Request{.first = 11, .last = 1010}));
  EXPECT_EQ(next_request(at(10, 1011)), (Request{.first = 11, .last = 1010}));
  constexpr ChangeNumber kLast = std::numeric_limits<ChangeNumber>::max();
  EXPECT_EQ(next_request(at(kLast - 10, kLast)), (Request{.first = kLast - 9, .last = kLast}));
  LedgerProgress progress = wants_list(10, 20);
  progress.list_after = 7;
  EXPECT_EQ(next_request(progress), (Request{.is_for_list = true, .after = 7}));
}

// One that knows no lists still tells its changes.
TEST(Progress, AListThatIsNotAnsweredLetsChangesGoFirst) {
  LedgerProgress progress = wants_list(10, 20);
  const auto first = next_request(progress);
  ASSERT_TRUE(first && first->is_for_list);
  progress.asked_for = request_id(*first, "1");
  EXPECT_EQ(progress.asked_for, "list-1");
  const auto second = next_request(progress);
  ASSERT_EQ(second, (Request{.first = 11, .last = 20}));
  progress.asked_for = request_id(*second, "2");
  EXPECT_EQ(progress.asked_for, "changes-20-2");
  EXPECT_EQ(next_request(progress), first) << "and then the list is tried again";
  progress = wants_list(10);
  progress.asked_for = "list-1";
  EXPECT_EQ(next_request(progress), first) << "there is nothing else to ask for";
}

}  // namespace progress_test
}  // namespace polaiga::fleet
