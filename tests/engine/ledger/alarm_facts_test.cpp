#include "ledger/alarm_facts.h"

#include <gtest/gtest.h>

#include "support/ledger_fixture.h"

namespace polaiga::engine {
namespace alarm_facts_test {

using Texts = std::vector<std::string>;
using test::clears;
using test::kAll;
using test::moves;
using test::raises;

// "1 o F395 minor created 1001 reported 1002 raises F395 at 1001".
std::string text(const AlarmFact& fact) {
  std::string text = std::to_string(fact.number) + " " + fact.dn + " F" + std::to_string(fact.code) + fact.name + " " +
                     std::string(severity_word(fact.severity)) + " created " + std::to_string(fact.created);
  if (fact.ended) {
    text += (fact.is_merged ? " merged " : " ended ") + std::to_string(*fact.ended);
  } else {
    text += " reported " + std::to_string(fact.reported);
  }
  text += " raises";
  for (const AlarmFact::Raise& raise : fact.raises) {
    text += " F" + std::to_string(raise.code) + raise.name + " at " + std::to_string(raise.at);
  }
  return text;
}

class AlarmFactsTest : public test::LedgerFixture {
 protected:
  void SetUp() override { open(kAll); }

  Texts facts(const std::string& under = "") const {
    Texts found;
    LedgerReader reader(path_);
    reader.alarm_facts(under, [&](const AlarmFact& fact) { found.push_back(text(fact)); });
    EXPECT_EQ(reader.left_out(), Texts{});
    return found;
  }

