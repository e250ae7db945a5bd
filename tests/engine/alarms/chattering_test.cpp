// Faults that are raised again and again, step by step: when they chatter, which of their changes are folded, and what
// outputs are told in their place.
#include "alarms/chattering.h"

#include <gtest/gtest.h>

#include "alarms/alarms.h"
#include "model/fault.h"
#include "support/record.h"

namespace polaiga::engine {
namespace chattering_test {

using test::make_record;
using Texts = std::vector<std::string>;

constexpr const char* kFan = "sys/fan-1";
constexpr const char* kLow = "sys/fan-1/fault-F0395";

// "7 raised 395 alarm 7 cleared>minor other 3 raises 4 quiet folded".
std::string text_of(const Change& change) {
  std::string text = std::to_string(change.number) + " " + std::string(change_word(change.kind)) + " " +
                     (change.alarm == 0 ? change.fault_dn : change.fault_dn.substr(change.fault_dn.size() - 3)) +
                     " alarm " + std::to_string(change.alarm) + " " + std::string(severity_word(change.before)) + ">" +
                     std::string(severity_word(change.after));
  if (change.other != 0) text += " other " + std::to_string(change.other);
  if (change.raises != 0) text += " raises " + std::to_string(change.raises);
  if (change.is_quiet) text += " quiet";
  if (change.is_folded) text += " folded";
  return text;
}

// Raised again more than twice in a minute: with the fourth raise.
class ChatteringTest : public ::testing::Test {
 protected:
  ChatteringTest() { alarms_.watch_chattering(ChatteringLimit{.times = 2, .within = 60}); }

  static Texts told(const std::vector<Change>& changes) {
    Texts texts;
    for (const Change& change : changes) texts.push_back(text_of(change));
    return texts;
  }

  Texts record(std::int64_t age, std::uint32_t code, std::uint32_t clears, std::int32_t state,
               const std::string& sensor = "A") {
    std::vector<Change> changes;
    alarms_.set_age(age);
    alarms_.apply(make_record({.dn = kFan, .code = code, .clear_code = clears, .state = state}), {nullptr, sensor, 0},
                  ++sequence_, kAt + age, changes);
    return told(changes);
  }
  Texts raise(std::int64_t age, std::uint32_t code = 395, std::uint32_t clears = 0, const std::string& sensor = "A") {
    return record(age, code, clears, 1, sensor);
  }
  Texts clear(std::int64_t age, std::uint32_t code = 395, const std::string& sensor = "A") {
    return record(age, code, code, 0, sensor);
  }

  // Raised and cleared three times, and raised again: changes 1 to 8, of which the last says that it is chattering.
  Texts chatter(std::int64_t age = 0) {
    for (int i = 0; i < 3; ++i) {
      raise(age);
      clear(age);
    }
    return raise(age);
  }

  Texts act(OperatorAction action) {
    std::vector<Change> changes;
    action.until_age = action.lasts;
    alarms_.act(action, ++sequence_, kAt, changes);
    return told(changes);
  }
  Texts act(ActionKind kind, ChangeNumber alarm, std::int64_t lasts = 0) {
    return act({.kind = kind, .alarms = {alarm}, .lasts = lasts});
  }
  Texts act_on(ActionKind kind, const std::string& dn, std::int64_t lasts = 0) {
    return act({.kind = kind, .dn = dn, .lasts = lasts});
  }

  // All that is over at this age, ended.
  Texts end(std::int64_t age) {
    std::vector<Change> changes;
    for (const OperatorAction& action : alarms_.over(age)) alarms_.act(action, ++sequence_, kAt + age, changes);
    return told(changes);
  }

