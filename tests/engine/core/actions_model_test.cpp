// Random events and actions over a few alarms, with restarts and kills between, against a model of the operators' part
// that is as plain as can be. Which fault an event raises or clears is taken from the changes; that they are right is
// tested with the alarms.
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>

#include "intake/event_parser.h"
#include "ledger/reader.h"
#include "model/fault.h"
#include "report/rfc8632.h"
#include "support/random_walk.h"

namespace polaiga::engine {
namespace actions_model_test {

#ifdef POLAIGA_SHORT_WALK
constexpr unsigned kSequences = 50;
#else
constexpr unsigned kSequences = 500;
#endif

// What the model knows of an alarm that is active.
struct Known {
  std::string fault_dn;
  bool acknowledged = false;
  bool closed = false;
  std::optional<Moment> shelf;  // when it is over
  bool was_unshelved = false;
  bool was_told = false;

  OperatorState state() const {
    if (shelf) return OperatorState::kShelved;
    if (closed) return OperatorState::kClosed;
    if (acknowledged) return OperatorState::kAcknowledged;
    return was_unshelved ? OperatorState::kUnshelved : OperatorState::kNone;
  }
};

struct Model {
  std::map<ChangeNumber, Known> alarms;
  std::map<std::string, Moment> maintenance;  // when it is over
  std::vector<ChangeNumber> missed;

  bool is_out_of_service(const std::string& fault_dn) const {
    for (const auto& [dn, until] : maintenance) {
      if (fault_dn == dn || fault_dn.starts_with(dn + "/")) return true;
    }
    return false;
  }
  bool is_silenced(const Known& alarm) const { return alarm.shelf || is_out_of_service(alarm.fault_dn); }

  // The alarm that goes on is silenced or answered only if the one that ended was, too.
  static void join(Known& goes_on, const Known& ended, const std::string& fault_dn) {
    goes_on.fault_dn = fault_dn;
    if (goes_on.shelf && !ended.shelf) {
      goes_on.shelf.reset();
      goes_on.was_unshelved = true;
    }
    if (!ended.acknowledged && !ended.closed) goes_on.acknowledged = goes_on.closed = false;
  }

  // Follows a change of a fault; answers whether outputs may be quiet about it.
  bool follow(const Change& change) {
    Known& alarm = alarms[change.alarm];
    if (change.kind == ChangeKind::kRaised || change.kind == ChangeKind::kRefreshed) alarm.fault_dn = change.fault_dn;
    bool quiet = is_silenced(alarm);
    const bool ends = change.after == Severity::kCleared;
    if (ends) {
      quiet = !alarm.was_told;
      const bool is_missed = alarm.was_told && !alarm.acknowledged && !alarm.closed && !alarm.shelf;
      if (is_missed && change.kind != ChangeKind::kMerged) missed.push_back(change.alarm);
      if (change.kind == ChangeKind::kMerged) join(alarms[change.other], alarm, change.fault_dn);
      alarms.erase(change.alarm);
    } else if (!quiet) {
      alarm.was_told = true;
    }
    return quiet;
  }
};

// "acknowledged 3", "back_in_service 0 sys/psu", and " quiet".
std::string expected(ChangeKind kind, ChangeNumber alarm, bool quiet, const std::string& dn = "") {
  return std::string(change_word(kind)) + " " + std::to_string(alarm) + (dn.empty() ? "" : " " + dn) +
         (quiet ? " quiet" : "");
}

std::vector<std::string> texts_of(const std::vector<Change>& changes) {
  std::vector<std::string> texts;
  for (const Change& change : changes) {
    texts.push_back(expected(change.kind, change.alarm, change.is_quiet, change.alarm == 0 ? change.fault_dn : ""));
  }
  return texts;
}

class ActionsModelTest : public test::RandomWalk<Model> {
 protected:
  void event() {
    const std::string text = R"({"entity":"fan","sensor":"FAN)" + std::to_string(pick(1, 2)) + R"(_TACH1","offset":)" +
                             std::to_string(pick(3, 5)) + R"(,"state":)" + std::to_string(pick(0, 1)) + "}";
    const Receipt receipt = recorder_->record(parse_sensor_event(text));
    for (const Change& change : receipt.input->changes) {
      EXPECT_EQ(change.is_quiet, model_.follow(change)) << change_word(change.kind) << " " << change.fault_dn;
    }
  }

  std::vector<ChangeNumber> some_alarms() {
    std::vector<ChangeNumber> numbers;
    for (const auto& [number, alarm] : model_.alarms) {
      if (pick(0, 2) > 0) numbers.push_back(number);
    }
    return numbers;
  }

