#include <gtest/gtest.h>

#include "state/controller_state.h"

namespace polaiga::fleet {
namespace alarm_state_test {

using engine::ChangeKind;
using engine::OperatorState;
using engine::Severity;

const std::string kMinor = "sys/fan-1/fault-F0395";
const std::string kMajor = "sys/fan-1/fault-F0396";

FaultWords words(const std::string& fault_dn, std::uint32_t code, const std::string& description) {
  return {.fault_dn = fault_dn,
          .dn = "sys/fan-1",
          .code = code,
          .name = "fltFan",
          .sensor = "FAN1_TACH1",
          .description = description,
          .cause = "performance-problem",
          .oid = "1.3.6"};
}

// The raise of alarm 5.
ChangeMessage raised() {
  return {.number = 5,
          .previous = 4,
          .kind = ChangeKind::kRaised,
          .at = 1000,
          .alarm = 5,
          .fault = 5,
          .fault_dn = kMinor,
          .before = Severity::kCleared,
          .after = Severity::kMinor,
          .reporters = 1,
          .sequence = 50,
          .shown_sequence = 50,
          .record = words(kMinor, 395, "slow")};
}

// A later change of it, which leaves its severity as it is.
ChangeMessage change(ChangeKind kind, ChangeNumber number = 6) {
  ChangeMessage message = raised();
  message.number = number;
  message.previous = number - 1;
  message.kind = kind;
  message.at = 1000 + 10 * number;
  message.before = Severity::kMinor;
  message.record.reset();
  return message;
}

AlarmState new_alarm(ChangeNumber number = 5) { return {.number = number, .is_new = true}; }

AlarmState active() {
  AlarmState alarm = new_alarm();
  EXPECT_FALSE(apply(raised(), alarm));
  alarm.is_touched = false;
  return alarm;
}

TEST(AlarmState, IsRaised) {
  AlarmState alarm = new_alarm();
  EXPECT_FALSE(apply(raised(), alarm)) << "all of it is known";
  EXPECT_EQ(alarm.last_change, 5);
  EXPECT_EQ(alarm.fault, 5);
  EXPECT_EQ(alarm.words, words(kMinor, 395, "slow"));
  EXPECT_EQ(alarm.severity, Severity::kMinor);
  EXPECT_EQ(alarm.worst, Severity::kMinor);
  EXPECT_EQ(alarm.created, 1000);
  EXPECT_EQ(alarm.since, 1000);
  EXPECT_EQ(alarm.updated, 1000);
  EXPECT_FALSE(alarm.cleared);
  EXPECT_EQ(alarm.count, 1U);
  EXPECT_EQ(alarm.reporters, 1U);
  EXPECT_EQ(alarm.operator_state(), OperatorState::kNone);
  EXPECT_TRUE(alarm.is_active());
  EXPECT_TRUE(alarm.is_touched);
}

TEST(AlarmState, IsRefreshed) {
  AlarmState alarm = active();
  ChangeMessage refreshed = change(ChangeKind::kRefreshed);
  refreshed.record = words(kMinor, 395, "slower");
  refreshed.reporters = 2;
  refreshed.after = Severity::kWarning;  // the site's profile was changed
  EXPECT_FALSE(apply(refreshed, alarm));
  EXPECT_EQ(alarm.words.description, "slower");
  EXPECT_EQ(alarm.count, 2U);
  EXPECT_EQ(alarm.reporters, 2U);
  EXPECT_EQ(alarm.updated, 1060);
  EXPECT_EQ(alarm.since, 1000);
  EXPECT_EQ(alarm.created, 1000);
  EXPECT_EQ(alarm.severity, Severity::kWarning);
  EXPECT_EQ(alarm.worst, Severity::kMinor);
  EXPECT_TRUE(alarm.is_touched);
}

TEST(AlarmState, IsPartlyCleared) {
  AlarmState alarm = active();
  ChangeMessage partly = change(ChangeKind::kPartlyCleared);
  partly.record = words(kMinor, 395, "good again");
  partly.reporters = 1;
  EXPECT_FALSE(apply(partly, alarm));
  EXPECT_EQ(alarm.words.description, "slow") << "the record says what is not wrong any more";
  EXPECT_EQ(alarm.updated, 1000);
  EXPECT_EQ(alarm.count, 1U);
  EXPECT_TRUE(alarm.is_active());
  // The record that it shows now is known from another change.
  alarm.is_touched = false;
  show(words(kMinor, 395, "of another sensor"), alarm);
  EXPECT_EQ(alarm.words.description, "of another sensor");
  EXPECT_TRUE(alarm.is_touched);
  show(words(kMajor, 396, "of another fault"), alarm);
  EXPECT_EQ(alarm.words.description, "of another sensor");
}

TEST(AlarmState, EndsByEachWay) {
  for (const auto& [kind, word] : {std::pair{ChangeKind::kCleared, "cleared"},
                                   {ChangeKind::kWithdrawn, "withdrawn"},
                                   {ChangeKind::kMerged, "merged"},
                                   {ChangeKind::kSettled, "cleared"}}) {
    AlarmState alarm = active();
    alarm.raises = 4;
    ChangeMessage end = change(kind);
    end.after = Severity::kCleared;
    end.reporters = 0;
    end.record = words(kMinor, 395, "good again");
    if (kind == ChangeKind::kSettled) end.fault = 0;
    EXPECT_FALSE(apply(end, alarm));
    EXPECT_FALSE(alarm.is_active());
    EXPECT_EQ(alarm.end, word);
    EXPECT_EQ(alarm.cleared, 1060);
    EXPECT_EQ(alarm.severity, Severity::kMinor) << "the last one";
    EXPECT_EQ(alarm.words.description, "slow") << "what it showed";
    EXPECT_EQ(alarm.raises, 0U);
    EXPECT_EQ(alarm.last_change, 6);
    EXPECT_TRUE(alarm.is_touched);
  }
}

TEST(AlarmState, GoesOnAtAnotherLevel) {
  AlarmState alarm = active();
  ChangeMessage acknowledged = change(ChangeKind::kAcknowledged);
  acknowledged.person = "anna";
  apply(acknowledged, alarm);
  ChangeMessage superseded = change(ChangeKind::kSuperseded, 7);
  superseded.reporters = 0;
  EXPECT_FALSE(apply(superseded, alarm));
  EXPECT_TRUE(alarm.is_active()) << "until the raise that follows at once";
  EXPECT_EQ(alarm.severity, Severity::kMinor);
  ChangeMessage raise = raised();
  raise.number = raise.fault = 8;
  raise.at = 1080;
  raise.fault_dn = kMajor;
  raise.before = Severity::kMinor;
  raise.after = Severity::kMajor;
  raise.record = words(kMajor, 396, "very slow");
  EXPECT_FALSE(apply(raise, alarm));
  EXPECT_EQ(alarm.fault, 8);
  EXPECT_EQ(alarm.words, words(kMajor, 396, "very slow"));
  EXPECT_EQ(alarm.severity, Severity::kMajor);
  EXPECT_EQ(alarm.worst, Severity::kMajor);
  EXPECT_EQ(alarm.created, 1000);
  EXPECT_EQ(alarm.since, 1080);
  EXPECT_EQ(alarm.updated, 1080);
  EXPECT_EQ(alarm.count, 1U);
  EXPECT_EQ(alarm.reporters, 1U);
  EXPECT_EQ(alarm.operator_state(), OperatorState::kAcknowledged) << "it outlives the level";
}

TEST(AlarmState, GoesOnWithTheFaultOfAnAlarmThatWasMergedIntoIt) {
  AlarmState alarm = active();
  ChangeMessage refreshed = change(ChangeKind::kRefreshed);
  refreshed.fault = 3;
  refreshed.fault_dn = kMajor;
  refreshed.after = Severity::kMajor;
  refreshed.reporters = 2;
  refreshed.record = words(kMajor, 396, "very slow");
  EXPECT_TRUE(apply(refreshed, alarm)) << "since when the fault is there, and how often it came, is not told";
  EXPECT_EQ(alarm.fault, 3);
  EXPECT_EQ(alarm.words, words(kMajor, 396, "very slow"));
  EXPECT_EQ(alarm.severity, Severity::kMajor);
  EXPECT_EQ(alarm.reporters, 2U);
  EXPECT_EQ(alarm.created, 1000);
}

TEST(AlarmState, KeepsItsOwnFaultWhenItIsMergedIntoAnother) {
  AlarmState alarm = active();
  ChangeMessage merged = change(ChangeKind::kMerged);
  merged.after = Severity::kCleared;
  merged.fault = 3;
  merged.fault_dn = kMajor;
  merged.merged_into = 2;
  EXPECT_FALSE(apply(merged, alarm));
  EXPECT_EQ(alarm.words, words(kMinor, 395, "slow"));
  EXPECT_EQ(alarm.fault, 5);
}

TEST(AlarmState, WhatOperatorsDo) {
  struct Step {
    ChangeKind kind;
    OperatorState state;
    bool is_out_of_service;
    std::string acknowledged_by;
    bool asks_for_list;
  };
  const std::vector<Step> ways[] = {
      {{ChangeKind::kAcknowledged, OperatorState::kAcknowledged, false, "anna", false},
       {ChangeKind::kClosed, OperatorState::kClosed, false, "anna", false},
       {ChangeKind::kCommented, OperatorState::kClosed, false, "anna", false},
       {ChangeKind::kShelved, OperatorState::kShelved, false, "anna", false},
       {ChangeKind::kUnshelved, OperatorState::kClosed, false, "anna", true},
       {ChangeKind::kUnacknowledged, OperatorState::kUnshelved, false, "", false}},
      {{ChangeKind::kShelved, OperatorState::kShelved, false, "", false},
       {ChangeKind::kAcknowledged, OperatorState::kShelved, false, "anna", false},
       {ChangeKind::kOutOfService, OperatorState::kShelved, true, "anna", false},
       {ChangeKind::kBackInService, OperatorState::kShelved, false, "anna", true},
       {ChangeKind::kUnshelved, OperatorState::kAcknowledged, false, "anna", true},
       {ChangeKind::kUnacknowledged, OperatorState::kUnshelved, false, "", false},
       {ChangeKind::kShelved, OperatorState::kShelved, false, "", false}},
      {{ChangeKind::kClosed, OperatorState::kClosed, false, "", false},
       {ChangeKind::kUnacknowledged, OperatorState::kNone, false, "", false}},
  };
  for (const auto& way : ways) {
    AlarmState alarm = active();
    ChangeNumber number = 5;
    for (const Step& step : way) {
      alarm.is_touched = false;
      ChangeMessage message = change(step.kind, ++number);
      message.person = "anna";
      EXPECT_EQ(apply(message, alarm), step.asks_for_list) << change_word(step.kind);
      EXPECT_EQ(alarm.operator_state(), step.state) << change_word(step.kind);
      EXPECT_EQ(alarm.is_out_of_service, step.is_out_of_service) << change_word(step.kind);
      EXPECT_EQ(alarm.acknowledged_by, step.acknowledged_by) << change_word(step.kind);
      EXPECT_EQ(alarm.severity, Severity::kMinor);
      EXPECT_EQ(alarm.count, 1U);
      EXPECT_EQ(alarm.updated, 1000);
      EXPECT_EQ(alarm.words, words(kMinor, 395, "slow"));
      EXPECT_TRUE(alarm.is_touched);
    }
  }
}

TEST(AlarmState, Chatters) {
  AlarmState alarm = active();
  ChangeMessage chattering = change(ChangeKind::kChattering);
  chattering.raises = 7;
  chattering.record = words(kMinor, 395, "slow");
  EXPECT_FALSE(apply(chattering, alarm));
  EXPECT_EQ(alarm.raises, 7U);
  EXPECT_EQ(alarm.count, 1U);
  ChangeMessage settled = change(ChangeKind::kSettled, 30);
  settled.fault = 0;
  settled.shown_sequence = 90;
  settled.reporters = 2;
  settled.raises = 12;
  EXPECT_TRUE(apply(settled, alarm)) << "what happened meanwhile was not told";
  EXPECT_TRUE(alarm.is_active());
  EXPECT_EQ(alarm.raises, 0U);
  EXPECT_EQ(alarm.reporters, 2U);
  EXPECT_EQ(alarm.fault, 5);
}

TEST(AlarmState, SettlesWithAnotherAlarmInItsPlace) {
  ChangeMessage settled = change(ChangeKind::kSettled, 30);
  settled.alarm = 28;
  settled.in_place_of = 5;
  settled.fault = 0;
  settled.after = Severity::kMajor;
  EXPECT_EQ(alarms_of(settled), (std::vector<ChangeNumber>{28, 5}));
  AlarmState shown = active();
  EXPECT_FALSE(apply(settled, shown));
  EXPECT_EQ(shown.end, "cleared");
  EXPECT_EQ(shown.cleared, 1300);
  EXPECT_EQ(shown.severity, Severity::kMinor);
  AlarmState latest = new_alarm(28);
  EXPECT_TRUE(apply(settled, latest));
  EXPECT_TRUE(latest.is_active());
  EXPECT_EQ(latest.severity, Severity::kMajor);
  EXPECT_EQ(latest.words.fault_dn, kMinor);
}

TEST(AlarmState, AChangeTouches) {
  EXPECT_EQ(alarms_of(raised()), std::vector<ChangeNumber>{5});
  EXPECT_EQ(alarms_of(ChangeMessage{.kind = ChangeKind::kOutOfService, .dn = "sys"}), std::vector<ChangeNumber>{});
  ChangeMessage merged = change(ChangeKind::kMerged);
  merged.merged_into = 2;
  EXPECT_EQ(alarms_of(merged), std::vector<ChangeNumber>{5}) << "what becomes of the other one has changes of its own";
}

// What was raised in maintenance is told of when that is over.
TEST(AlarmState, OfWhoseBeginningNothingWasTold) {
  AlarmState alarm = new_alarm();
  EXPECT_TRUE(apply(change(ChangeKind::kBackInService), alarm));
  EXPECT_TRUE(alarm.is_active());
  EXPECT_EQ(alarm.words.fault_dn, kMinor);
  EXPECT_EQ(alarm.words.dn, "sys/fan-1");
  EXPECT_EQ(alarm.words.code, 395U);
  EXPECT_EQ(alarm.words.name, engine::fault_name(395));
  EXPECT_NE(alarm.words.name, "");
  EXPECT_EQ(alarm.words.description, "");
  EXPECT_EQ(alarm.severity, Severity::kMinor);
  EXPECT_EQ(alarm.created, 1060);
  EXPECT_EQ(alarm.fault, 5);
}

// Else a list that is older than this would bring it back.
TEST(AlarmState, OfWhichOnlyTheEndIsTold) {
  AlarmState alarm = new_alarm();
  ChangeMessage cleared = change(ChangeKind::kCleared);
  cleared.after = Severity::kCleared;
  EXPECT_FALSE(apply(cleared, alarm)) << "no list has it";
  EXPECT_EQ(alarm.end, "cleared");
  EXPECT_EQ(alarm.severity, Severity::kMinor);
  EXPECT_EQ(alarm.worst, Severity::kMinor);
  EXPECT_EQ(alarm.words.fault_dn, kMinor);
  ListedAlarm listed{.number = 5, .fault = 5, .words = words(kMinor, 395, "slow"), .severity = Severity::kMinor};
  apply(listed, 5, alarm);
  EXPECT_EQ(alarm.end, "cleared");
}

TEST(AlarmState, OfADnThatIsNoFaults) {
  AlarmState alarm = new_alarm();
  ChangeMessage odd = change(ChangeKind::kAcknowledged);
  odd.fault_dn = "odd";
  EXPECT_TRUE(apply(odd, alarm));
  EXPECT_EQ(alarm.words.dn, "odd");
  EXPECT_EQ(alarm.words.code, 0U);
}

TEST(AlarmState, ARaiseAtAnotherLevelOfAnAlarmThatIsNotKnown) {
  AlarmState alarm = new_alarm();
  ChangeMessage raise = raised();
  raise.number = raise.fault = 8;
  EXPECT_TRUE(apply(raise, alarm)) << "since when the alarm is there is not told";
  EXPECT_EQ(alarm.words, words(kMinor, 395, "slow"));
}

TEST(AlarmState, ARepeatChangesNothing) {
  AlarmState alarm = active();
  const ChangeMessage cleared = [] {
    ChangeMessage message = change(ChangeKind::kCleared, 5);
    message.after = Severity::kCleared;
    return message;
  }();
  EXPECT_FALSE(apply(cleared, alarm));
  EXPECT_TRUE(alarm.is_active());
  EXPECT_FALSE(alarm.is_touched);
}

ListedAlarm listed() {
  return {.number = 5,
          .fault = 9,
          .words = words(kMajor, 396, "very slow"),
          .severity = Severity::kMajor,
          .created = 900,
          .since = 950,
          .updated = 990,
          .count = 4,
          .reporters = 3,
          .operator_state = OperatorState::kNone,
          .is_out_of_service = true,
          .raises = 8};
}

TEST(AlarmState, AsAListHasIt) {
  for (AlarmState alarm : {new_alarm(), active()}) {
    apply(listed(), 20, alarm);
    EXPECT_EQ(alarm.last_change, 20);
    EXPECT_EQ(alarm.fault, 9);
    EXPECT_EQ(alarm.words, words(kMajor, 396, "very slow"));
    EXPECT_EQ(alarm.severity, Severity::kMajor);
    EXPECT_EQ(alarm.worst, Severity::kMajor);
    EXPECT_EQ(alarm.created, 900);
    EXPECT_EQ(alarm.since, 950);
    EXPECT_EQ(alarm.updated, 990);
    EXPECT_EQ(alarm.count, 4U);
    EXPECT_EQ(alarm.reporters, 3U);
    EXPECT_TRUE(alarm.is_out_of_service);
    EXPECT_EQ(alarm.raises, 8U);
    EXPECT_TRUE(alarm.is_active());
    EXPECT_TRUE(alarm.is_touched);
  }
}

TEST(AlarmState, AnOlderListTellsWhenItBegan) {
  AlarmState alarm = active();
  apply(listed(), 4, alarm);
  EXPECT_EQ(alarm.created, 900);
  EXPECT_EQ(alarm.last_change, 5);
  EXPECT_EQ(alarm.fault, 5) << "the list has a fault that is over";
  EXPECT_EQ(alarm.since, 1000);
  EXPECT_EQ(alarm.count, 1U);
  EXPECT_EQ(alarm.words, words(kMinor, 395, "slow"));
  EXPECT_EQ(alarm.severity, Severity::kMinor);
  EXPECT_FALSE(alarm.is_out_of_service);
  EXPECT_EQ(alarm.raises, 0U);
  EXPECT_TRUE(alarm.is_touched);
  apply(listed(), 5, alarm);
  EXPECT_EQ(alarm.fault, 9);
}

// A change came between the request for the list and its answer.
TEST(AlarmState, AnOlderListTellsWhatIsNotKnown) {
  AlarmState alarm = new_alarm();
  ChangeMessage back = change(ChangeKind::kBackInService);
  back.fault = 9;
  back.fault_dn = kMajor;
  EXPECT_TRUE(apply(back, alarm));
  ChangeMessage acknowledged = change(ChangeKind::kAcknowledged, 8);
  acknowledged.fault = 9;
  acknowledged.fault_dn = kMajor;
  EXPECT_FALSE(apply(acknowledged, alarm));
  apply(listed(), 7, alarm);
  EXPECT_EQ(alarm.words, words(kMajor, 396, "very slow"));
  EXPECT_EQ(alarm.created, 900);
  EXPECT_EQ(alarm.since, 950);
  EXPECT_EQ(alarm.count, 4U);
  EXPECT_EQ(alarm.operator_state(), OperatorState::kAcknowledged);
  EXPECT_FALSE(alarm.is_out_of_service) << "it was when the list was made";
  // What it shows by now is newer than what a list that is older still has.
  alarm.words.description = "newer";
  alarm.count = 7;
  apply(listed(), 7, alarm);
  EXPECT_EQ(alarm.words.description, "newer");
  EXPECT_EQ(alarm.count, 7U);
}

TEST(AlarmState, OperatorStatesOfAList) {
  constexpr OperatorState kAll[] = {OperatorState::kNone, OperatorState::kAcknowledged, OperatorState::kClosed,
                                    OperatorState::kShelved, OperatorState::kUnshelved};
  for (const OperatorState before : kAll) {
    for (const OperatorState after : kAll) {
      AlarmState alarm = active();
      ListedAlarm one = listed();
      one.operator_state = before;
      apply(one, 20, alarm);
      EXPECT_EQ(alarm.operator_state(), before);
      one.operator_state = after;
      apply(one, 21, alarm);
      EXPECT_EQ(alarm.operator_state(), after) << operator_state_word(before) << " " << operator_state_word(after);
    }
  }
}

TEST(AlarmState, AListKeepsWhoAcknowledged) {
  AlarmState alarm = active();
  ChangeMessage acknowledged = change(ChangeKind::kAcknowledged);
  acknowledged.person = "anna";
  apply(acknowledged, alarm);
  ListedAlarm one = listed();
  one.operator_state = OperatorState::kAcknowledged;
  apply(one, 20, alarm);
  EXPECT_EQ(alarm.acknowledged_by, "anna");
  one.operator_state = OperatorState::kNone;
  apply(one, 21, alarm);
  EXPECT_EQ(alarm.acknowledged_by, "");
}

TEST(AlarmState, IsMissingInAList) {
  AlarmState alarm = active();
  miss(4, 2000, alarm);
  EXPECT_TRUE(alarm.is_active()) << "the list is older than the alarm";
  miss(20, 2000, alarm);
  EXPECT_EQ(alarm.end, "missing");
  EXPECT_EQ(alarm.cleared, 2000);
  EXPECT_EQ(alarm.last_change, 20);
  // How it ended comes later.
  ChangeMessage cleared = change(ChangeKind::kCleared, 18);
  cleared.after = Severity::kCleared;
  alarm.is_touched = false;
  EXPECT_FALSE(apply(cleared, alarm));
  EXPECT_EQ(alarm.end, "cleared");
  EXPECT_EQ(alarm.cleared, 1180);
  EXPECT_EQ(alarm.last_change, 20);
  EXPECT_TRUE(alarm.is_touched);
  miss(30, 3000, alarm);
  EXPECT_EQ(alarm.end, "cleared") << "it is over already";
}

// A list may know of an end before the change that tells it has come.
TEST(AlarmState, IsMissingBeforeItsEndIsTold) {
  AlarmState alarm = active();
  miss(20, 2000, alarm);
  ChangeMessage cleared = change(ChangeKind::kCleared, 22);
  cleared.after = Severity::kCleared;
  EXPECT_FALSE(apply(cleared, alarm));
  EXPECT_EQ(alarm.end, "cleared");
  EXPECT_EQ(alarm.cleared, 1220);
  EXPECT_EQ(alarm.last_change, 22);
  ChangeMessage again = change(ChangeKind::kSettled, 23);
  again.after = Severity::kCleared;
  again.fault = 0;
  apply(again, alarm);
  EXPECT_EQ(alarm.end, "cleared") << "the first end counts";
}

TEST(AlarmState, IsThereAgain) {
  AlarmState alarm = active();
  miss(20, 2000, alarm);
  apply(listed(), 21, alarm);
  EXPECT_TRUE(alarm.is_active());
  EXPECT_FALSE(alarm.cleared);
  miss(22, 2000, alarm);
  EXPECT_FALSE(apply(change(ChangeKind::kCommented, 18), alarm));
  EXPECT_FALSE(alarm.is_active()) << "the change is older than the list";
  ChangeMessage later = change(ChangeKind::kCommented, 23);
  later.fault = 9;
  apply(later, alarm);
  EXPECT_TRUE(alarm.is_active());
  EXPECT_FALSE(alarm.cleared);
}

TEST(AlarmState, OfALedgerThatIsGone) {
  AlarmState alarm = active();
  leave(2000, alarm);
  EXPECT_EQ(alarm.end, "ledger_gone");
  EXPECT_EQ(alarm.cleared, 2000);
  EXPECT_TRUE(alarm.is_touched);
  leave(3000, alarm);
  EXPECT_EQ(alarm.cleared, 2000);
}

}  // namespace alarm_state_test
}  // namespace polaiga::fleet
