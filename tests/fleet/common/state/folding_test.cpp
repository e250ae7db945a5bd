// Random events and operators' actions of an engine. What polaiga-mqtt tells of its changes is taken by a receiver,
// whose alarms are compared with those that outputs take for active; first over a line that loses nothing, and then
// over one that loses messages, repeats them, and mixes up the two ways on which they come.
#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "intake/event_parser.h"
#include "messages/payloads.h"
#include "picture/followed_ledger.h"
#include "report/json_object.h"
#include "state/controller_state.h"
#include "support/random_walk.h"
#include "telling/replays.h"
#include "wire/message.h"

namespace polaiga::fleet {
namespace folding_test {

using engine::ChangeKind;
using output::OutputAlarm;

#ifdef POLAIGA_SHORT_WALK
constexpr unsigned kSequences = 10;
#else
constexpr unsigned kSequences = 25;
#endif

const mqtt::Origin kOrigin{.site = "lab", .controller = "rack-1"};
const Sender kSender{.site = "lab", .controller = "rack-1"};

// Messages on their way.
struct Wire {
  std::deque<std::string> changes;
  std::deque<std::string> replayed;
};

// What a collector does with the messages of one controller.
class Receiver {
 public:
  void take(Kind kind, const std::string& payload) {
    std::visit([this](const auto& message) { take(message); }, parse_message({kSender, kind}, payload));
  }

  // The request that is due. An answer that does not come is not waited for when `is_late`.
  std::optional<Request> ask(bool is_late) {
    if (!progress.asked_for.empty() && !is_late) return std::nullopt;
    const auto request = next_request(progress);
    if (request) progress.asked_for = request_id(*request, std::to_string(++asked_));
    return request;
  }

  LedgerProgress progress;
  std::map<ChangeNumber, AlarmState> alarms;
  std::vector<ChangeNumber> taken;       // changes, in their order
  std::set<ChangeNumber> shows_another;  // alarms that show a record that was never told
  std::size_t repeats = 0;
  std::size_t early = 0;
  std::size_t lists = 0;

 private:
  void take(const ChangeMessage& change) {
    const Verdict verdict = fleet::take(change, progress);
    repeats += verdict == Verdict::kRepeat ? 1 : 0;
    early += verdict == Verdict::kEarly ? 1 : 0;
    if (verdict != Verdict::kTaken) return;
    taken.push_back(change.number);
    if (change.record) records_[change.sequence] = *change.record;
    for (const ChangeNumber number : alarms_of(change)) {
      AlarmState& alarm = alarms[number];
      alarm.number = number;
      const bool is_news = change.number > alarm.last_change;
      if (apply(change, alarm)) want_list(progress);
      if (is_news && number == change.alarm) note_shown(change, alarm);
    }
  }

  // A reporter took its report back: the record of another one is shown, if it was told.
  void note_shown(const ChangeMessage& change, AlarmState& alarm) {
    if (change.kind == ChangeKind::kRaised || change.kind == ChangeKind::kRefreshed) shows_another.erase(alarm.number);
    if (change.kind != ChangeKind::kPartlyCleared) return;
    const auto shown = records_.find(change.shown_sequence);
    if (shown != records_.end() && shown->second.fault_dn == change.fault_dn) {
      show(shown->second, alarm);
      shows_another.erase(alarm.number);
    } else {
      shows_another.insert(alarm.number);
    }
  }

  void take(const ListMessage& list) {
    if (fleet::take(list, progress) != Verdict::kTaken) return;
    ++lists;
    std::set<ChangeNumber> listed;
    for (const ListedAlarm& one : list.alarms) {
      listed.insert(one.number);
      AlarmState& alarm = alarms[one.number];
      alarm.number = one.number;
      if (list.number >= alarm.last_change) shows_another.erase(one.number);
      apply(one, list.number, alarm);
    }
    for (auto& [number, alarm] : alarms) {
      if (list.after < number && number <= list.through && !listed.contains(number)) miss(list.number, 0, alarm);
    }
  }

  void take(const ReplayDone& done) { fleet::take(done, progress); }
  void take(const StatusMessage& status) { fleet::take(status, progress); }
  void take(const GapMessage& /*gap*/) { ADD_FAILURE() << "retention takes nothing here"; }
  void take(const ReplayRefused& refused) { ADD_FAILURE() << refused.why; }
  void take(const ActedMessage& acted) { ADD_FAILURE() << acted.id; }