  // Carries out what the model says that is possible, and hears the refusal of what is not.
  void action() {
    const auto kind = static_cast<ActionKind>(pick(0, 8));
    OperatorAction action{.kind = kind};
    action.person = "anna";
    action.lasts = kind == ActionKind::kShelve || kind == ActionKind::kMaintain ? pick(1, 40) : 0;
    std::vector<std::string> want;
    if (is_about_object(kind)) {
      constexpr const char* kObjects[] = {"sys", "sys/rack-unit-1/fan-module-1-1", "sys/rack-unit-1/psu-1"};
      action.dn = kObjects[pick(0, 2)];
      if (kind == ActionKind::kEndMaintenance && !model_.maintenance.contains(action.dn)) {
        EXPECT_THROW(recorder_->act(std::move(action)), ActionRefused);
        return;
      }
      want = kind == ActionKind::kMaintain ? maintain(action.dn, action.lasts) : end_maintenance(action.dn);
    } else if (kind == ActionKind::kAcknowledgeMissed) {
      model_.missed.clear();
      action.through = recorder_->alarms().last_change();
    } else {
      action.alarms = some_alarms();
      if (action.alarms.empty()) {
        EXPECT_THROW(recorder_->act(std::move(action)), ActionRefused);
        return;
      }
      for (const ChangeNumber number : action.alarms) {
        if (!is_possible(kind, model_.alarms.at(number))) {
          EXPECT_THROW(recorder_->act(std::move(action)), ActionRefused);
          return;
        }
      }
      for (const ChangeNumber number : action.alarms) want.push_back(apply(kind, number, action.lasts));
    }
    const Receipt receipt = recorder_->act(std::move(action));
    EXPECT_EQ(texts_of(receipt.input->changes), want);
  }

  static bool is_possible(ActionKind kind, const Known& alarm) {
    if (kind == ActionKind::kUnacknowledge) return alarm.acknowledged || alarm.closed;
    return kind != ActionKind::kUnshelve || alarm.shelf;
  }

  std::string apply(ActionKind kind, ChangeNumber number, std::int64_t lasts) {
    Known& alarm = model_.alarms.at(number);
    if (kind == ActionKind::kAcknowledge) alarm.acknowledged = true;
    if (kind == ActionKind::kClose) alarm.closed = true;
    if (kind == ActionKind::kUnacknowledge) alarm.acknowledged = alarm.closed = false;
    if (kind == ActionKind::kShelve) alarm.shelf = clock_.wall() + lasts;
    if (kind == ActionKind::kUnshelve) {
      alarm.shelf.reset();
      alarm.was_unshelved = true;
    }
    const bool quiet = kind == ActionKind::kShelve ? !alarm.was_told : model_.is_silenced(alarm);
    if (!quiet) alarm.was_told = true;
    return expected(change_of(kind).value(), number, quiet);
  }

  std::vector<std::string> maintain(const std::string& dn, std::int64_t lasts) {
    std::vector<std::string> want;
    for (const auto& [number, alarm] : model_.alarms) {
      if (alarm.fault_dn.starts_with(dn + "/") && !model_.is_out_of_service(alarm.fault_dn)) {
        want.push_back(expected(ChangeKind::kOutOfService, number, !alarm.was_told));
      }
    }
    model_.maintenance[dn] = clock_.wall() + lasts;
    want.push_back(expected(ChangeKind::kOutOfService, 0, false, dn));
    return want;
  }

  std::vector<std::string> end_maintenance(const std::string& dn) {
    std::vector<std::string> want;
    model_.maintenance.erase(dn);
    for (auto& [number, alarm] : model_.alarms) {
      if (!alarm.fault_dn.starts_with(dn + "/") || model_.is_out_of_service(alarm.fault_dn)) continue;
      const bool quiet = model_.is_silenced(alarm);
      if (!quiet) alarm.was_told = true;
      want.push_back(expected(ChangeKind::kBackInService, number, quiet));
    }
    want.push_back(expected(ChangeKind::kBackInService, 0, false, dn));
    return want;
  }

  // What is over for the model is over for the engine, and not before.
  void end_what_is_over() {
    std::vector<ChangeNumber> shelves;
    for (const auto& [number, alarm] : model_.alarms) {
      if (alarm.shelf && *alarm.shelf < clock_.wall()) shelves.push_back(number);
    }
    std::vector<std::string> objects;
    for (const auto& [dn, until] : model_.maintenance) {
      if (until < clock_.wall()) objects.push_back(dn);
    }
    std::vector<std::string> want;
    for (const ChangeNumber number : shelves) want.push_back(apply(ActionKind::kUnshelve, number, 0));
    for (const std::string& dn : objects) std::ranges::copy(end_maintenance(dn), std::back_inserter(want));
    const std::size_t before = recorder_->batch().inputs.size();
    EXPECT_EQ(recorder_->end_what_is_over(), !want.empty());
    std::vector<std::string> got;
    for (std::size_t i = before; i < recorder_->batch().inputs.size(); ++i) {
      std::ranges::copy(texts_of(recorder_->batch().inputs[i].changes), std::back_inserter(got));
    }
    EXPECT_EQ(got, want);
  }

