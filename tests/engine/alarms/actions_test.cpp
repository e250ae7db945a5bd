// What operators do to alarms, step by step.
#include <gtest/gtest.h>

#include "alarms/alarms.h"
#include "model/fault.h"
#include "support/record.h"

namespace polaiga::engine {
namespace actions_test {

using test::make_record;
using Texts = std::vector<std::string>;

constexpr const char* kFan = "sys/fan-1";

// "7 shelved alarm 1 quiet", and "9 out_of_service of sys/fan-1" for an object.
std::string text_of(const Change& change) {
  std::string text = std::to_string(change.number) + " " + std::string(change_word(change.kind));
  text += change.alarm != 0 ? " alarm " + std::to_string(change.alarm) : " of " + change.fault_dn;
  return change.is_quiet ? text + " quiet" : text;
}

class ActionsTest : public ::testing::Test {
 protected:
  Texts told(const std::vector<Change>& changes) const {
    Texts texts;
    for (const Change& change : changes) texts.push_back(text_of(change));
    return texts;
  }

  // A record of one sensor. `clears` is the code that it supersedes or, with state 0, its own.
  Texts record(const std::string& dn, std::uint32_t code, std::uint32_t clears, std::int32_t state) {
    std::vector<Change> changes;
    alarms_.apply(make_record({.dn = dn.c_str(), .code = code, .clear_code = clears, .state = state}), {nullptr, dn, 0},
                  ++sequence_, kAt, changes);
    return told(changes);
  }
  Texts raise(const std::string& dn, std::uint32_t code = 395, std::uint32_t clears = 0) {
    return record(dn, code, clears, 1);
  }
  Texts clear(const std::string& dn, std::uint32_t code = 395) { return record(dn, code, code, 0); }

  Texts act(OperatorAction action) {
    std::vector<Change> changes;
    action.until_age = action.lasts;
    alarms_.act(action, ++sequence_, kAt, changes);
    return told(changes);
  }
  Texts act(ActionKind kind, std::vector<ChangeNumber> alarms, std::int64_t lasts = 0) {
    OperatorAction action{.kind = kind};
    action.alarms = std::move(alarms);
    action.lasts = lasts;
    return act(std::move(action));
  }
  Texts act_on(ActionKind kind, const std::string& dn, std::int64_t lasts = 0) {
    OperatorAction action{.kind = kind};
    action.dn = dn;
    action.lasts = lasts;
    return act(std::move(action));
  }
  std::string refusal_of(ActionKind kind, std::vector<ChangeNumber> alarms) {
    try {
      act(kind, std::move(alarms));
    } catch (const ActionRefused& refused) {
      return refused.what();
    }
    return "";
  }

  OperatorState state_of(const std::string& dn, std::uint32_t code = 395) const {
    return alarms_.find(fault_dn(dn, code))->standing.state();
  }