  std::map<std::int64_t, FaultWords> records_;
  int asked_ = 0;
};

struct NoModel {};

class FoldingTest : public engine::test::RandomWalk<NoModel> {
 protected:
  FoldingTest()
      : RandomWalk({.renew_acknowledgements = true, .chattering = engine::ChatteringLimit{.times = 2, .within = 30}}) {}

  void begin_all(unsigned seed) {
    receiver_ = {};
    told_.clear();
    told_through_ = 0;
    begin(seed);
    followed_.emplace(path_, clock_, [](engine::Priority, const std::string& text) { ADD_FAILURE() << text; });
  }

  void event() {
    std::string text = R"({"entity":"fan","sensor":"FAN)" + std::to_string(pick(1, 2)) + R"(_TACH1","offset":)" +
                       std::to_string(pick(3, 5)) + R"(,"state":)" + std::to_string(pick(0, 1)) + "}";
    if (pick(0, 2) == 0) {  // several sensors share a fault
      const int state = pick(0, 1);
      text = R"({"entity":"sys_board","sensor":"RISER)" + std::to_string(pick(1, 2)) + R"(_INLET_TMP","offset":)" +
             std::to_string(117 + state) + R"(,"state":)" + std::to_string(pick(0, 2) == 0 ? 0 : 4 + state) + "}";
    }
    recorder_->record(engine::parse_sensor_event(text));
  }

  void action() {
    engine::OperatorAction action{.kind = static_cast<engine::ActionKind>(pick(0, 7))};
    action.person = "anna";
    const bool is_silence = action.kind == engine::ActionKind::kShelve || action.kind == engine::ActionKind::kMaintain;
    action.lasts = is_silence ? pick(1, 40) : 0;
    if (engine::is_about_object(action.kind)) {
      action.dn = pick(0, 1) == 0 ? "sys" : "sys/rack-unit-1/fan-module-1-1";
    } else {
      for (const engine::ActiveFault* fault : recorder_->alarms().in_order()) {
        if (pick(0, 1) == 0) action.alarms.push_back(fault->alarm);
      }
      std::ranges::sort(action.alarms);
    }
    try {
      recorder_->act(std::move(action));
    } catch (const engine::ActionRefused&) {  // what is possible is tested elsewhere
    }
  }

  // A random step of the engine.
  void step() {
    recorder_->end_what_is_over();
    const int what = pick(0, 99);
    if (what < 65) {
      event();
    } else if (what < 80) {
      action();
    } else if (what < 97) {
      clock_.pass(pick(1, 12));
    } else {
      restart(what == 98);
    }
  }

  // Tells what was committed, as polaiga-mqtt does.
  void tell(Wire& wire) {
    clock_.pass(std::chrono::milliseconds(500));
    while (followed_->look().has_more) {
    }
    ChangeNumber previous = told_before(told_through_);
    for (ChangeNumber before = -1; before != told_through_;) {
      before = told_through_;
      const engine::Feed feed = followed_->changes_after(told_through_, 100);
      ASSERT_FALSE(feed.gap);
      for (const engine::StoredChange& one : feed.changes) {
        if (one.change.is_quiet) continue;
        wire.changes.push_back(
            mqtt::change_payload(kOrigin, one, {.ledger_id = followed_->ledger_id(), .previous = previous}));
        previous = one.change.number;
        told_.push_back(previous);
      }
      told_through_ = feed.through;
    }
  }

  ChangeNumber told_before(ChangeNumber number) const {
    const auto next = std::ranges::upper_bound(told_, number);
    return next == told_.begin() ? 0 : *std::prev(next);
  }