  using States = std::map<ChangeNumber, std::string>;

  // What is remembered of now, for questions of later times.
  States states() const {
    States found;
    for (const auto& [number, alarm] : model_.alarms) {
      found[number] = std::string(operator_state_word(alarm.state())) +
                      (model_.is_out_of_service(alarm.fault_dn) ? " out of service" : "");
    }
    return found;
  }

  // A random moment of the past is as it was.
  void compare_the_past(LedgerReader& reader) {
    if (past_.empty()) return;
    const auto& [at, want] = *std::next(past_.begin(), pick(0, static_cast<int>(past_.size()) - 1));
    States got;
    for (const ActiveRow& row : reader.active({}, at)) {
      got[row.fault.alarm] =
          std::string(operator_state_word(row.standing.state())) + (row.is_out_of_service ? " out of service" : "");
    }
    EXPECT_EQ(got, want) << at;
  }

  void compare() {
    States want = states();
    for (const auto& [number, alarm] : model_.alarms) want[number] += alarm.was_told ? " told" : "";
    States got;
    LedgerReader reader(path_);
    for (const ActiveRow& row : reader.active({}, std::nullopt)) {
      got[row.fault.alarm] = std::string(operator_state_word(row.standing.state())) +
                             (row.is_out_of_service ? " out of service" : "") + (row.standing.was_told ? " told" : "");
      const bool has_person = row.state_by && row.state_by->action && row.state_by->action->person == "anna";
      const OperatorState state = row.standing.state();
      EXPECT_EQ(has_person, state != OperatorState::kNone && state != OperatorState::kUnshelved);
    }
    EXPECT_EQ(got, want);
    std::vector<ChangeNumber> missed;
    for (const StoredAlarm& alarm : reader.missed(0)) missed.push_back(alarm.number);
    std::vector<ChangeNumber> want_missed = model_.missed;
    std::ranges::sort(want_missed);
    EXPECT_EQ(missed, want_missed);
    std::map<std::string, Moment> objects;
    for (const StoredMaintenance& one : reader.maintenance()) objects[one.maintenance.dn] = one.maintenance.until;
    EXPECT_EQ(objects, model_.maintenance);
    past_[clock_.wall()] = states();
    EXPECT_TRUE(reader.left_out().empty());
  }

  void compare_all() {
    compare();
    LedgerReader reader(path_);
    compare_summaries(reader);
    compare_the_past(reader);
    EXPECT_TRUE(reader.left_out().empty());
  }

  // The summary that keeps no alarms is the same as that of all of them.
  static void compare_summaries(LedgerReader& reader) {
    const std::string levels = "F0395-F0396-F0397";
    const AlarmTypes types{.qualifiers = {{395, levels}, {396, levels}, {397, levels}}, .inventory = {}};
    AlarmSumming summing(types);
    reader.alarm_facts("", [&summing](const AlarmFact& fact) { summing.add(fact); });
    const std::string alone = rfc8632_document(summing.summary());
    const std::string whole = rfc8632_document(reader.tell_history("", 0), types);
    const std::size_t begin = alone.find("\"summary\"");
    const std::string summary = alone.substr(begin, alone.rfind("}}\n") - begin);
    EXPECT_NE(whole.find(summary + ","), std::string::npos) << summary << "\n" << whole;
  }

  std::map<Moment, States> past_;  // by the moment, up to the latest commit
};

TEST_F(ActionsModelTest, RandomSequences) {
  for (unsigned seed = 1; seed <= kSequences && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    past_.clear();
    begin(seed);
    for (int steps = pick(5, 40); steps > 0 && !HasFailure(); --steps) {
      past_.erase(clock_.wall());  // this second is not over
      end_what_is_over();
      const int what = pick(0, 99);
      if (what < 45) {
        event();
      } else if (what < 80) {
        action();
      } else if (what < 90) {
        clock_.pass(pick(1, 20));
      } else if (what < 96) {
        commit();
        compare();
      } else {
        restart(what < 98);
      }
    }
    commit();
    compare_all();
    stop();
  }
}

}  // namespace actions_model_test
}  // namespace polaiga::engine
