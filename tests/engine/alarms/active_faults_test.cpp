#include "alarms/active_faults.h"

#include <gtest/gtest.h>

#include "model/fault.h"
#include "support/record.h"

namespace polaiga::engine {
namespace {

using test::make_record;

class ActiveFaultsTest : public ::testing::Test {
 protected:
  std::vector<std::string> active() const {
    std::vector<std::string> dns;
    for (const ActiveFault* fault : faults_.in_order()) dns.emplace_back(fault->record.fault_dn);
    return dns;
  }

  void expect_counts(const FaultCounts& want) const {
    const FaultCounts& got = faults_.counts();
    EXPECT_EQ(got.raised, want.raised);
    EXPECT_EQ(got.refreshed, want.refreshed);
    EXPECT_EQ(got.cleared, want.cleared);
    EXPECT_EQ(got.already_clear, want.already_clear);
    EXPECT_EQ(got.superseded, want.superseded);
    EXPECT_EQ(got.raised, got.cleared + got.superseded + faults_.size());
  }

  void expect(const test::RecordOf& of, Change change, bool superseded, Moment when = 1000) {
    const Outcome outcome = faults_.apply(make_record(of), when, ++sequence_);
    EXPECT_EQ(static_cast<int>(outcome.change), static_cast<int>(change));
    EXPECT_EQ(outcome.superseded, superseded);
  }

