#include "core/recorder.h"

#include <gtest/gtest.h>

#include <memory>

#include "intake/event_parser.h"
#include "support/manual_clock.h"
#include "support/temp_dir.h"

namespace polaiga::engine {
namespace recorder_test {

using test::kToday;
using test::ManualClock;

class RecorderTest : public ::testing::Test {
 protected:
  static SensorEvent event(const std::string& more) {
    return parse_sensor_event(R"({"entity":"fan","sensor":"FAN1_TACH1","offset":3,)" + more + "}");
  }
  static SensorEvent slow(int fan) { return event(R"("state":1,"instance":)" + std::to_string(fan)); }

  // A recorder that goes on with a ledger, under the program's own tables.
  std::unique_ptr<Recorder> on(Ledger& ledger, const Recorder::Options& options = {}) const {
    auto recorder = std::make_unique<Recorder>(options, clock_, ledger);
    recorder->use_tables(read_host_tables(POLAIGA_TABLES_DIR), POLAIGA_TABLES_DIR);
    return recorder;
  }

  test::TempDir dir_;
  ManualClock clock_{kToday};
};

TEST_F(RecorderTest, NumbersInputsAndTellsWhatCameOfThem) {
  Recorder recorder({}, clock_);
  const Receipt first = recorder.record(slow(1));
  ASSERT_NE(first.input, nullptr);
  EXPECT_EQ(first.sequence, 1);
  EXPECT_FALSE(first.duplicate);
  EXPECT_TRUE(first.input->reported);
  EXPECT_EQ(first.input->outcome, Outcome::kRaised);
  EXPECT_STREQ(first.input->record.fault_dn, "sys/rack-unit-1/fan-module-1-1/fan-1/fault-F0395");
  ASSERT_EQ(first.input->changes.size(), 1U);
  EXPECT_EQ(first.input->changes[0].number, 1);
  EXPECT_EQ(first.input->changes[0].sequence, 1);
  const Receipt second = recorder.record(event(R"("state":0)"));
  EXPECT_EQ(second.sequence, 2);
  EXPECT_EQ(second.input->outcome, Outcome::kCleared);
  EXPECT_EQ(recorder.alarms().size(), 0U);
}

TEST_F(RecorderTest, TheTimeOfAnEventCountsUnlessItLiesBehindItsArrival) {
  Recorder recorder({}, clock_);
  EXPECT_EQ(recorder.record(event(R"("state":1)")).input->at, kToday);
  EXPECT_EQ(recorder.record(event(R"("state":1,"time":1700000000)")).input->at, 1'700'000'000);
  EXPECT_EQ(recorder.record(event(R"("state":1,"time":1800000000)")).input->at, kToday);
  EXPECT_EQ(recorder.record(event(R"("state":1,"time":1800000001)")).input->at, kToday);
  EXPECT_EQ(recorder.record(event(R"("state":1,"time":"9999-12-31T23:59:59Z")")).input->at, kToday);
}

TEST_F(RecorderTest, TellsHowFarTheClockWentBack) {
  Recorder recorder({}, clock_);
  EXPECT_EQ(recorder.clock_went_back(), 0);
  recorder.record(slow(1));
  EXPECT_EQ(recorder.clock_went_back(), 0);
  clock_.set(kToday - 3600);
  recorder.record(slow(1));
  EXPECT_EQ(recorder.clock_went_back(), 3600);
  recorder.record(slow(1));
  EXPECT_EQ(recorder.clock_went_back(), 0);
}

// A controller without a clock of its own begins in 1970.
TEST_F(RecorderTest, AClockThatBeginsAtItsFirstSecondHasNotGoneBack) {
  const ManualClock clock(0);
  Recorder recorder({}, clock);
  recorder.record(slow(1));
  EXPECT_EQ(recorder.clock_went_back(), 0);
}

TEST_F(RecorderTest, BeyondTheLimitAnEventIsRecordedAndItsFaultIsNotTracked) {
  Ledger ledger(dir_.file("ledger.db"), {}, kToday);
  const auto kept = on(ledger, {.most_reports = 2});
  Recorder& recorder = *kept;
  EXPECT_EQ(recorder.record(slow(1)).input->outcome, Outcome::kRaised);
  EXPECT_EQ(recorder.record(slow(2)).input->outcome, Outcome::kRaised);
  const Receipt third = recorder.record(slow(3));
  EXPECT_EQ(third.sequence, 3);
  EXPECT_EQ(third.input->outcome, Outcome::kNotTracked);
  EXPECT_TRUE(third.input->changes.empty());
  recorder.commit();
  EXPECT_EQ(ledger.last_sequence(), 3);
  EXPECT_EQ(ledger.last_change(), 2);
  EXPECT_EQ(recorder.alarms().size(), 2U);
}

TEST_F(RecorderTest, ABatchIsFullAtItsLimit) {
  Recorder recorder({.most_in_batch = 2}, clock_);
  EXPECT_FALSE(recorder.has_batch());
  recorder.record(slow(1));
  EXPECT_TRUE(recorder.has_batch());
  EXPECT_FALSE(recorder.is_full());
  recorder.record(slow(2));
  EXPECT_TRUE(recorder.is_full());
  recorder.commit();
  EXPECT_FALSE(recorder.has_batch());
  EXPECT_EQ(recorder.record(slow(3)).sequence, 3);
}

// An action may make a change of every active alarm.
TEST_F(RecorderTest, ABatchIsFullOfChangesToo) {
  Recorder recorder({.most_changes_in_batch = 5}, clock_);
  for (int fan = 1; fan <= 2; ++fan) recorder.record(slow(fan));
  EXPECT_FALSE(recorder.is_full());
  const OperatorAction comment{.kind = ActionKind::kComment, .comment = "x", .alarms = {1, 2}};
  recorder.act(OperatorAction(comment));
  EXPECT_FALSE(recorder.is_full());
  recorder.act(OperatorAction(comment));
  EXPECT_TRUE(recorder.is_full());
  recorder.commit();
  EXPECT_FALSE(recorder.is_full());
  for (int i = 0; i < 2; ++i) recorder.act(OperatorAction(comment));
  EXPECT_FALSE(recorder.is_full());
  recorder.record(slow(3));
  EXPECT_TRUE(recorder.is_full());
}

TEST_F(RecorderTest, AnIdIsTakenOnceInABatchAndLater) {
  Ledger ledger(dir_.file("ledger.db"), {}, kToday);
  const auto kept = on(ledger);
  Recorder& recorder = *kept;
  const SensorEvent named = event(R"("state":1,"id":"a")");
  EXPECT_EQ(recorder.record(SensorEvent(named)).sequence, 1);
  const Receipt again = recorder.record(SensorEvent(named));
  EXPECT_EQ(again.sequence, 1);
  EXPECT_TRUE(again.duplicate);
  EXPECT_EQ(again.input, nullptr);
  recorder.commit();
  EXPECT_TRUE(recorder.record(SensorEvent(named)).duplicate);
  EXPECT_FALSE(recorder.has_batch());
  EXPECT_EQ(recorder.record(slow(2)).sequence, 2);
}

// Who sends an event again after that says so on purpose: it happened once more.
TEST_F(RecorderTest, AnIdIsForgottenWithItsEvent) {
  Ledger ledger(dir_.file("ledger.db"), {.events = 50, .days = 0, .bytes = 0}, kToday);
  const auto kept = on(ledger);
  Recorder& recorder = *kept;
  const SensorEvent named = event(R"("state":0,"id":"a")");
  EXPECT_EQ(recorder.record(SensorEvent(named)).sequence, 1);
  recorder.commit();
  for (int i = 0; i < 300; ++i) {
    recorder.record(event(R"("state":0)"));
    if (i % 10 == 9) recorder.commit();
  }
  EXPECT_FALSE(recorder.record(SensorEvent(named)).duplicate);
}

TEST_F(RecorderTest, CountsWhatItTook) {
  Ledger ledger(dir_.file("ledger.db"), {}, kToday);
  const auto kept = on(ledger);
  Recorder& recorder = *kept;
  const SensorEvent named = event(R"("state":1,"id":"a")");
  recorder.record(SensorEvent(named));
  recorder.record(SensorEvent(named));
  recorder.record(event(R"("state":1)"));
  recorder.act({.kind = ActionKind::kComment, .comment = "x", .alarms = {1}});
  recorder.commit();
  const InputCounts& counts = recorder.counts();
  EXPECT_EQ(counts.events, 2U);
  EXPECT_EQ(counts.duplicates, 1U);
  EXPECT_EQ(counts.actions.at(static_cast<std::size_t>(ActionKind::kComment)), 1U);
  EXPECT_EQ(counts.changes.at(static_cast<std::size_t>(ChangeKind::kRaised)), 1U);
  EXPECT_EQ(counts.changes.at(static_cast<std::size_t>(ChangeKind::kRefreshed)), 1U);
  EXPECT_EQ(counts.changes.at(static_cast<std::size_t>(ChangeKind::kCommented)), 1U);
  EXPECT_EQ(counts.changes.at(static_cast<std::size_t>(ChangeKind::kCleared)), 0U);
}

TEST_F(RecorderTest, WhatTheLedgerRefusesStaysInTheBatch) {
  Ledger ledger(dir_.file("ledger.db"), {}, kToday);
  const auto kept = on(ledger);
  Recorder& recorder = *kept;
  recorder.record(slow(1));
  {
    const Database other(dir_.file("ledger.db"), Access::kReadWrite);
    other.exec("BEGIN IMMEDIATE");
    EXPECT_THROW(recorder.commit(), SqlError);
    EXPECT_TRUE(recorder.has_batch());
    EXPECT_EQ(ledger.last_sequence(), 0);
  }
  recorder.commit();
  EXPECT_FALSE(recorder.has_batch());
  EXPECT_EQ(ledger.last_sequence(), 1);
}

TEST_F(RecorderTest, ARestartGoesOnWithNumbersFaultsAndAge) {
  {
    Ledger ledger(dir_.file("ledger.db"), {}, kToday);
    const auto kept = on(ledger);
    Recorder& recorder = *kept;
    recorder.record(slow(1));
    clock_.pass(10);
    recorder.record(slow(2));
    recorder.commit();
  }
  clock_.pass(90);
  Ledger ledger(dir_.file("ledger.db"), {}, clock_.wall());
  const auto kept = on(ledger);
  Recorder& recorder = *kept;
  EXPECT_EQ(recorder.alarms().size(), 2U);
  const Receipt receipt = recorder.record(event(R"("state":0)"));
  EXPECT_EQ(receipt.sequence, 3);
  EXPECT_EQ(receipt.input->age, 100);
  ASSERT_EQ(receipt.input->changes.size(), 1U);
  EXPECT_EQ(receipt.input->changes[0].number, 3);
  EXPECT_EQ(receipt.input->changes[0].alarm, 1);
}

TEST_F(RecorderTest, ASilenceEndsInAtMost30Days) {
  constexpr std::int64_t kDay = 24 * 60 * 60;
  struct Case {
    std::int64_t lasts;  // seconds; 0: `until` says it
    Moment until;
    const char* refusal;  // empty: it is taken
  };
  const Case cases[] = {
      {1, 0, ""},
      {30 * kDay, 0, ""},
      {30 * kDay + 1, 0, "The end is more than 30 days ahead"},
      {0, kToday + 1, ""},
      {0, kToday + 30 * kDay, ""},
      {0, kToday + 30 * kDay + 1, "The end is more than 30 days ahead"},
      {0, kToday, "The end is in the past; it is 2027-01-15T08:00:00Z now"},
      {0, kToday - 1, "The end is in the past; it is 2027-01-15T08:00:00Z now"},
  };
  for (const Case& one : cases) {
    for (const ActionKind kind : {ActionKind::kShelve, ActionKind::kMaintain}) {
      SCOPED_TRACE(std::to_string(one.lasts) + " " + std::to_string(one.until));
      Recorder recorder({}, clock_);
      recorder.record(slow(1));
      OperatorAction action{.kind = kind};
      action.until = one.until;
      action.lasts = one.lasts;
      if (kind == ActionKind::kShelve) {
        action.alarms = {1};
      } else {
        action.dn = "sys/rack-unit-1";
      }
      std::string refusal;
      try {
        const Receipt taken = recorder.act(std::move(action));
        EXPECT_EQ(taken.input->action->until, one.until != 0 ? one.until : kToday + one.lasts);
      } catch (const ActionRefused& error) {
        refusal = error.what();
      }
      EXPECT_EQ(refusal, one.refusal);
    }
  }
}

// What an operator asks a second time with the same id has the answer of the first time; another wish has none.
TEST_F(RecorderTest, AnIdOfAnActionStaysWithThatAction) {
  Ledger ledger(dir_.file("ledger.db"), {}, kToday);
  const auto kept = on(ledger);
  Recorder& recorder = *kept;
  recorder.record(slow(1));
  const auto action = [](ActionKind kind, const char* comment) {
    OperatorAction made{.kind = kind, .comment = comment, .alarms = {1}};
    made.id = "w1";
    return made;
  };
  EXPECT_EQ(recorder.act(action(ActionKind::kAcknowledge, "seen")).sequence, 2);
  for (int i = 0; i < 2; ++i) {  // as long as it is in the batch, and when the ledger has it
    EXPECT_TRUE(recorder.act(action(ActionKind::kAcknowledge, "seen")).duplicate);
    for (const OperatorAction& other :
         {action(ActionKind::kClose, "seen"), action(ActionKind::kAcknowledge, "not seen")}) {
      try {
        recorder.act(OperatorAction(other));
        ADD_FAILURE() << "it was taken";
      } catch (const ActionRefused& error) {
        EXPECT_STREQ(
            error.what(),
            "The id 'w1' belongs to input 2, which was another action: acknowledge, 'seen'. Choose another id");
      }
    }
    recorder.commit();
  }
}

TEST_F(RecorderTest, TellsHowLongUntilSomethingEnds) {
  Recorder recorder({}, clock_);
  EXPECT_EQ(recorder.until_next_end(), std::nullopt);
  EXPECT_FALSE(recorder.end_what_is_over());
  recorder.record(slow(1));
  recorder.act({.kind = ActionKind::kShelve, .alarms = {1}, .lasts = 60});
  EXPECT_EQ(recorder.until_next_end(), 61);  // ages are cut to seconds, and it must not end before its time
  clock_.pass(60);
  EXPECT_EQ(recorder.until_next_end(), 1);
  EXPECT_FALSE(recorder.end_what_is_over());
  clock_.pass(5);
  EXPECT_EQ(recorder.until_next_end(), 0);
  EXPECT_TRUE(recorder.end_what_is_over());
  EXPECT_EQ(recorder.until_next_end(), std::nullopt);
  EXPECT_FALSE(recorder.end_what_is_over());
}

// A program may refuse host tables that the program before it took. It goes on without
// what the filters remember of the events that were handled under them.
TEST_F(RecorderTest, TablesThatAreNotTakenAnyMore) {
  const std::string path = dir_.file("ledger.db");
  {
    Ledger ledger(path, {}, kToday);
    const auto recorder = on(ledger);
    recorder->record(slow(1));
    recorder->record(parse_sensor_event(R"({"entity":"fan","sensor":"FAN2_TACH1","offset":2,"state":2})"));
    recorder->commit();
    ASSERT_FALSE(ledger.restore().filter_state.empty());
  }
  Database(path, Access::kReadWrite).exec("UPDATE tables SET cmc = 'no table'");
  Ledger ledger(path, {}, kToday);
  const auto recorder = on(ledger);
  ASSERT_EQ(recorder->news().size(), 1U);
  EXPECT_TRUE(
      recorder->news()[0].starts_with("This program does not take host tables that the ledger has: the "
                                      "ledger's tables/cmc.tsv:1:"))
      << recorder->news()[0];
  EXPECT_TRUE(
      recorder->news()[0].ends_with("What the filters remember of 1 events that were handled under them is lost."))
      << recorder->news()[0];
  EXPECT_GE(recorder->alarms().size(), 1U);
  EXPECT_EQ(recorder->record(slow(1)).sequence, 3);
}

}  // namespace recorder_test
}  // namespace polaiga::engine