  // As polaiga-mqtt answers; but a list of few alarms comes in parts, too.
  void answer(const Request& request, const std::string& id, std::deque<std::string>& into) {
    if (request.is_for_list && pick(0, 1) == 0) {
      answer_in_parts(request, id, into);
      return;
    }
    std::vector<mqtt::MessageId> sent;
    mqtt::Replays replays(
        kOrigin, "polaiga/v1/lab/rack-1/replayed",
        {.read = [this](ChangeNumber after, std::size_t most) { return followed_->changes_after(after, most); },
         .told_before = [this](ChangeNumber number) { return told_before(number); },
         .send =
             [&](const mqtt::Message& message) {
               into.push_back(message.payload);
               sent.push_back(static_cast<mqtt::MessageId>(sent.size()) + 1);
               return sent.back();
             },
         .look =
             [this] {
               return mqtt::Picture{.ledger_id = followed_->ledger_id(),
                                    .number = followed_->number(),
                                    .alarms = followed_->alarms(),
                                    .profile = followed_->profile()};
             }});
    replays.take(request.is_for_list ? list_request_payload(followed_->ledger_id(), request.after, id)
                                     : replay_payload(followed_->ledger_id(), request.first, request.last, id),
                 followed_->ledger_id());
    std::size_t confirmed = 0;
    while (!replays.is_idle()) {
      while (replays.go_on(1000)) {
      }
      ASSERT_LT(confirmed, sent.size()) << "it goes on";
      while (confirmed < sent.size()) replays.confirmed(sent[confirmed++]);
    }
  }

  void answer_in_parts(const Request& request, const std::string& id, std::deque<std::string>& into) const {
    constexpr std::size_t kInPart = 2;
    std::vector<const OutputAlarm*> alarms;
    for (const auto& [number, alarm] : followed_->alarms()) {
      if (alarm.was_told && number > request.after) alarms.push_back(&alarm);
    }
    ChangeNumber after = request.after;
    for (std::size_t i = 0;; i += kInPart) {
      const std::size_t end = std::min(i + kInPart, alarms.size());
      const bool is_last = end == alarms.size();
      engine::JsonArray array;
      for (std::size_t one = i; one < end; ++one) {
        array.add(output::output_alarm_form(*alarms[one], followed_->ledger_id(), followed_->profile()));
      }
      const ChangeNumber through = is_last ? std::max(after, followed_->number()) : alarms[end - 1]->number;
      into.push_back(from_rack(engine::JsonObject()
                                   .add("ledger_id", followed_->ledger_id())
                                   .add("replay", id)
                                   .add("number", followed_->number())
                                   .add("after", after)
                                   .add("through", through)
                                   .add("last", is_last)
                                   .add("alarms", array)));
      after = through;
      if (is_last) return;
    }
  }

  static std::string from_rack(engine::JsonObject message) {
    return message.add("site", "lab").add("controller", "rack-1").add("version", "1.0.0").text();
  }

  std::string status() const {
    return mqtt::online_payload(kOrigin, {.ledger_id = followed_->ledger_id(),
                                          .number = followed_->number(),
                                          .oldest_number = 1,
                                          .told = told_.empty() ? 0 : told_.back(),
                                          .is_engine_answering = true,
                                          .at = clock_.wall()});
  }

  // Whatever the receiver asks for is answered, until it asks for nothing.
  void settle(Wire& wire) {
    for (bool more = true; more;) {
      for (const std::string& one : std::exchange(wire.changes, {})) receiver_.take(Kind::kChange, one);
      for (const std::string& one : std::exchange(wire.replayed, {})) receiver_.take(Kind::kReplayed, one);
      const auto request = receiver_.ask(true);
      more = request.has_value();
      if (more) answer(*request, receiver_.progress.asked_for, wire.replayed);
    }
  }

  // The receiver takes for active what outputs do.
  void compare() {
    std::vector<ChangeNumber> want;
    std::vector<ChangeNumber> got;
    for (const auto& [number, alarm] : followed_->alarms()) {
      if (alarm.was_told) want.push_back(number);
    }
    for (const auto& [number, alarm] : receiver_.alarms) {
      if (alarm.is_active()) got.push_back(number);
    }
    ASSERT_EQ(got, want);
    for (const ChangeNumber number : want) compare(receiver_.alarms.at(number), followed_->alarms().at(number));
    EXPECT_EQ(receiver_.taken, told_);
  }

