// What operators did outlives retention and the replacement of a damaged ledger, as long as its alarm does.
#include <gtest/gtest.h>

#include <memory>

#include "core/recorder.h"
#include "intake/event_parser.h"
#include "ledger/alarm_facts.h"
#include "ledger/reader.h"
#include "ledger/tables.h"
#include "ledger/verification.h"
#include "support/manual_clock.h"
#include "support/temp_dir.h"

namespace polaiga::engine {
namespace kept_actions_test {

using test::kToday;

class KeptActionsTest : public ::testing::Test {
 protected:
  void start(const Retention& retention) {
    stop();
    ledger_.emplace(path_, retention, clock_.wall());
    recorder_ = std::make_unique<Recorder>(Recorder::Options{}, clock_, *ledger_);
    recorder_->use_tables(read_host_tables(POLAIGA_TABLES_DIR), POLAIGA_TABLES_DIR);
  }
  void stop() {
    recorder_.reset();
    ledger_.reset();
  }

  void event(int fan, int state) {
    recorder_->record(parse_sensor_event(R"({"entity":"fan","sensor":"FAN1_TACH1","offset":3,"instance":)" +
                                         std::to_string(fan) + R"(,"state":)" + std::to_string(state) + "}"));
  }
  void act(ActionKind kind, ChangeNumber alarm, const std::string& comment, std::int64_t lasts = 0) {
    OperatorAction action{.kind = kind};
    action.person = "anna";
    action.comment = comment;
    action.lasts = lasts;
    if (is_about_object(kind)) {
      action.dn = "sys/rack-unit-1/psu-1";
    } else {
      action.alarms = {alarm};
    }
    recorder_->act(std::move(action));
  }
  void write() { recorder_->commit(); }

  // More events than are kept, which come and go.
  void pass_many() {
    for (int i = 0; i < 40; ++i) {
      for (int k = 0; k < 10; ++k) {
        event(2, 1);
        event(2, 0);
      }
      write();
    }
  }

  std::int64_t count(const std::string& of) const {
    const Database db(path_, Access::kRead);
    Statement row(db, "SELECT count(*) FROM " + of);
    row.step();
    return row.integer(0);
  }

  // "acknowledged by anna: seen", of all actions of the only alarm that is active.
  std::vector<std::string> told() const {
    LedgerReader reader(path_);
    std::vector<std::string> texts;
    const auto active = reader.active({}, std::nullopt);
    if (active.size() != 1) return {std::to_string(active.size()) + " active"};
    const auto found = reader.explain(active[0].fault.fault_dn);
    for (const AlarmAction& one : found->alarm.actions) {
      texts.push_back(std::string(change_word(one.kind)) + " by " + one.action.value().person + ": " +
                      one.action->comment.value_or("") + " at " + std::to_string(one.at - kToday));
    }
    texts.emplace_back(operator_state_word(active[0].standing.state()));
    return texts;
  }