  static constexpr Moment kAt = 1'800'000'000;
  Alarms alarms_;
  Sequence sequence_ = 0;
};

TEST_F(ChatteringTest, RaisedAgainTooOften) {
  EXPECT_EQ(raise(0), Texts{"1 raised 395 alarm 1 cleared>minor"});
  EXPECT_EQ(clear(10), Texts{"2 cleared 395 alarm 1 minor>cleared"});
  EXPECT_EQ(raise(20), Texts{"3 raised 395 alarm 3 cleared>minor"});
  EXPECT_EQ(clear(30), Texts{"4 cleared 395 alarm 3 minor>cleared"});
  EXPECT_EQ(raise(40), Texts{"5 raised 395 alarm 5 cleared>minor"});
  EXPECT_EQ(clear(50), Texts{"6 cleared 395 alarm 5 minor>cleared"});
  EXPECT_EQ(raise(59), (Texts{"7 raised 395 alarm 7 cleared>minor", "8 chattering 395 alarm 7 minor>minor raises 4"}));
  EXPECT_EQ(clear(60), Texts{"9 cleared 395 alarm 7 minor>cleared folded"});
  EXPECT_EQ(raise(70), Texts{"10 raised 395 alarm 10 cleared>minor folded"});
  EXPECT_EQ(raise(75), Texts{"11 refreshed 395 alarm 10 minor>minor folded"});
  EXPECT_EQ(clear(80), Texts{"12 cleared 395 alarm 10 minor>cleared folded"});
  EXPECT_EQ(alarms_.next_end(), 131);  // no raise for 60 seconds, by ages that are cut to seconds
  EXPECT_EQ(end(130), Texts{});
  EXPECT_EQ(end(131), Texts{"13 settled 395 alarm 10 minor>cleared other 7 raises 5"});
  EXPECT_EQ(alarms_.next_end(), std::nullopt);
  EXPECT_EQ(raise(140), Texts{"14 raised 395 alarm 14 cleared>minor"});
}

TEST_F(ChatteringTest, NotOftenEnough) {
  for (std::int64_t age = 0; age < 600; age += 20) {  // four raises in exactly 60 seconds, which are not less than 60
    EXPECT_EQ(raise(age).size(), 1U);
    EXPECT_EQ(clear(age + 10).size(), 1U);
  }
  EXPECT_EQ(alarms_.chattering(), 0U);
}

TEST_F(ChatteringTest, WithoutALimitNothingChatters) {
  alarms_.watch_chattering(std::nullopt);
  EXPECT_EQ(chatter(), Texts{"7 raised 395 alarm 7 cleared>minor"});
}

TEST_F(ChatteringTest, ARefreshIsNoRaise) {
  for (int i = 0; i < 20; ++i) EXPECT_EQ(raise(0).size(), 1U);
}

TEST_F(ChatteringTest, ItSettlesWhileItIsActive) {
  chatter();
  clear(1);
  raise(2);
  EXPECT_EQ(end(63), Texts{"11 settled 395 alarm 10 minor>minor other 7 raises 5"});
  EXPECT_EQ(clear(70), Texts{"12 cleared 395 alarm 10 minor>cleared"});
}

TEST_F(ChatteringTest, ItSettlesWithTheAlarmThatOutputsKnow) {
  chatter();
  EXPECT_EQ(end(61), Texts{"9 settled 395 alarm 7 minor>minor raises 4"});
  EXPECT_EQ(clear(70), Texts{"10 cleared 395 alarm 7 minor>cleared"});
}

TEST_F(ChatteringTest, OutputsKnowAnAlarmThatWasThereWhenItSettled) {
  chatter();
  clear(1);
  raise(2);
  end(63);
  EXPECT_TRUE(alarms_.find(kLow)->standing.was_told);
}

TEST_F(ChatteringTest, AnotherLevelThatDoesNotChatterIsTold) {
  chatter();
  EXPECT_EQ(raise(1, 396, 395),
            (Texts{"9 superseded 395 alarm 7 minor>minor folded", "10 raised 396 alarm 7 minor>major"}));
  EXPECT_EQ(clear(2, 396), Texts{"11 cleared 396 alarm 7 major>cleared"});
  // Outputs take no alarm of the chattering fault for active any more. So they are told of the next one.
  EXPECT_EQ(raise(3), Texts{"12 raised 395 alarm 12 cleared>minor"});
  EXPECT_EQ(clear(4), Texts{"13 cleared 395 alarm 12 minor>cleared folded"});
  EXPECT_EQ(end(64), Texts{"14 settled 395 alarm 12 minor>cleared raises 5"});
}

TEST_F(ChatteringTest, AnAlarmThatOutputsDoNotKnowGoesOnAtAnotherLevel) {
  chatter();
  clear(1);
  raise(2);  // alarm 10, of which nobody is told
  EXPECT_EQ(raise(3, 396, 395),
            (Texts{"11 superseded 395 alarm 10 minor>minor folded", "12 raised 396 alarm 10 minor>major"}));
  EXPECT_EQ(end(63), Texts{"13 settled 395 alarm 10 minor>major other 7 raises 5"});
  EXPECT_EQ(clear(64, 396), Texts{"14 cleared 396 alarm 10 major>cleared"});
}

TEST_F(ChatteringTest, AnAlarmThatOutputsKnowComesToTheFault) {
  chatter();
  clear(1);
  EXPECT_EQ(raise(2, 396), Texts{"10 raised 396 alarm 10 cleared>major"});
  EXPECT_EQ(raise(3, 395, 396),
            (Texts{"11 superseded 396 alarm 10 major>major", "12 raised 395 alarm 10 major>minor"}));
  EXPECT_EQ(clear(4), Texts{"13 cleared 395 alarm 10 minor>cleared"});
  EXPECT_EQ(end(64), Texts{"14 settled 395 alarm 10 minor>cleared other 7 raises 5"});
}

// One alarm that goes up and down: both of its levels chatter.
TEST_F(ChatteringTest, TwoLevels) {
  raise(0);
  for (int i = 0; i < 2; ++i) {
    raise(1, 396, 395);
    raise(2, 395, 396);
  }
  EXPECT_EQ(raise(3, 396, 395), (Texts{"10 superseded 395 alarm 1 minor>minor", "11 raised 396 alarm 1 minor>major"}));
  EXPECT_EQ(raise(4, 395, 396), (Texts{"12 superseded 396 alarm 1 major>major", "13 raised 395 alarm 1 major>minor",
                                       "14 chattering 395 alarm 1 minor>minor raises 4"}));
  EXPECT_EQ(raise(5, 396, 395),
            (Texts{"15 superseded 395 alarm 1 minor>minor folded", "16 raised 396 alarm 1 minor>major",
                   "17 chattering 396 alarm 1 major>major raises 4"}));
  EXPECT_EQ(raise(6, 395, 396),
            (Texts{"18 superseded 396 alarm 1 major>major folded", "19 raised 395 alarm 1 major>minor folded"}));
  EXPECT_EQ(end(66), Texts{"20 settled 396 alarm 1 major>minor raises 4"});
  EXPECT_EQ(end(67), Texts{"21 settled 395 alarm 1 minor>minor raises 5"});
  EXPECT_EQ(clear(68), Texts{"22 cleared 395 alarm 1 minor>cleared"});
}

TEST_F(ChatteringTest, OneOfTwoLevelsHasSettled) {
  raise(0);
  for (int i = 0; i < 2; ++i) {
    raise(1, 396, 395);
    raise(2, 395, 396);
  }
  raise(3, 396, 395);
  raise(4, 395, 396);
  raise(5, 396, 395);
  raise(6, 395, 396);
  // From then on outputs take the alarm for active at the level that still chatters, so they are told of its end.
  EXPECT_EQ(end(66), Texts{"20 settled 396 alarm 1 major>minor raises 4"});
  EXPECT_EQ(clear(66), Texts{"21 cleared 395 alarm 1 minor>cleared folded"});
  EXPECT_EQ(end(67), Texts{"22 settled 395 alarm 1 minor>cleared raises 5"});
}

// Another sensor reports the higher level all the time, so both levels have an alarm each.
TEST_F(ChatteringTest, AnAlarmIsMergedIntoAnother) {
  raise(0, 396, 0, "B");  // alarm 1
  for (int i = 0; i < 3; ++i) {
    raise(0);
    clear(0);
  }
  EXPECT_EQ(raise(0), (Texts{"8 raised 395 alarm 8 cleared>minor", "9 chattering 395 alarm 8 minor>minor raises 4"}));
  clear(1);
  raise(2);  // alarm 11
  EXPECT_EQ(raise(3, 396, 395),
            (Texts{"12 superseded 395 alarm 11 minor>minor folded",
                   "13 merged 396 alarm 11 minor>cleared other 1 quiet", "14 refreshed 396 alarm 1 major>major"}));
  EXPECT_EQ(end(63), Texts{"15 settled 395 alarm 1 minor>major other 8 raises 5"});
}

TEST_F(ChatteringTest, TheAlarmThatOutputsKnowIsMerged) {
  raise(0, 396, 0, "B");
  for (int i = 0; i < 3; ++i) {
    raise(0);
    clear(0);
  }
  raise(0);
  EXPECT_EQ(raise(1, 396, 395),
            (Texts{"10 superseded 395 alarm 8 minor>minor folded", "11 merged 396 alarm 8 minor>cleared other 1",
                   "12 refreshed 396 alarm 1 major>major"}));
  EXPECT_EQ(end(61), Texts{"13 settled 395 alarm 1 major>major raises 4"});
}

// Outputs never heard of the alarm that ends: the raise that began it was left out.
TEST_F(ChatteringTest, AnAlarmThatOutputsDoNotKnowIsMerged) {
  raise(0, 395, 0, "B");  // alarm 1
  for (int i = 0; i < 3; ++i) {
    raise(0, 396);
    clear(0, 396);
  }
  EXPECT_EQ(raise(0, 396),
            (Texts{"8 raised 396 alarm 8 cleared>major", "9 chattering 396 alarm 8 major>major raises 4"}));
  clear(1, 396);
  EXPECT_EQ(raise(2, 396), Texts{"11 raised 396 alarm 11 cleared>major folded"});
  EXPECT_EQ(raise(3, 396, 395, "B"),
            (Texts{"12 superseded 395 alarm 1 minor>minor", "13 merged 396 alarm 11 major>cleared other 1 folded",
                   "14 refreshed 396 alarm 1 minor>major"}));
  EXPECT_EQ(end(63), Texts{"15 settled 396 alarm 1 major>major other 8 raises 5"});
}

// Outputs take the alarm that ends for that of the chattering fault, and go on to do so until the fault settles.
TEST_F(ChatteringTest, TheAlarmThatOutputsKnowOfAChatteringFaultIsMergedIntoAnOlderOne) {
  raise(0, 395, 0, "B");  // alarm 1
  for (int i = 0; i < 3; ++i) {
    raise(0, 396);
    clear(0, 396);
  }
  raise(0, 396);  // alarm 8
  EXPECT_EQ(raise(1, 396, 395, "B"),
            (Texts{"10 superseded 395 alarm 1 minor>minor", "11 merged 396 alarm 8 major>cleared other 1 folded",
                   "12 refreshed 396 alarm 1 minor>major"}));
  EXPECT_EQ(end(61), Texts{"13 settled 396 alarm 1 major>major other 8 raises 4"});
}

// The alarm that outputs take for active goes on at a chattering level, while its former level begins a new one.
TEST_F(ChatteringTest, TheAlarmThatOutputsKnowIsActiveElsewhere) {
  for (int i = 0; i < 3; ++i) {  // alarms 1, 3 and 5
    raise(0, 396);
    clear(0, 396);
  }
  EXPECT_EQ(raise(1, 396),
            (Texts{"7 raised 396 alarm 7 cleared>major", "8 chattering 396 alarm 7 major>major raises 4"}));
  clear(1, 396);
  for (int i = 0; i < 3; ++i) {
    raise(1);
    clear(1);
  }
  EXPECT_EQ(raise(1),
            (Texts{"16 raised 395 alarm 16 cleared>minor", "17 chattering 395 alarm 16 minor>minor raises 4"}));
  EXPECT_EQ(raise(2, 396, 395),
            (Texts{"18 superseded 395 alarm 16 minor>minor folded", "19 raised 396 alarm 16 minor>major folded"}));
  EXPECT_EQ(raise(2, 395, 0, "B"), Texts{"20 raised 395 alarm 20 cleared>minor folded"});
  EXPECT_EQ(raise(40, 396, 0, "B"), Texts{"21 refreshed 396 alarm 16 major>major folded"});
  clear(41, 396);
  clear(41, 396, "B");
  EXPECT_EQ(raise(42, 396), Texts{"24 raised 396 alarm 24 cleared>major folded"});
  EXPECT_EQ(end(63), Texts{"25 settled 395 alarm 20 minor>minor other 16 raises 5"});
  EXPECT_EQ(end(103), Texts{"26 settled 396 alarm 24 major>major other 7 raises 6"});
}

TEST_F(ChatteringTest, AnAlarmThatIsActiveElsewhereIsNotEnded) {
  chatter();                     // alarm 7 is told
  for (int i = 0; i < 3; ++i) {  // 396 by another sensor: alarms 9, 11, 13
    raise(1, 396, 0, "C");
    clear(1, 396, "C");
  }
  raise(1, 396, 0, "C");  // alarm 15, and it is chattering
  clear(1, 396, "C");
  EXPECT_EQ(raise(2, 396, 395),
            (Texts{"18 superseded 395 alarm 7 minor>minor folded", "19 raised 396 alarm 7 minor>major folded"}));
  EXPECT_EQ(raise(3, 395, 0, "B"), Texts{"20 raised 395 alarm 20 cleared>minor folded"});
  raise(4, 396, 0, "C");
  clear(5, 396, "C");
  // The alarm 20 is new to outputs, and alarm 7 is told of from now on.
  EXPECT_EQ(end(64), (Texts{"23 settled 396 alarm 7 major>major other 15 raises 5",
                            "24 settled 395 alarm 20 cleared>minor raises 5"}));
  EXPECT_EQ(clear(65, 396), Texts{"25 cleared 396 alarm 7 major>cleared"});
  EXPECT_EQ(clear(66, 395, "B"), Texts{"26 cleared 395 alarm 20 minor>cleared"});
}

TEST_F(ChatteringTest, TheLibrarySaysThatItIsOver) {
  chatter();
  std::vector<Change> changes;
  alarms_.withdraw(kLow, ++sequence_, kAt, changes);
  EXPECT_EQ(told(changes), Texts{"9 withdrawn 395 alarm 7 minor>cleared folded"});
  EXPECT_EQ(end(61), Texts{"10 settled 395 alarm 7 minor>cleared raises 4"});
}

TEST_F(ChatteringTest, ReportersThatComeAndGo) {
  chatter();
  EXPECT_EQ(raise(1, 395, 0, "B"), Texts{"9 refreshed 395 alarm 7 minor>minor folded"});
  EXPECT_EQ(clear(2), Texts{"10 partly_cleared 395 alarm 7 minor>minor folded"});
  EXPECT_EQ(clear(3, 395, "B"), Texts{"11 cleared 395 alarm 7 minor>cleared folded"});
}

TEST_F(ChatteringTest, OperatorsAreHeardOfTheAlarmThatOutputsKnow) {
  chatter();
  EXPECT_EQ(act(ActionKind::kAcknowledge, 7), Texts{"9 acknowledged 395 alarm 7 minor>minor"});
  clear(1);
  raise(2);
  EXPECT_EQ(act(ActionKind::kAcknowledge, 11), Texts{"12 acknowledged 395 alarm 11 minor>minor folded"});
  EXPECT_EQ(act(ActionKind::kShelve, 11, 1000), Texts{"13 shelved 395 alarm 11 minor>minor quiet folded"});
  EXPECT_EQ(alarms_.next_end(), 63);
  // Outputs were told of alarm 7; so they are told that alarm 11 is there in its place.
  EXPECT_EQ(end(63), Texts{"14 settled 395 alarm 11 minor>minor other 7 raises 5"});
  EXPECT_EQ(clear(64), Texts{"15 cleared 395 alarm 11 minor>cleared"});
}

TEST_F(ChatteringTest, WhatIsSilencedStaysSilent) {
  act_on(ActionKind::kMaintain, "sys", 1000);  // change 1
  EXPECT_EQ(chatter(),
            (Texts{"8 raised 395 alarm 8 cleared>minor quiet", "9 chattering 395 alarm 8 minor>minor raises 4 quiet"}));
  EXPECT_EQ(clear(1), Texts{"10 cleared 395 alarm 8 minor>cleared quiet folded"});
  EXPECT_EQ(raise(2), Texts{"11 raised 395 alarm 11 cleared>minor quiet folded"});
  EXPECT_EQ(end(63), Texts{"12 settled 395 alarm 11 cleared>minor raises 5 quiet"});
  EXPECT_EQ(clear(64), Texts{"13 cleared 395 alarm 11 minor>cleared quiet"});
}

TEST_F(ChatteringTest, WhatIsNotSilencedAnyMoreIsTold) {
  act_on(ActionKind::kMaintain, "sys", 1000);
  chatter();
  EXPECT_EQ(act_on(ActionKind::kEndMaintenance, "sys"),
            (Texts{"10 back_in_service 395 alarm 8 minor>minor", "11 back_in_service sys alarm 0 cleared>cleared"}));
  EXPECT_EQ(clear(1), Texts{"12 cleared 395 alarm 8 minor>cleared folded"});
  EXPECT_EQ(raise(2), Texts{"13 raised 395 alarm 13 cleared>minor folded"});
  EXPECT_EQ(end(63), Texts{"14 settled 395 alarm 13 minor>minor other 8 raises 5"});
}

TEST_F(ChatteringTest, TheFirstRaiseAfterTheSilenceIsTold) {
  act_on(ActionKind::kMaintain, "sys", 1000);
  chatter();
  clear(1);
  act_on(ActionKind::kEndMaintenance, "sys");
  EXPECT_EQ(raise(2), Texts{"12 raised 395 alarm 12 cleared>minor"});
  EXPECT_EQ(clear(3), Texts{"13 cleared 395 alarm 12 minor>cleared folded"});
  EXPECT_EQ(end(63), Texts{"14 settled 395 alarm 12 minor>cleared raises 5"});
}

TEST_F(ChatteringTest, SilencedWhileItChatters) {
  chatter();
  EXPECT_EQ(act(ActionKind::kShelve, 7, 1000), Texts{"9 shelved 395 alarm 7 minor>minor"});
  EXPECT_EQ(clear(1), Texts{"10 cleared 395 alarm 7 minor>cleared folded"});
  EXPECT_EQ(end(61), Texts{"11 settled 395 alarm 7 minor>cleared raises 4"});
}

TEST_F(ChatteringTest, AnEscalationAsksForAnAcknowledgement) {
  alarms_.renew_acknowledgements();
  raise(0);
  for (int i = 0; i < 3; ++i) {
    raise(1, 396, 395);
    raise(2, 395, 396);
  }
  act(ActionKind::kAcknowledge, 1);
  EXPECT_EQ(raise(3, 396, 395),
            (Texts{"16 superseded 395 alarm 1 minor>minor folded", "17 raised 396 alarm 1 minor>major",
                   "18 unacknowledged 396 alarm 1 major>major", "19 chattering 396 alarm 1 major>major raises 4"}));
}

TEST_F(ChatteringTest, NobodySettlesWhatDoesNotChatter) {
  raise(0);
  EXPECT_THROW(act_on(ActionKind::kSettle, kLow), ActionRefused);
  EXPECT_EQ(alarms_.last_change(), 1);
}

TEST(ChatteringWatchTest, TheEarliestSettlesFirst) {
  ChatteringWatch watch(100);
  watch.set_limit(ChatteringLimit{.times = 1, .within = 10});
  for (const char* dn : {"a", "b", "c"}) {
    EXPECT_EQ(watch.raise(dn, 0), nullptr);
    EXPECT_EQ(watch.raise(dn, 0), nullptr);
    ASSERT_NE(watch.raise(dn, 0), nullptr);
  }
  ASSERT_NE(watch.raise("a", 3), nullptr);
  EXPECT_EQ(watch.next_end(), 11);
  EXPECT_EQ(watch.over(10, 10), Texts{});
  EXPECT_EQ(watch.over(11, 10), (Texts{"b", "c"}));
  EXPECT_EQ(watch.over(14, 10), (Texts{"b", "c", "a"}));
  EXPECT_EQ(watch.over(14, 2), (Texts{"b", "c"}));
}

TEST(ChatteringWatchTest, ItsMemoryIsBounded) {
  ChatteringWatch watch(2);
  watch.set_limit(ChatteringLimit{.times = 1, .within = 10});
  watch.raise("a", 0);
  watch.raise("a", 0);
  watch.raise("b", 0);
  watch.raise("c", 0);  // "a" was not raised for the longest time, and is forgotten
  EXPECT_EQ(watch.raise("a", 0), nullptr);
  EXPECT_EQ(watch.raise("a", 0), nullptr);
  EXPECT_NE(watch.raise("a", 0), nullptr);
  for (int i = 0; i < 3; ++i) watch.raise("b", 0);
  EXPECT_EQ(watch.size(), 2U);
  for (int i = 0; i < 9; ++i) EXPECT_EQ(watch.raise("c", 0), nullptr) << "no third one begins";
  EXPECT_NE(watch.raise("a", 0), nullptr);
  watch.settle("a");
  EXPECT_NE(watch.raise("c", 0), nullptr);
}

TEST(ChatteringWatchTest, WhatIsNotRaisedAgainIsForgotten) {
  ChatteringWatch watch(10);
  watch.set_limit(ChatteringLimit{.times = 1, .within = 10});
  watch.raise("a", 0);
  watch.raise("b", 9);
  EXPECT_EQ(watch.watched(), 2U);
  watch.raise("c", 10);  // "a" was raised ten seconds ago, which decides nothing any more
  EXPECT_EQ(watch.watched(), 2U);
  watch.raise("c", 30);
  EXPECT_EQ(watch.watched(), 1U);
}

TEST(ChatteringWatchTest, ChangesAreTakenOnce) {
  ChatteringWatch watch(10);
  watch.set_limit(ChatteringLimit{.times = 1, .within = 10});
  for (int i = 0; i < 3; ++i) watch.raise("a", i);
  watch.show(*watch.find("a"), 17, Severity::kMajor);
  EXPECT_EQ(watch.take_changes(), (ChatteringWatch::Changes{{"a", ChatteringFault{.fault_dn = "a",
                                                                                  .raises = 3,
                                                                                  .last_age = 2,
                                                                                  .shown_alarm = 17,
                                                                                  .shown_severity = Severity::kMajor,
                                                                                  .was_told = true}}}));
  EXPECT_TRUE(watch.take_changes().empty());
  watch.settle("a");
  EXPECT_EQ(watch.take_changes(), (ChatteringWatch::Changes{{"a", std::nullopt}}));
}

TEST(ChatteringWatchTest, GoesOnWithWhatAnEarlierRunLeft) {
  ChatteringWatch watch(10);
  watch.set_limit(ChatteringLimit{.times = 1, .within = 10});
  watch.restore({.fault_dn = "a", .change = 5, .raises = 7, .last_age = 20, .shown_alarm = 4});
  watch.restore_raise("a", 20);
  watch.restore_raise("b", 12);
  watch.restore_raise("b", 20);
  EXPECT_TRUE(watch.take_changes().empty());
  EXPECT_EQ(watch.next_end(), 31);
  ASSERT_NE(watch.shows(4), nullptr);
  EXPECT_EQ(watch.shows(4)->fault_dn, "a");
  const ChatteringFault* const again = watch.raise("a", 21);
  ASSERT_NE(again, nullptr);
  EXPECT_EQ(again->raises, 8U);
  EXPECT_NE(watch.raise("b", 21), nullptr);  // within 9 seconds
  EXPECT_EQ(watch.find("b")->change, 0);
  watch.set_limit(std::nullopt);
  EXPECT_EQ(watch.over(0, 10), (Texts{"a", "b"}));  // nothing chatters without a limit
}

}  // namespace chattering_test
}  // namespace polaiga::engine