  void compare(const AlarmState& got, const OutputAlarm& want) {
    SCOPED_TRACE("alarm " + std::to_string(want.number));
    EXPECT_EQ(got.created, want.created);
    EXPECT_EQ(got.is_out_of_service, want.is_out_of_service);
    if (!want.is_out_of_service) {
      EXPECT_EQ(got.is_shelved, want.operator_state == engine::OperatorState::kShelved);
    }
    if (want.is_silenced()) return;  // nothing more is told of it until that is over
    ++compared_;
    // A list does not say whether what was answered had been shelved before.
    const auto state = [](engine::OperatorState one) {
      return one == engine::OperatorState::kUnshelved ? engine::OperatorState::kNone : one;
    };
    EXPECT_EQ(state(got.operator_state()), state(want.operator_state));
    EXPECT_EQ(got.severity, want.severity);
    EXPECT_GE(got.worst, got.severity);
    if (want.raises != 0) return;  // its fault chatters: what becomes of it is told when it has settled
    EXPECT_EQ(got.raises, 0U);
    EXPECT_EQ(got.fault, want.fault);
    EXPECT_EQ(got.words.fault_dn, want.fault_dn);
    EXPECT_EQ(got.words.dn, want.dn);
    EXPECT_EQ(got.words.code, want.code);
    EXPECT_EQ(got.words.name, want.name);
    EXPECT_EQ(got.since, want.since);
    EXPECT_EQ(got.updated, want.updated);
    // A list may be answered while changes are on their way that its alarms take before it.
    EXPECT_LE(got.count, want.count);
    if (!is_line_bad_) {
      EXPECT_EQ(got.count, want.count);
    }
    EXPECT_EQ(got.reporters, want.reporters);
    if (receiver_.shows_another.contains(want.number)) return;
    ++words_compared_;
    EXPECT_EQ(got.words.sensor, want.sensor);
    EXPECT_EQ(got.words.description, want.description);
    EXPECT_EQ(got.words.cause, want.cause);
  }

  // Delivers some of the messages, in an order of its own, and not all of them.
  void deliver_badly(Wire& wire) {
    for (int i = pick(0, 40); i > 0; --i) {
      const bool is_change = pick(0, 1) == 0;
      std::deque<std::string>& way = is_change ? wire.changes : wire.replayed;
      if (way.empty()) continue;
      // Mostly in order; a broker that was restarted hands out older ones again.
      const std::size_t at = pick(0, 9) == 0 ? static_cast<std::size_t>(pick(0, static_cast<int>(way.size()) - 1)) : 0;
      const std::string message = way[at];
      const int fate = pick(0, 99);
      if (fate >= 10) way.erase(way.begin() + static_cast<std::ptrdiff_t>(at));  // else it comes again
      if (fate < 90) receiver_.take(is_change ? Kind::kChange : Kind::kReplayed, message);
    }
  }

  Receiver receiver_;
  std::optional<output::FollowedLedger> followed_;
  std::vector<ChangeNumber> told_;  // all changes that were told
  ChangeNumber told_through_ = 0;
  bool is_line_bad_ = false;
  std::size_t compared_ = 0;
  std::size_t words_compared_ = 0;
};

TEST_F(FoldingTest, NothingIsLost) {
  std::size_t early = 0;
  std::size_t lists = 0;
  for (unsigned seed = 1; seed <= kSequences && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    begin_all(seed);
    Wire wire;
    for (int rounds = pick(5, 30); rounds > 0 && !HasFailure(); --rounds) {
      for (int steps = pick(1, 6); steps > 0; --steps) step();
      commit();
      tell(wire);
      settle(wire);
      compare();
    }
    for (const auto& [number, alarm] : receiver_.alarms) EXPECT_NE(alarm.end, kMissing) << number;
    early += receiver_.early;
    lists += receiver_.lists;
    stop();
  }
  EXPECT_EQ(early, 0U);
  EXPECT_GT(lists, kSequences) << "silence did end";
  EXPECT_GT(words_compared_, 10 * kSequences);
}

TEST_F(FoldingTest, LossesRepeatsAndDisorder) {
  std::size_t early = 0;
  std::size_t repeats = 0;
  is_line_bad_ = true;
  for (unsigned seed = 1; seed <= kSequences && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    begin_all(seed);
    Wire wire;
    for (int rounds = pick(5, 30); rounds > 0; --rounds) {
      for (int steps = pick(1, 6); steps > 0; --steps) step();
      commit();
      tell(wire);
      deliver_badly(wire);
      const auto request = receiver_.ask(pick(0, 3) == 0);
      if (request) answer(*request, receiver_.progress.asked_for, wire.replayed);
    }
    receiver_.take(Kind::kStatus, status());
    settle(wire);
    compare();
    early += receiver_.early;
    repeats += receiver_.repeats;
    stop();
  }
  EXPECT_GT(early, kSequences);
  EXPECT_GT(repeats, kSequences);
}

}  // namespace folding_test
}  // namespace polaiga::fleet