  static constexpr Moment kAt = 1'800'000'000;
  Alarms alarms_;
  Sequence sequence_ = 0;
};

TEST_F(ActionsTest, AnAcknowledgementLastsUntilTheAlarmIsOver) {
  EXPECT_EQ(raise(kFan), Texts{"1 raised alarm 1"});
  EXPECT_EQ(state_of(kFan), OperatorState::kNone);
  EXPECT_EQ(act(ActionKind::kAcknowledge, {1}), Texts{"2 acknowledged alarm 1"});
  EXPECT_EQ(state_of(kFan), OperatorState::kAcknowledged);
  EXPECT_EQ(raise(kFan), Texts{"3 refreshed alarm 1"});
  EXPECT_EQ(raise(kFan, 396, 395), (Texts{"4 superseded alarm 1", "5 raised alarm 1"}));
  EXPECT_EQ(state_of(kFan, 396), OperatorState::kAcknowledged);
  EXPECT_EQ(clear(kFan, 396), Texts{"6 cleared alarm 1"});
  EXPECT_EQ(raise(kFan), Texts{"7 raised alarm 7"});
  EXPECT_EQ(state_of(kFan), OperatorState::kNone);
}

TEST_F(ActionsTest, AnEscalationAsksForANewAcknowledgementIfThatIsWanted) {
  alarms_.renew_acknowledgements();
  raise(kFan);
  act(ActionKind::kAcknowledge, {1});
  EXPECT_EQ(raise(kFan, 396, 395), (Texts{"3 superseded alarm 1", "4 raised alarm 1", "5 unacknowledged alarm 1"}));
  EXPECT_EQ(state_of(kFan, 396), OperatorState::kNone);
  act(ActionKind::kAcknowledge, {1});
  // It gets better: nobody is asked.
  EXPECT_EQ(raise(kFan, 395, 396), (Texts{"7 superseded alarm 1", "8 raised alarm 1"}));
  EXPECT_EQ(state_of(kFan), OperatorState::kAcknowledged);
}

// Closing is an answer, too. An alarm also gets worse by a merge, and when its fault is reported with another severity.
TEST_F(ActionsTest, WhoeverGetsWorseIsToBeAnsweredAgain) {
  alarms_.renew_acknowledgements();
  raise(kFan);
  act(ActionKind::kAcknowledge, {1});
  act(ActionKind::kClose, {1});
  EXPECT_EQ(raise(kFan, 396, 395), (Texts{"4 superseded alarm 1", "5 raised alarm 1", "6 unacknowledged alarm 1"}));
  EXPECT_EQ(state_of(kFan, 396), OperatorState::kNone);

  Alarms merged;
  merged.renew_acknowledgements();
  std::vector<Change> changes;
  const Reporter one{nullptr, "one", 0};
  const Reporter two{nullptr, "two", 0};
  const fe_fault_record minor = make_record({.dn = kFan, .code = 395});
  const fe_fault_record major = make_record({.dn = kFan, .code = 396, .clear_code = 395});
  merged.apply(minor, one, 1, kAt, changes);
  merged.apply(major, two, 2, kAt, changes);
  merged.act({.kind = ActionKind::kAcknowledge, .alarms = {1, 2}}, 3, kAt, changes);
  EXPECT_EQ(merged.find(fault_dn(kFan, 396))->standing.state(), OperatorState::kAcknowledged);
  changes.clear();
  merged.apply(major, one, 4, kAt, changes);
  EXPECT_EQ(told(changes),
            (Texts{"5 superseded alarm 1", "6 merged alarm 2", "7 refreshed alarm 1", "8 unacknowledged alarm 1"}));
  EXPECT_EQ(merged.find(fault_dn(kFan, 396))->standing.state(), OperatorState::kNone);
}

TEST_F(ActionsTest, WhatTheStatesAre) {
  raise(kFan);
  act(ActionKind::kAcknowledge, {1});
  act(ActionKind::kClose, {1});
  EXPECT_EQ(state_of(kFan), OperatorState::kClosed);
  act(ActionKind::kShelve, {1}, 60);
  EXPECT_EQ(state_of(kFan), OperatorState::kShelved);
  act(ActionKind::kComment, {1});
  EXPECT_EQ(state_of(kFan), OperatorState::kShelved);
  act(ActionKind::kUnshelve, {1});
  EXPECT_EQ(state_of(kFan), OperatorState::kClosed);
  EXPECT_EQ(alarms_.find(fault_dn(kFan, 395))->standing.shelved_until, 0);
  EXPECT_EQ(alarms_.find(fault_dn(kFan, 395))->standing.shelved_until_age, 0);
  act(ActionKind::kUnacknowledge, {1});
  EXPECT_EQ(state_of(kFan), OperatorState::kUnshelved);
}

// The change tells who did it and when.
TEST_F(ActionsTest, WhatOperatorsDidIsKnownByItsChange) {
  raise(kFan);
  EXPECT_EQ(act(ActionKind::kAcknowledge, {1}), Texts{"2 acknowledged alarm 1"});
  EXPECT_EQ(act(ActionKind::kClose, {1}), Texts{"3 closed alarm 1"});
  EXPECT_EQ(act(ActionKind::kShelve, {1}, 60), Texts{"4 shelved alarm 1"});
  const AlarmStanding& standing = alarms_.find(fault_dn(kFan, 395))->standing;
  EXPECT_EQ(standing.acknowledged, 2);
  EXPECT_EQ(standing.closed, 3);
  EXPECT_EQ(standing.shelved, 4);
}

TEST_F(ActionsTest, AShelfKeepsOutputsQuietAboutWhatTheyDoNotKnow) {
  raise(kFan);
  // They know of the alarm, so they hear that it is silenced, and in the end that it is over.
  EXPECT_EQ(act(ActionKind::kShelve, {1}, 60), Texts{"2 shelved alarm 1"});
  EXPECT_EQ(raise(kFan), Texts{"3 refreshed alarm 1 quiet"});
  EXPECT_EQ(raise(kFan, 396, 395), (Texts{"4 superseded alarm 1 quiet", "5 raised alarm 1 quiet"}));
  EXPECT_EQ(act(ActionKind::kAcknowledge, {1}), Texts{"6 acknowledged alarm 1 quiet"});
  EXPECT_EQ(clear(kFan, 396), Texts{"7 cleared alarm 1"});
}

TEST_F(ActionsTest, MaintenanceSilencesAllBelowTheObject) {
  raise("sys/psu-1");
  raise("sys/psu-10");
  EXPECT_EQ(act_on(ActionKind::kMaintain, "sys/psu-1", 60),
            (Texts{"3 out_of_service alarm 1", "4 out_of_service of sys/psu-1"}));
  EXPECT_TRUE(alarms_.is_out_of_service("sys/psu-1/fault-F0395"));
  EXPECT_FALSE(alarms_.is_out_of_service("sys/psu-10/fault-F0395"));
  EXPECT_EQ(raise("sys/psu-1/fan-1"), Texts{"5 raised alarm 5 quiet"});
  EXPECT_EQ(clear("sys/psu-1/fan-1"), Texts{"6 cleared alarm 5 quiet"});
  EXPECT_EQ(raise("sys/psu-1/fan-2"), Texts{"7 raised alarm 7 quiet"});
  EXPECT_EQ(clear("sys/psu-1"), Texts{"8 cleared alarm 1"});
  // Who heard nothing of alarm 7 hears of it now.
  EXPECT_EQ(act_on(ActionKind::kEndMaintenance, "sys/psu-1"),
            (Texts{"9 back_in_service alarm 7", "10 back_in_service of sys/psu-1"}));
  EXPECT_EQ(clear("sys/psu-1/fan-2"), Texts{"11 cleared alarm 7"});
}

TEST_F(ActionsTest, AnAlarmIsSilentAsLongAsOneReasonIsLeft) {
  act_on(ActionKind::kMaintain, "sys/psu-1", 60);
  act_on(ActionKind::kMaintain, "sys", 60);
  EXPECT_EQ(raise("sys/psu-1"), Texts{"3 raised alarm 3 quiet"});
  act(ActionKind::kShelve, {3}, 60);
  EXPECT_EQ(act_on(ActionKind::kEndMaintenance, "sys"), Texts{"5 back_in_service of sys"});
  EXPECT_EQ(act_on(ActionKind::kEndMaintenance, "sys/psu-1"),
            (Texts{"6 back_in_service alarm 3 quiet", "7 back_in_service of sys/psu-1"}));
  EXPECT_EQ(act(ActionKind::kUnshelve, {3}), Texts{"8 unshelved alarm 3"});
}

TEST_F(ActionsTest, WhatIsNotPossibleIsRefusedAsAWhole) {
  raise(kFan);
  raise("sys/fan-2");
  clear("sys/fan-2");
  EXPECT_EQ(refusal_of(ActionKind::kAcknowledge, {1, 2}), "Alarm 2 is not active: it is over, or there never was one");
  EXPECT_EQ(state_of(kFan), OperatorState::kNone);
  EXPECT_EQ(refusal_of(ActionKind::kUnacknowledge, {1}), "Alarm 1 is neither acknowledged nor closed");
  EXPECT_EQ(refusal_of(ActionKind::kUnshelve, {1}), "Alarm 1 is not shelved");
  EXPECT_THROW(act_on(ActionKind::kEndMaintenance, "sys"), ActionRefused);
  EXPECT_EQ(alarms_.last_change(), 3);
}

TEST_F(ActionsTest, OnlySoManyObjectsAreOutOfService) {
  for (std::size_t i = 0; i < Alarms::kMostMaintenance; ++i) {
    act_on(ActionKind::kMaintain, "sys/psu-" + std::to_string(i), 60);
  }
  EXPECT_THROW(act_on(ActionKind::kMaintain, "sys/fan-1", 60), ActionRefused);
  EXPECT_EQ(act_on(ActionKind::kMaintain, "sys/psu-0", 90).size(), 1U);  // its end is moved
  EXPECT_EQ(alarms_.maintenance().at("sys/psu-0").until_age, 90);
}

TEST_F(ActionsTest, TellsWhatIsOver) {
  EXPECT_EQ(alarms_.next_end(), std::nullopt);
  raise("sys/fan-1");
  raise("sys/fan-2");
  act(ActionKind::kShelve, {1}, 60);
  act(ActionKind::kShelve, {2}, 50);
  act_on(ActionKind::kMaintain, "sys/psu-1", 70);
  EXPECT_EQ(alarms_.next_end(), 50);
  EXPECT_TRUE(alarms_.over(49).empty());
  auto actions = alarms_.over(60);
  ASSERT_EQ(actions.size(), 1U);
  EXPECT_EQ(actions[0].kind, ActionKind::kUnshelve);
  EXPECT_EQ(actions[0].alarms, (std::vector<ChangeNumber>{1, 2}));
  EXPECT_EQ(actions[0].person, "");
  EXPECT_EQ(act(actions[0]), (Texts{"6 unshelved alarm 1", "7 unshelved alarm 2"}));
  EXPECT_EQ(alarms_.next_end(), 70);
  actions = alarms_.over(70);
  ASSERT_EQ(actions.size(), 1U);
  EXPECT_EQ(actions[0].kind, ActionKind::kEndMaintenance);
  EXPECT_EQ(actions[0].dn, "sys/psu-1");
  act(actions[0]);
  EXPECT_EQ(alarms_.next_end(), std::nullopt);
}

TEST_F(ActionsTest, AShelfWhoseAlarmIsOverEndsNothing) {
  raise(kFan);
  act(ActionKind::kShelve, {1}, 60);
  clear(kFan);
  EXPECT_TRUE(alarms_.over(100).empty());
  EXPECT_EQ(alarms_.next_end(), std::nullopt);
}

// Two alarms that become one: the older goes on. It is silenced and answered only if the other one is, too.
TEST_F(ActionsTest, AMergedAlarmGoesOnWithWhatBothHave) {
  struct Case {
    std::vector<ActionKind> of_older;
    std::vector<ActionKind> of_other;
    Texts changes;  // between the merge and the refresh
    OperatorState state;
  };
  constexpr auto kAck = ActionKind::kAcknowledge;
  constexpr auto kClose = ActionKind::kClose;
  constexpr auto kShelve = ActionKind::kShelve;
  const Case cases[] = {
      {{}, {kAck}, {}, OperatorState::kNone},
      {{kAck}, {}, {"unacknowledged"}, OperatorState::kNone},
      {{kClose}, {}, {"unacknowledged"}, OperatorState::kNone},
      {{kAck}, {kAck}, {}, OperatorState::kAcknowledged},
      {{kClose}, {kAck}, {}, OperatorState::kClosed},
      {{kShelve}, {}, {"unshelved"}, OperatorState::kUnshelved},
      {{kShelve}, {kAck}, {"unshelved"}, OperatorState::kUnshelved},
      {{kShelve}, {kShelve}, {}, OperatorState::kShelved},
      {{kAck, kShelve}, {kShelve}, {"unacknowledged"}, OperatorState::kShelved},
      {{kAck, kShelve}, {}, {"unshelved", "unacknowledged"}, OperatorState::kUnshelved},
  };
  for (const Case& c : cases) {
    Alarms alarms;
    std::vector<Change> changes;
    const Reporter one{nullptr, "one", 0};
    const Reporter two{nullptr, "two", 0};
    alarms.apply(make_record({.dn = kFan, .code = 395}), one, 1, kAt, changes);
    alarms.apply(make_record({.dn = kFan, .code = 396}), two, 2, kAt, changes);
    for (const auto& [alarm, kinds] :
         {std::pair(ChangeNumber{1}, c.of_older), std::pair(ChangeNumber{2}, c.of_other)}) {
      for (const ActionKind kind : kinds) {
        alarms.act({.kind = kind, .alarms = {alarm}, .until = kAt + 60, .until_age = 60}, 3, kAt, changes);
      }
    }
    changes.clear();
    alarms.apply(make_record({.dn = kFan, .code = 396, .clear_code = 395}), one, 5, kAt, changes);
    Texts between;
    for (const Change& change : changes) {
      EXPECT_EQ(change.alarm, change.kind == ChangeKind::kMerged ? 2 : 1);
      if (is_of_operators(change.kind)) between.emplace_back(change_word(change.kind));
    }
    EXPECT_EQ(changes.back().kind, ChangeKind::kRefreshed);
    EXPECT_EQ(between, c.changes);
    EXPECT_EQ(alarms.find(fault_dn(kFan, 396))->standing.state(), c.state);
  }
}

TEST_F(ActionsTest, AMergedAlarmIsToldOfAgainWhenItsShelfEnds) {
  std::vector<Change> changes;
  const Reporter one{nullptr, "one", 0};
  const Reporter two{nullptr, "two", 0};
  alarms_.apply(make_record({.dn = kFan, .code = 395}), one, 1, kAt, changes);
  alarms_.apply(make_record({.dn = kFan, .code = 396}), two, 2, kAt, changes);
  act(ActionKind::kAcknowledge, {2});
  act(ActionKind::kShelve, {1}, 60);
  changes.clear();
  alarms_.apply(make_record({.dn = kFan, .code = 396, .clear_code = 395}), one, 5, kAt, changes);
  EXPECT_EQ(told(changes),
            (Texts{"5 superseded alarm 1 quiet", "6 merged alarm 2", "7 unshelved alarm 1", "8 refreshed alarm 1"}));
  EXPECT_EQ(state_of(kFan, 396), OperatorState::kUnshelved);
  EXPECT_EQ(alarms_.next_end(), std::nullopt);
}

TEST_F(ActionsTest, TakesUpWhatAnEarlierRunLeft) {
  ActiveFault fault;
  fault.fault_dn = fault_dn(kFan, 395);
  fault.code = 395;
  fault.fault = fault.alarm = 3;
  fault.reports.resize(1);
  fault.reports[0].reporter = {nullptr, kFan, 0};
  fault.standing = {.acknowledged = 4, .shelved = 5, .shelved_until = kAt, .shelved_until_age = 80};
  ActiveFault other = fault;
  other.fault_dn = fault_dn(kFan, 396);
  other.fault = other.alarm = 2;
  other.standing = {};
  Alarms alarms(Alarms::kMostReports, 7);
  alarms.restore(other);
  EXPECT_EQ(alarms.next_end(), std::nullopt);
  alarms.restore(fault);
  EXPECT_EQ(alarms.next_end(), 80);
  alarms.restore(Maintenance{.dn = "sys/psu-1", .since = 6, .since_at = kAt, .until = kAt, .until_age = 70});
  EXPECT_EQ(alarms.next_end(), 70);
  EXPECT_TRUE(alarms.is_out_of_service("sys/psu-1"));
  EXPECT_EQ(alarms.find(fault.fault_dn)->standing.state(), OperatorState::kShelved);
  std::vector<Change> changes;
  OperatorAction unshelve{.kind = ActionKind::kUnshelve};
  unshelve.alarms = {3};
  alarms.act(unshelve, 9, kAt, changes);
  EXPECT_EQ(told(changes), Texts{"8 unshelved alarm 3"});
  EXPECT_EQ(alarms.find(fault.fault_dn)->standing.state(), OperatorState::kAcknowledged);
}

}  // namespace actions_test
}  // namespace polaiga::engine
