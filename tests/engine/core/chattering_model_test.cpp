// Random events and actions over a few alarms that chatter, with restarts and kills between. When faults chatter is
// compared with a model that is as plain as can be; and an output that follows the change feed from its beginning is
// compared with one that begins with a snapshot, and with what is active.
#include <gtest/gtest.h>

#include <algorithm>
#include <deque>

#include "intake/event_parser.h"
#include "ledger/change_feed.h"
#include "ledger/verification.h"
#include "support/random_walk.h"

namespace polaiga::engine {
namespace chattering_model_test {

#ifdef POLAIGA_SHORT_WALK
constexpr unsigned kSequences = 12;
#else
constexpr unsigned kSequences = 150;
#endif

constexpr std::uint64_t kTimes = 2;
constexpr Moment kWithin = 30;

// Which faults chatter, by all of their raises since they settled last.
struct Model {
  struct Fault {
    std::deque<Moment> raises;
    std::uint64_t count = 0;  // 0: it is not chattering
  };
  std::map<std::string, Fault> faults;

  // Answers whether the fault begins to chatter.
  bool raise(const std::string& fault_dn, Moment at) {
    Fault& fault = faults[fault_dn];
    fault.raises.push_back(at);
    if (fault.count > 0) {
      ++fault.count;
      return false;
    }
    const auto recent = std::ranges::count_if(fault.raises, [at](Moment one) { return at - one < kWithin; });
    if (static_cast<std::uint64_t>(recent) < kTimes + 2) return false;
    fault.count = kTimes + 2;
    return true;
  }

  std::vector<std::string> over(Moment now) const {
    std::vector<std::string> found;
    for (const auto& [fault_dn, fault] : faults) {
      if (fault.count > 0 && now - fault.raises.back() > kWithin) found.push_back(fault_dn);
    }
    return found;
  }

  std::map<std::string, std::uint64_t> chattering() const {
    std::map<std::string, std::uint64_t> found;
    for (const auto& [fault_dn, fault] : faults) {
      if (fault.count > 0) found[fault_dn] = fault.count;
    }
    return found;
  }
};

// What an output knows that passes over quiet changes of alarms that it does not know: the severity of each alarm that
// it takes for active.
struct Output {
  std::map<ChangeNumber, Severity> alarms;
  std::map<std::string, ChangeNumber> chattering;  // faults, with the change that said so
  ChangeNumber through = 0;

  void set(ChangeNumber alarm, Severity severity) {
    alarms.erase(alarm);
    if (severity != Severity::kCleared) alarms[alarm] = severity;
  }

  void follow(const Change& change) {
    if (change.kind == ChangeKind::kChattering) chattering[change.fault_dn] = change.number;
    if (change.kind == ChangeKind::kSettled) {
      chattering.erase(change.fault_dn);
      if (change.other != 0) alarms.erase(change.other);
    }
    if (change.alarm == 0 || (change.is_quiet && !alarms.contains(change.alarm))) return;
    set(change.alarm, change.after);
  }

  void begin(const Snapshot& snapshot) {
    through = snapshot.number;
    for (const ActiveRow& row : snapshot.active) {
      if (row.standing.was_told) alarms[row.fault.alarm] = row.fault.severity;
    }
    for (const auto& [fault, raise] : snapshot.chattering) {
      chattering[fault.fault_dn] = fault.change;
      if (fault.shown_alarm != 0) alarms[fault.shown_alarm] = fault.shown_severity;
    }
  }

  void read(const std::string& path, std::size_t at_once) {
    ChangeFeed feed(path);
    for (ChangeNumber before = -1; before != through;) {
      before = through;
      const Feed next = feed.next(through, at_once);
      ASSERT_FALSE(next.gap);
      ASSERT_TRUE(next.damage.empty());
      for (const StoredChange& one : next.changes) follow(one.change);
      through = next.through;
    }
  }
};

// The same by asking for the alarms that each change touches.
struct Asking {
  std::map<ChangeNumber, Severity> alarms;
  ChangeNumber through = 0;
  bool has_begun = false;

  void ask(ChangeFeed& feed, const std::vector<ChangeNumber>& numbers) {
    const FeedAlarms found = feed.alarms(numbers);
    ASSERT_TRUE(found.damage.empty());
    for (const ChangeNumber number : numbers) alarms.erase(number);
    for (const FeedAlarm& alarm : found.alarms) {
      EXPECT_TRUE(alarm.standing.was_told || alarm.chattering || alarm.is_silenced()) << alarm.fault.fault_dn;
      if (alarm.standing.was_told || alarm.chattering) alarms[alarm.number] = alarm.fault.severity;
    }
  }

  void read(const std::string& path, std::size_t at_once) {
    ChangeFeed feed(path);
    if (!has_begun) {
      const FeedStart start = feed.start();
      through = start.number;
      ask(feed, start.alarms);
      has_begun = true;
    }
    for (ChangeNumber before = -1; before != through;) {
      before = through;
      const Feed next = feed.next(through, at_once);
      std::vector<ChangeNumber> touched;
      for (const StoredChange& one : next.changes) {
        if (one.change.alarm != 0) touched.push_back(one.change.alarm);
        if (one.change.other != 0) touched.push_back(one.change.other);
      }
      ask(feed, touched);
      through = next.through;
    }
  }
};

class ChatteringModelTest : public test::RandomWalk<Model> {
 protected:
  ChatteringModelTest() : RandomWalk({.chattering = ChatteringLimit{.times = kTimes, .within = kWithin}}) {}