  std::optional<Moment> gone_until() const { return LedgerReader(path_).reach().gone_until; }
};

TEST_F(AlarmFactsTest, OfAnEmptyLedger) {
  engine_->pass(1, {.at = 1000});
  EXPECT_EQ(facts(), Texts{});
  EXPECT_EQ(gone_until(), std::nullopt);
}

TEST_F(AlarmFactsTest, AnActiveAlarmHasItsLatestReport) {
  engine_->write(raises("A", "o", 395, 1001));
  engine_->write(raises("B", "o", 395, 1003));
  engine_->write(raises("A", "o", 395, 1004));
  EXPECT_EQ(facts(), Texts{"1 o F395 minor created 1001 reported 1004 raises F395 at 1001"});
  engine_->write(raises("B", "o", 395, 1009));
  engine_->write(clears("B", "o", 395, 1010));  // to take a report back is none
  EXPECT_EQ(facts(), Texts{"1 o F395 minor created 1001 reported 1009 raises F395 at 1001"});
}

TEST_F(AlarmFactsTest, LevelsAndEnds) {
  engine_->write(raises("A", "o", 395, 1001));
  engine_->write(moves("A", "o", 395, 396, 1002));
  engine_->write(raises("A", "p", 396, 1003));
  engine_->write(clears("A", "p", 396, 1008));
  EXPECT_EQ(facts(), (Texts{"1 o F395 major created 1001 reported 1002 raises F395 at 1001 F396 at 1002",
                            "4 p F396 major created 1003 ended 1008 raises F396 at 1003"}));
  engine_->write(clears("A", "o", 396, 1009));
  EXPECT_EQ(facts("o"), Texts{"1 o F395 major created 1001 ended 1009 raises F395 at 1001 F396 at 1002"});
}

TEST_F(AlarmFactsTest, WithdrawnByTheLibrary) {
  engine_->write(raises("A", "o", 395, 1001));
  engine_->write({.reported = false, .at = 1005, .withdrawn = {"o/fault-F0395"}});
  EXPECT_EQ(facts(), Texts{"1 o F395 minor created 1001 ended 1005 raises F395 at 1001"});
}

// The fault of the one that was merged is a raise of that one only.
TEST_F(AlarmFactsTest, MergedAlarms) {
  engine_->write(raises("A", "o", 395, 1001));
  engine_->write(raises("B", "o", 396, 1002));
  engine_->write(moves("A", "o", 395, 396, 1003));
  EXPECT_EQ(facts(), (Texts{"1 o F395 major created 1001 reported 1003 raises F395 at 1001",
                            "2 o F396 major created 1002 merged 1003 raises F396 at 1002"}));
}

TEST_F(AlarmFactsTest, TimesAreThoseOfTheEvents) {
  engine_->write({.record = {.dn = "o", .code = 395}, .at = 2000, .time = 1500});
  EXPECT_EQ(facts(), Texts{"1 o F395 minor created 1500 reported 1500 raises F395 at 1500"});
  engine_->write({.record = {.dn = "o", .code = 395, .clear_code = 395, .state = 0}, .at = 2100, .time = 1600});
  EXPECT_EQ(facts()[0], "1 o F395 minor created 1500 ended 1600 raises F395 at 1500");
}

TEST_F(AlarmFactsTest, TheNameOfTheCode) {
  engine_->add(raises("A", "o", 395, 1001));
  test::fill(engine_->batch.inputs[0].record.name, " slow");
  engine_->write();
  EXPECT_EQ(facts(), Texts{"1 o F395 slow minor created 1001 reported 1001 raises F395 slow at 1001"});
}

// An alarm is under a DN if one of its faults is.
TEST_F(AlarmFactsTest, UnderADn) {
  engine_->write(raises("A", "sys/a", 395, 1001));
  engine_->write(moves("A", "sys/a", 395, 396, 1002));
  engine_->write(raises("A", "sys/ab", 395, 1003));
  engine_->write(raises("A", "sys/a/b", 395, 1004));
  const auto dns = [&](const std::string& under) {
    Texts found;
    LedgerReader(path_).alarm_facts(under, [&](const AlarmFact& fact) { found.push_back(fact.dn); });
    return found;
  };
  EXPECT_EQ(dns(""), (Texts{"sys/a", "sys/ab", "sys/a/b"}));
  EXPECT_EQ(dns("sys"), (Texts{"sys/a", "sys/ab", "sys/a/b"}));
  EXPECT_EQ(dns("sys/a"), (Texts{"sys/a", "sys/a/b"}));
  EXPECT_EQ(dns("sys/a/"), (Texts{"sys/a", "sys/a/b"}));
  EXPECT_EQ(dns("sys/a/fault-F0395"), Texts{"sys/a"});
  EXPECT_EQ(dns("sys/a/fault-F0396"), Texts{"sys/a"});
  EXPECT_EQ(dns("sys/c"), Texts{});
}

// What is done to its object is no state of the alarm.
TEST_F(AlarmFactsTest, TheLatestStateIsThatOfTheAlarmItself) {
  engine_->write(raises("A", "o", 395, 1001));  // 1
  engine_->write(raises("A", "p", 395, 1002));  // 2
  OperatorAction acknowledge;
  acknowledge.kind = ActionKind::kAcknowledge;
  acknowledge.alarms = {1};
  engine_->act(acknowledge, 1003);  // 3
  OperatorAction maintain;
  maintain.kind = ActionKind::kMaintain;
  maintain.dn = "o";
  maintain.until = maintain.until_age = 2000;
  engine_->act(maintain, 1004);  // 4 of the alarm, 5 of the object
  engine_->write();
  const auto facts_of = [this] {
    std::vector<AlarmFact> found;
    LedgerReader(path_).alarm_facts("", [&](const AlarmFact& fact) { found.push_back(fact); });
    return found;
  };
  std::vector<AlarmFact> found = facts_of();
  ASSERT_EQ(found.size(), 2U);
  EXPECT_EQ(found[0].state, OperatorState::kAcknowledged);
  ASSERT_TRUE(found[0].latest_state);
  EXPECT_EQ(found[0].latest_state->change, 3);
  EXPECT_EQ(found[0].latest_state->state, OperatorState::kAcknowledged);
  EXPECT_EQ(found[0].acknowledged, 1003);
  EXPECT_FALSE(found[1].latest_state);
  EXPECT_FALSE(found[1].acknowledged);
  maintain.kind = ActionKind::kEndMaintenance;
  engine_->act(maintain, 1005);  // 6 and 7
  OperatorAction close = acknowledge;
  close.kind = ActionKind::kClose;
  close.alarms = {2};
  engine_->act(close, 1006);  // 8
  engine_->write();
  engine_->write(clears("A", "o", 395, 1007));  // 9
  found = facts_of();
  EXPECT_EQ(found[0].latest_state->change, 3);
  EXPECT_EQ(found[0].ended, 1007);
  EXPECT_EQ(found[0].ended_by, 9);
  EXPECT_EQ(found[0].ended_seq, 7);
  EXPECT_EQ(found[1].latest_state->state, OperatorState::kClosed);
  EXPECT_EQ(found[1].acknowledged, 1006);  // who closes an alarm has seen it
}

// Retention takes the levels that are over of an alarm that goes on.
TEST_F(AlarmFactsTest, OfWhatRetentionHasLeft) {
  open({.events = 2, .days = 0, .bytes = 0});
  engine_->write(raises("A", "o", 395, 1001));
  engine_->write(moves("A", "o", 395, 396, 1002));
  engine_->write(raises("A", "p", 395, 1003));
  engine_->write(clears("A", "p", 395, 1004));
  EXPECT_EQ(gone_until(), 1002);
  engine_->pass(20, {.at = 2000});
  EXPECT_EQ(facts(), Texts{"1 o F396 major created 1001 reported 1002 raises F396 at 1002"});
  EXPECT_EQ(gone_until(), 2000);
}

}  // namespace alarm_facts_test
}  // namespace polaiga::engine