  test::TempDir dir_;
  std::string path_ = dir_.file("ledger.db");
  test::ManualClock clock_{kToday};
  std::optional<Ledger> ledger_;
  std::unique_ptr<Recorder> recorder_;
};

TEST_F(KeptActionsTest, WhoAcknowledgesOrClosesAnAlarmHasSeenIt) {
  start({.events = 50, .days = 0, .bytes = 0});
  for (const int fan : {1, 2, 3}) event(fan, 1);  // alarms 1, 2 and 3
  clock_.pass(3);
  for (const ChangeNumber alarm : {1, 2, 3}) act(ActionKind::kComment, alarm, "looking");
  clock_.pass(2);
  act(ActionKind::kAcknowledge, 1, "");
  clock_.pass(4);
  act(ActionKind::kClose, 2, "");
  act(ActionKind::kUnacknowledge, 1, "");
  act(ActionKind::kAcknowledge, 1, "");
  write();
  std::vector<std::string> seen;
  LedgerReader(path_).alarm_facts("", [&](const AlarmFact& fact) {
    seen.push_back(fact.acknowledged ? "after " + std::to_string(*fact.acknowledged - kToday) : "not yet");
  });
  EXPECT_EQ(seen, (std::vector<std::string>{"after 5", "after 9", "not yet"}));
}

// In the words of RFC 8632.
TEST_F(KeptActionsTest, EachGivesTheAlarmAState) {
  start({.events = 50, .days = 0, .bytes = 0});
  event(1, 1);
  act(ActionKind::kComment, 1, "looking");
  act(ActionKind::kAcknowledge, 1, "seen");
  act(ActionKind::kClose, 1, "replaced");
  act(ActionKind::kUnacknowledge, 1, "");
  act(ActionKind::kShelve, 1, "noise", 60);
  act(ActionKind::kUnshelve, 1, "");
  write();
  std::vector<std::string> states;
  const ToldAlarms told = LedgerReader(path_).tell_active({});
  for (const OperatorStateChange& one : told.alarms.at(0).operators) {
    states.push_back(std::string(one.state) + " by " + one.person + ": " + one.text);
  }
  EXPECT_EQ(states, (std::vector<std::string>{"none by anna: looking", "ack by anna: seen", "closed by anna: replaced",
                                              "none by anna: ", "shelved by anna: noise", "un-shelved by anna: "}));
}

TEST_F(KeptActionsTest, TheyGoWithTheirAlarm) {
  start({.events = 50, .days = 0, .bytes = 0});
  event(1, 1);
  clock_.pass(5);
  act(ActionKind::kAcknowledge, 1, "seen");
  clock_.pass(5);
  act(ActionKind::kComment, 1, "ticket 4711");
  write();
  pass_many();
  EXPECT_EQ(count("change WHERE number <= 3"), 0);  // the changes are gone
  const std::vector<std::string> want{"acknowledged by anna: seen at 5", "commented by anna: ticket 4711 at 10",
                                      "acknowledged"};
  EXPECT_EQ(told(), want);
  start({.events = 50, .days = 0, .bytes = 0});
  EXPECT_EQ(told(), want);
  EXPECT_EQ(count("action"), 2);
  event(1, 0);
  write();
  pass_many();
  EXPECT_EQ(count("alarm_action"), 0);
  EXPECT_EQ(count("action"), 0);
}

// One input then takes more room than retention keeps free.
TEST_F(KeptActionsTest, AnActionOnManyAlarmsIsWrittenThoughTheLedgerIsFull) {
#ifdef POLAIGA_SHORT_WALK
  constexpr int kAlarms = 800;
  constexpr int kChurn = 3000;
  start({.events = 0, .days = 0, .bytes = 1'500'000});
#else
  constexpr int kAlarms = 2500;
  constexpr int kChurn = 12'000;
  start({.events = 0, .days = 0, .bytes = 4'194'304});
#endif
  const auto commit_if_full = [this] {
    if (recorder_->batch().inputs.size() >= 400) write();
  };
  for (int unit = 1; unit <= kAlarms; ++unit) {
    recorder_->record(parse_sensor_event(R"({"entity":"mem","sensor":"DIMM","offset":66,"state":1,"instance":)" +
                                         std::to_string(unit) + "}"));
    commit_if_full();
  }
  OperatorAction action{.kind = ActionKind::kComment, .person = "anna", .comment = "seen"};
  for (const ActiveFault* fault : recorder_->alarms().in_order()) action.alarms.push_back(fault->alarm);
  ASSERT_EQ(action.alarms.size(), static_cast<std::size_t>(kAlarms));
  const auto churn = [&] {
    for (int i = 0; i < kChurn; ++i) {
      event(2, 1 - i % 2);
      commit_if_full();
    }
    write();
  };
  churn();
  OperatorAction shelve = action;
  shelve.kind = ActionKind::kShelve;
  shelve.lasts = 10;
  for (const OperatorAction& one : {action, shelve}) {
    recorder_->act(OperatorAction(one));
    write();
  }
  churn();
  clock_.pass(20);
  EXPECT_TRUE(recorder_->end_what_is_over());
  write();
  EXPECT_EQ(count("alarm_action"), 3 * kAlarms);
  EXPECT_TRUE(verify_ledger(path_).findings.empty());
}

TEST_F(KeptActionsTest, ObjectsStayOutOfServiceThroughRetention) {
  start({.events = 50, .days = 0, .bytes = 0});
  act(ActionKind::kMaintain, 0, "new supply", 3600);
  write();
  pass_many();
  start({.events = 50, .days = 0, .bytes = 0});
  const auto objects = LedgerReader(path_).maintenance();
  ASSERT_EQ(objects.size(), 1U);
  EXPECT_EQ(objects[0].maintenance.dn, "sys/rack-unit-1/psu-1");
  EXPECT_EQ(objects[0].action.value().comment, "new supply");
  EXPECT_TRUE(recorder_->alarms().is_out_of_service("sys/rack-unit-1/psu-1/fault-F0374"));
  clock_.pass(3602);
  EXPECT_TRUE(recorder_->end_what_is_over());
  write();
  pass_many();
  EXPECT_TRUE(LedgerReader(path_).maintenance().empty());
  EXPECT_EQ(count("action"), 0);
}

// An alarm that lasts for ever takes only so many comments, written or not, and goes on taking other actions.
TEST_F(KeptActionsTest, AnAlarmTakesSoManyActions) {
  start({});
  event(1, 1);
  event(2, 1);
  const auto refusal = [this](ActionKind kind, std::int64_t lasts = 0) -> std::string {
    try {
      act(kind, 1, "seen", lasts);
    } catch (const ActionRefused& refused) {
      return refused.what();
    }
    return "none";
  };
  for (int i = 0; i < 100; ++i) {
    EXPECT_EQ(refusal(ActionKind::kComment), "none") << i;
    if (i == 50 || i == 98) write();  // the hundredth finds some that are written, and then no others
  }
  const std::string no_comments =
      "Alarm 1 has had 100 actions, and takes no more comments until it is over; `polaiga explain` tells those that it "
      "has";
  EXPECT_EQ(refusal(ActionKind::kComment), no_comments);
  write();
  EXPECT_EQ(refusal(ActionKind::kComment), no_comments);
  act(ActionKind::kComment, 2, "another alarm");
  EXPECT_EQ(refusal(ActionKind::kShelve, 3600), "none");
  for (int i = 101; i < 1000; ++i) {
    EXPECT_EQ(refusal(i % 2 == 1 ? ActionKind::kAcknowledge : ActionKind::kUnacknowledge), "none") << i;
  }
  EXPECT_EQ(refusal(ActionKind::kAcknowledge),
            "Alarm 1 has had 1000 actions, and takes no further ones until it is over; `polaiga explain` tells those "
            "that it has");
  EXPECT_EQ(refusal(ActionKind::kUnshelve), "none");
  write();
  EXPECT_EQ(count("alarm_action WHERE alarm = 1"), 1001);
  event(1, 0);
  event(1, 1);  // the next alarm is a new one
  write();
  const auto active = LedgerReader(path_).active({}, std::nullopt);
  ASSERT_EQ(active.size(), 2U);
  act(ActionKind::kComment, active[1].fault.alarm, "again");
}

// What is out of service at the watermark is known for all times since, though it was taken out before.
TEST_F(KeptActionsTest, WhatWasOutOfServiceIsKnownOfThePast) {
  start({.events = 50, .days = 0, .bytes = 0});
  const auto is_out = [this](Moment at) {
    const auto active = LedgerReader(path_).active({}, at);
    EXPECT_EQ(active.size(), 1U);
    return !active.empty() && active[0].is_out_of_service;
  };
  recorder_->record(parse_sensor_event(R"({"entity":"ps","sensor":"PS1_STATUS","offset":30,"state":1})"));
  clock_.pass(10);
  act(ActionKind::kMaintain, 0, "new supply", 36'000);
  write();
  clock_.pass(10);
  EXPECT_FALSE(is_out(kToday + 9));
  EXPECT_TRUE(is_out(kToday + 10));
  pass_many();
  EXPECT_EQ(count("event WHERE seq <= 2"), 1);  // that of the fault; the action's is gone
  const Moment before = clock_.wall();
  clock_.pass(10);
  act(ActionKind::kMaintain, 0, "it lasts longer", 36'000);
  clock_.pass(10);
  act(ActionKind::kEndMaintenance, 0, "");
  clock_.pass(10);
  act(ActionKind::kMaintain, 0, "once more", 36'000);
  clock_.pass(10);
  act(ActionKind::kEndMaintenance, 0, "");
  write();
  for (const auto& [passed, out] : {std::pair{0, true},
                                    {9, true},
                                    {10, true},
                                    {19, true},
                                    {20, false},
                                    {29, false},
                                    {30, true},
                                    {39, true},
                                    {40, false},
                                    {50, false}}) {
    EXPECT_EQ(is_out(before + passed), out) << passed;
  }
  pass_many();
  EXPECT_FALSE(is_out(clock_.wall()));
  recorder_->record(parse_sensor_event(R"({"entity":"ps","sensor":"PS1_STATUS","offset":30,"state":0})"));
  write();
  pass_many();
  pass_many();
  EXPECT_EQ(count("action"), 0);
}

TEST_F(KeptActionsTest, ADamagedLedgerLeavesThemToTheNewOne) {
  start({});
  event(1, 1);
  act(ActionKind::kAcknowledge, 1, "seen");
  act(ActionKind::kShelve, 1, "quiet", 60);
  act(ActionKind::kMaintain, 0, "new supply", 3600);
  write();
  stop();
  Database(path_, Access::kReadWrite).exec("DROP TABLE step");
  start({});
  ASSERT_EQ(ledger_->news().size(), 1U);
  EXPECT_NE(ledger_->news()[0].find("Nothing of this was lost."), std::string::npos) << ledger_->news()[0];
  EXPECT_EQ(told(),
            (std::vector<std::string>{"acknowledged by anna: seen at 0", "shelved by anna: quiet at 0", "shelved"}));
  EXPECT_EQ(LedgerReader(path_).maintenance().size(), 1U);
  clock_.pass(62);
  EXPECT_TRUE(recorder_->end_what_is_over());
  write();
  EXPECT_EQ(told().back(), "acknowledged");
  stop();
  EXPECT_TRUE(verify_ledger(path_).findings.empty());
}

// Without the row that tells when the ledger was begun, ages mean nothing. What is silent ends at the time that people
// were told, however old the damaged ledger was.
TEST_F(KeptActionsTest, ALedgerThatForgotItsBeginningLeavesThemTheirTime) {
  start({});
  clock_.pass(1'000'000);
  event(1, 1);
  act(ActionKind::kShelve, 1, "quiet", 60);
  act(ActionKind::kMaintain, 0, "new supply", 3600);
  write();
  stop();
  Database(path_, Access::kReadWrite).exec("DELETE FROM ledger");
  start({});
  ASSERT_EQ(ledger_->news().size(), 1U);
  EXPECT_EQ(told().back(), "shelved");
  clock_.pass(50);
  EXPECT_FALSE(recorder_->end_what_is_over());
  clock_.pass(12);
  EXPECT_TRUE(recorder_->end_what_is_over());
  write();
  EXPECT_NE(told().back(), "shelved");
  EXPECT_EQ(LedgerReader(path_).maintenance().size(), 1U);
  clock_.pass(3'600);
  EXPECT_TRUE(recorder_->end_what_is_over());
  write();
  EXPECT_TRUE(LedgerReader(path_).maintenance().empty());
}

// Each thing that an operator did is guarded like the events.
TEST_F(KeptActionsTest, AChangedActionIsFound) {
  start({});
  event(1, 1);
  act(ActionKind::kAcknowledge, 1, "seen by me");
  write();
  stop();
  std::string content = dir_.read("ledger.db");
  const auto at = content.find("seen by me");
  ASSERT_NE(at, std::string::npos);
  content[at] = 'S';
  dir_.write("ledger.db", content);
  const auto findings = verify_ledger(path_).findings;
  ASSERT_FALSE(findings.empty());
  EXPECT_NE(findings[0].what.find("action 2"), std::string::npos) << findings[0].what;
}

TEST_F(KeptActionsTest, AnActionThatIsGoneIsFound) {
  start({});
  event(1, 1);
  act(ActionKind::kAcknowledge, 1, "seen");
  write();
  stop();
  Database(path_, Access::kReadWrite).exec("DELETE FROM action");
  const auto findings = verify_ledger(path_).findings;
  ASSERT_FALSE(findings.empty());
  EXPECT_EQ(findings[0].what, "input 2: the action 2 that it refers to is missing");
}

}  // namespace kept_actions_test
}  // namespace polaiga::engine