  void event() {
    std::string text = R"({"entity":"fan","sensor":"FAN1_TACH1","offset":)" + std::to_string(pick(3, 5)) +
                       R"(,"state":)" + std::to_string(pick(0, 1)) + "}";
    if (pick(0, 2) == 0) {  // several sensors share a fault
      const int state = pick(0, 1);
      text = R"({"entity":"sys_board","sensor":"RISER)" + std::to_string(pick(1, 2)) + R"(_INLET_TMP","offset":)" +
             std::to_string(117 + state) + R"(,"state":)" + std::to_string(pick(0, 2) == 0 ? 0 : 4 + state) + "}";
    }
    const Receipt receipt = recorder_->record(parse_sensor_event(text));
    std::vector<std::string> begun;
    std::vector<std::string> want;
    for (const Change& change : receipt.input->changes) {
      if (change.kind == ChangeKind::kRaised && model_.raise(change.fault_dn, clock_.wall())) {
        want.push_back(change.fault_dn);
      }
      if (change.kind == ChangeKind::kChattering) begun.push_back(change.fault_dn);
      if (change.is_folded) {
        EXPECT_TRUE(model_.chattering().contains(change.fault_dn)) << change.fault_dn;
      }
    }
    EXPECT_EQ(begun, want);
  }

  void action() {
    OperatorAction action{.kind = static_cast<ActionKind>(pick(0, 7))};
    action.person = "anna";
    action.lasts = action.kind == ActionKind::kShelve || action.kind == ActionKind::kMaintain ? pick(1, 40) : 0;
    if (is_about_object(action.kind)) {
      action.dn = pick(0, 1) == 0 ? "sys" : "sys/rack-unit-1/fan-module-1-1";
    } else {
      for (const ActiveFault* fault : recorder_->alarms().in_order()) {
        if (pick(0, 1) == 0) action.alarms.push_back(fault->alarm);
      }
      std::ranges::sort(action.alarms);
    }
    try {
      recorder_->act(std::move(action));
    } catch (const ActionRefused&) {  // what is possible is tested with the actions
    }
  }

  void end_what_is_over() {
    for (const std::string& fault_dn : model_.over(clock_.wall())) model_.faults.erase(fault_dn);
    recorder_->end_what_is_over();
    EXPECT_EQ(recorder_->alarms().chattering(), model_.chattering().size());
  }

  void compare() {
    std::map<std::string, std::uint64_t> got;
    const Snapshot snapshot = ChangeFeed(path_).snapshot();
    EXPECT_TRUE(snapshot.damage.empty());
    for (const auto& [fault, raise] : snapshot.chattering) got[fault.fault_dn] = fault.raises;
    EXPECT_EQ(got, committed_.chattering());
    follower_.read(path_, static_cast<std::size_t>(pick(1, 9)));
    late_.read(path_, 100);
    Output fresh;
    fresh.begin(snapshot);
    expect_same(late_, fresh);
    expect_same(follower_, fresh);
    asking_.read(path_, static_cast<std::size_t>(pick(10, 50)));
    EXPECT_EQ(asking_.alarms, fresh.alarms);
    if (pick(0, 3) == 0) late_ = fresh;
    // Nothing chatters: outputs know what is active, but for what was silent all the time.
    if (!got.empty()) return;
    std::map<ChangeNumber, Severity> active;
    for (const ActiveRow& row : LedgerReader(path_).active({}, std::nullopt)) {
      EXPECT_TRUE(row.standing.was_told || row.is_silenced()) << row.fault.fault_dn;
      if (row.standing.was_told) active[row.fault.alarm] = row.fault.severity;
    }
    EXPECT_EQ(follower_.alarms, active);
  }

  static void expect_same(const Output& got, const Output& want) {
    EXPECT_EQ(got.alarms, want.alarms);
    EXPECT_EQ(got.chattering, want.chattering);
    EXPECT_EQ(got.through, want.through);
  }

  Output follower_;  // from the beginning
  Asking asking_;    // begins at some time
  Output late_;      // that begins with a snapshot now and then
};

TEST_F(ChatteringModelTest, RandomSequences) {
  std::size_t begun = 0;
  for (unsigned seed = 1; seed <= kSequences && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    follower_ = late_ = {};
    asking_ = {};
    begin(seed);
    for (int steps = pick(20, 120); steps > 0 && !HasFailure(); --steps) {
      end_what_is_over();
      const int what = pick(0, 99);
      if (what < 72) {
        event();
      } else if (what < 80) {
        action();
      } else if (what < 90) {
        clock_.pass(pick(1, 12));
      } else if (what < 97) {
        commit();
        compare();
      } else {
        restart(what == 98);
      }
      begun += model_.chattering().size();
    }
    commit();
    compare();
    clock_.pass(kWithin + 50);  // all settles, and all silence is over
    end_what_is_over();
    commit();
    compare();
    EXPECT_TRUE(model_.chattering().empty());
    if (seed % 50 == 0) {
      const Verification verification = verify_ledger(path_);
      EXPECT_EQ(verification.found, 0U) << (verification.found > 0 ? verification.findings[0].what : "");
    }
    stop();
  }
  EXPECT_GT(begun, kSequences) << "faults did chatter";
}

}  // namespace chattering_model_test
}  // namespace polaiga::engine