  ActiveFaults faults_;
  Sequence sequence_ = 0;
};

using Dns = std::vector<std::string>;

TEST_F(ActiveFaultsTest, RaiseAndClear) {
  expect({.dn = "a", .code = 395}, Change::kRaised, false);
  EXPECT_EQ(active(), Dns({"a/fault-F0395"}));
  expect({.dn = "a", .code = 395, .clear_code = 395, .state = 0}, Change::kCleared, false);
  EXPECT_EQ(active(), Dns());
  expect_counts({.raised = 1, .cleared = 1});
}

// Each outcome names the event that had raised what it is about.
TEST_F(ActiveFaultsTest, WhichEventRaisedIt) {
  EXPECT_EQ(faults_.apply(make_record({.dn = "a", .code = 395, .state = 0}), 1000, 1).raised, 0);
  EXPECT_EQ(faults_.apply(make_record({.dn = "a", .code = 395}), 1000, 2).raised, 2);
  EXPECT_EQ(faults_.apply(make_record({.dn = "a", .code = 395}), 1000, 3).raised, 2);
  const Outcome moved = faults_.apply(make_record({.dn = "a", .code = 396, .clear_code = 395}), 1000, 4);
  EXPECT_EQ(moved.raised, 4);
  EXPECT_EQ(moved.superseded_raised, 2);
  EXPECT_EQ(faults_.in_order().front()->raised, 4);
  EXPECT_EQ(faults_.apply(make_record({.dn = "a", .code = 396, .state = 0}), 1000, 5).raised, 4);
}

// A fault that an earlier run left is one like the others.
TEST_F(ActiveFaultsTest, Restored) {
  faults_.restore(
      {.record = make_record({.dn = "b", .code = 395}), .since = 7, .updated = 8, .reports = 3, .raised = 5});
  faults_.restore(
      {.record = make_record({.dn = "a", .code = 395}), .since = 8, .updated = 8, .reports = 1, .raised = 6});
  EXPECT_EQ(active(), Dns({"b/fault-F0395", "a/fault-F0395"}));
  const Outcome outcome = faults_.apply(make_record({.dn = "b", .code = 395}), 9, 20);
  EXPECT_EQ(outcome.change, Change::kRefreshed);
  EXPECT_EQ(outcome.raised, 5);
  EXPECT_EQ(faults_.in_order().front()->reports, 4U);
  EXPECT_EQ(faults_.in_order().front()->since, 7);
  EXPECT_EQ(faults_.withdraw("a/fault-F0395"), 6);
  expect_counts({.raised = 2, .refreshed = 1, .cleared = 1});
}

TEST_F(ActiveFaultsTest, ClearWithoutAClearCode) {
  expect({.dn = "a", .code = 395}, Change::kRaised, false);
  expect({.dn = "a", .code = 395, .clear_code = 0, .state = 0}, Change::kCleared, false);
  expect_counts({.raised = 1, .cleared = 1});
}

TEST_F(ActiveFaultsTest, ClearOfWhatIsNotActive) {
  expect({.dn = "a", .code = 395}, Change::kRaised, false);
  expect({.dn = "b", .code = 395, .clear_code = 395, .state = 0}, Change::kAlreadyClear, false);
  expect({.dn = "a", .code = 396, .clear_code = 396, .state = 0}, Change::kAlreadyClear, false);
  EXPECT_EQ(active(), Dns({"a/fault-F0395"}));
  expect_counts({.raised = 1, .already_clear = 2});
}

TEST_F(ActiveFaultsTest, AnActiveFaultIsRefreshed) {
  expect({.dn = "a", .descr = "first"}, Change::kRaised, false, 10);
  expect({.dn = "a", .descr = "second"}, Change::kRefreshed, false, 20);
  // State 4 keeps the fault that it names, since that is its own.
  expect({.dn = "a", .clear_code = 395, .state = 4, .descr = "third"}, Change::kRefreshed, false, 30);
  ASSERT_EQ(faults_.size(), 1U);
  const ActiveFault& fault = *faults_.in_order().front();
  EXPECT_STREQ(fault.record.descr, "third");
  EXPECT_EQ(fault.since, 10);
  EXPECT_EQ(fault.updated, 30);
  EXPECT_EQ(fault.reports, 3U);
  expect_counts({.raised = 1, .refreshed = 2});
}

TEST_F(ActiveFaultsTest, SupersedeOfTheSameObjectOnly) {
  expect({.dn = "a", .code = 395}, Change::kRaised, false);
  expect({.dn = "b", .code = 395}, Change::kRaised, false);
  expect({.dn = "a", .code = 396, .clear_code = 395, .state = 5}, Change::kRaised, true);
  EXPECT_EQ(active(), Dns({"b/fault-F0395", "a/fault-F0396"}));
  expect({.dn = "a", .code = 396, .clear_code = 395, .state = 5}, Change::kRefreshed, false);
  expect_counts({.raised = 3, .refreshed = 1, .superseded = 1});
}

TEST_F(ActiveFaultsTest, StateZeroRaisesWhenItClearsAnother) {
  expect({.dn = "a", .code = 395}, Change::kRaised, false);
  expect({.dn = "a", .code = 396, .clear_code = 395, .state = 0}, Change::kRaised, true);
  EXPECT_EQ(active(), Dns({"a/fault-F0396"}));
  expect_counts({.raised = 2, .superseded = 1});
}

TEST_F(ActiveFaultsTest, ARefreshMaySupersede) {
  expect({.dn = "a", .code = 396}, Change::kRaised, false);
  expect({.dn = "a", .code = 395}, Change::kRaised, false);
  expect({.dn = "a", .code = 396, .clear_code = 395, .state = 5}, Change::kRefreshed, true);
  expect_counts({.raised = 2, .refreshed = 1, .superseded = 1});
}

TEST_F(ActiveFaultsTest, Withdraw) {
  expect({.dn = "a", .code = 517}, Change::kRaised, false);
  EXPECT_FALSE(faults_.withdraw("a/fault-F0395"));
  EXPECT_TRUE(faults_.withdraw("a/fault-F0517"));
  EXPECT_FALSE(faults_.withdraw("a/fault-F0517"));
  expect_counts({.raised = 1, .cleared = 1});
}

TEST_F(ActiveFaultsTest, InTheOrderInWhichTheyWereRaised) {
  for (const char* dn : {"d", "a", "c", "b"}) expect({.dn = dn, .code = 1}, Change::kRaised, false);
  expect({.dn = "a", .code = 1}, Change::kRefreshed, false);
  expect({.dn = "d", .code = 1, .state = 0}, Change::kCleared, false);
  expect({.dn = "d", .code = 1}, Change::kRaised, false);
  EXPECT_EQ(active(), Dns({"a/fault-F0001", "c/fault-F0001", "b/fault-F0001", "d/fault-F0001"}));
}

TEST_F(ActiveFaultsTest, ALongDnIsCutAlike) {
  // 75 characters leave room for "/fau" only, so its faults are told apart no more.
  const std::string dn(75, 'x');
  EXPECT_EQ(fault_dn(dn, 395), dn + "/fau");
  EXPECT_EQ(fault_dn("a", 7), "a/fault-F0007");
  EXPECT_EQ(fault_dn("a", 12345), "a/fault-F12345");
  expect({.dn = dn.c_str(), .code = 395}, Change::kRaised, false);
  expect({.dn = dn.c_str(), .code = 395, .clear_code = 395, .state = 0}, Change::kCleared, false);
}

TEST(OnlyClears, NeedsStateZeroAndNoOtherFault) {
  EXPECT_TRUE(only_clears(make_record({.code = 395, .clear_code = 395, .state = 0})));
  EXPECT_TRUE(only_clears(make_record({.code = 395, .clear_code = 0, .state = 0})));
  EXPECT_FALSE(only_clears(make_record({.code = 395, .clear_code = 396, .state = 0})));
  EXPECT_FALSE(only_clears(make_record({.code = 395, .clear_code = 395, .state = 1})));
  EXPECT_FALSE(only_clears(make_record({.code = 395, .clear_code = 0, .state = -1})));
}

}  // namespace
}  // namespace polaiga::engine
