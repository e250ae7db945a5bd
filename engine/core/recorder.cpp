#include "core/recorder.h"

#include <algorithm>
#include <map>
#include <utility>

#include "base/printable.h"

namespace polaiga::engine {
namespace {

constexpr const char* kTablesOfTheLedger = "the ledger's tables";  // in complaints

Arrival last_arrival(const Ledger* ledger) {
  if (ledger == nullptr) return {};
  return {ledger->last_arrived(), ledger->last_arrived(), ledger->last_age()};
}

// An event may tell of the past, but not of the time after its arrival.
Moment moment_of(const SensorEvent& event, Moment arrived) {
  return event.time && *event.time <= arrived ? *event.time : arrived;
}

}  // namespace

Recorder::Recorder(const Options& options, const Clock& clock, Ledger* ledger)
    : ledger_(ledger),
      most_in_batch_(options.most_in_batch),
      most_changes_in_batch_(options.most_changes_in_batch),
      filters_(options.platform, options.log),
      alarms_(options.most_reports, ledger != nullptr ? ledger->last_change() : 0),
      arrivals_(clock, last_arrival(ledger)),
      last_sequence_(ledger != nullptr ? ledger->last_sequence() : 0) {
  if (options.renew_acknowledgements) alarms_.renew_acknowledgements();
  alarms_.watch_chattering(options.chattering);
}

Recorder::Recorder(const Options& options, const Clock& clock)
    : Recorder(options, clock, static_cast<Ledger*>(nullptr)) {}

Recorder::Recorder(const Options& options, const Clock& clock, Ledger& ledger) : Recorder(options, clock, &ledger) {
  const Restored restored = ledger.restore();
  rebuild(restored);
  rebuild_chattering(restored, options.chattering);
}

// A raise before a restart counts like any other.
void Recorder::rebuild_chattering(const Restored& restored, const std::optional<ChatteringLimit>& limit) {
  for (const ChatteringFault& fault : restored.chattering) alarms_.restore(fault);
  if (!limit) return;
  try {
    for (const RecentRaise& raise : ledger_->recent_raises(ledger_->last_age() - limit->within)) {
      alarms_.restore_raise(raise.fault_dn, raise.age);
    }
  } catch (const SqlError&) {  // then their counts begin anew
  }
}

// All tables are checked before the library is given anything: it cannot take an
// event back. A later program may refuse tables that an earlier one took.
void Recorder::rebuild(const Restored& restored) {
  std::map<std::int64_t, std::string> refused;
  for (const auto& [id, tables] : restored.tables) {
    try {
      install_host_tables(tables, kTablesOfTheLedger);
    } catch (const TableError& error) {
      refused.emplace(id, error.what());
    }
  }
  std::int64_t installed = 0;
  for (const Restored::Step& step : restored.steps) {
    if (refused.contains(step.tables)) continue;
    if (step.tables != std::exchange(installed, step.tables)) {
      install_host_tables(restored.tables.at(step.tables), kTablesOfTheLedger);
    }
    filter_state_.note(step.sequence, step.event, filters_.run(step.event).record);
  }
  for (const auto& [id, why] : refused) {
    const auto events = std::ranges::count(restored.steps, id, &Restored::Step::tables);
    news_.push_back("This program does not take host tables that the ledger has: " + why +
                    ". What the filters remember of " + std::to_string(events) +
                    " events that were handled under them is lost.");
  }
  filter_state_.take_changes();  // the ledger has them
  for (const ActiveFault& fault : restored.faults) alarms_.restore(fault);
  for (const Maintenance& maintenance : restored.maintenance) alarms_.restore(maintenance);
}

void Recorder::use_tables(const HostTables& tables, const std::string& directory) {
  install_host_tables(tables, directory);
  if (ledger_ != nullptr) ledger_->use(tables, library_build());
}

void Recorder::use_profile(AlarmProfile profile) {
  alarms_.use(std::move(profile));
  if (ledger_ != nullptr) ledger_->set_profile(alarms_.profile().text());
}

std::optional<Sequence> Recorder::find(const std::optional<std::string>& id, InputKind kind) const {
  if (!id || ledger_ == nullptr) return std::nullopt;
  if (const auto ids = ids_.find(kind); ids != ids_.end()) {
    if (const auto found = ids->second.find(*id); found != ids->second.end()) return found->second;
  }
  return ledger_->find(*id, kind);
}

// An id that somebody uses a second time for something else must not pass as what was done before. The alarms are not
// compared: a selection that is made again leaves out what is done already.
void Recorder::must_be_as(Sequence former, const OperatorAction& action) const {
  const auto in_batch = std::ranges::find(batch_.inputs, former, &RecordedInput::sequence);
  const auto known = in_batch != batch_.inputs.end() ? in_batch->action : ledger_->action(former);
  if (!known || (known->kind == action.kind && known->dn == action.dn && known->comment == action.comment)) return;
  throw ActionRefused("The id " + in_quotes(*action.id) + " belongs to input " + std::to_string(former) +
                      ", which was another action: " + std::string(action_word(known->kind)) +
                      (known->comment ? ", " + in_quotes(*known->comment) : std::string()) + ". Choose another id");
}

RecordedInput Recorder::new_input(const Arrival& arrival) const {
  RecordedInput input;
  input.sequence = last_sequence_ + 1;
  input.received = arrival.received;
  input.arrived = arrival.arrived;
  input.age = arrival.age;
  input.at = arrival.arrived;
  return input;
}

Receipt Recorder::take(RecordedInput&& input) {
  last_sequence_ = input.sequence;
  const auto& id = input.action ? input.action->id : input.event.id;
  if (id && ledger_ != nullptr) {
    ids_[input.action ? InputKind::kAction : InputKind::kEvent].emplace(*id, input.sequence);
  }
  changes_ += input.changes.size();
  counts_.add(input);
  batch_.inputs.push_back(std::move(input));
  return {batch_.inputs.back().sequence, false, &batch_.inputs.back()};
}

Receipt Recorder::take_again(Sequence former) {
  ++counts_.duplicates;
  return {former, true, nullptr};
}

Receipt Recorder::record(SensorEvent&& event) {
  if (const auto known = find(event.id, InputKind::kEvent)) return take_again(*known);
  const Arrival arrival = arrivals_.now();
  went_back_ = std::max<std::int64_t>(0, std::exchange(last_received_, arrival.received) - arrival.received);
  RecordedInput input = new_input(arrival);
  input.at = moment_of(event, arrival.arrived);
  alarms_.set_age(arrival.age);
  const Filtered filtered = filters_.run(event);
  if (ledger_ != nullptr) filter_state_.note(input.sequence, event, filtered.record);
  for (const std::string& fault_dn : filtered.withdrawn) {
    alarms_.withdraw(fault_dn, input.sequence, input.at, input.changes);
  }
  input.reported = filtered.reported;
  input.record = filtered.record;
  if (input.reported) {
    input.outcome = alarms_.apply(input.record, reporter_of(event), input.sequence, input.at, input.changes);
  }
  input.event = std::move(event);
  return take(std::move(input));
}

Receipt Recorder::act(OperatorAction&& action) {
  if (const auto known = find(action.id, InputKind::kAction)) {
    must_be_as(*known, action);
    return take_again(*known);
  }
  const Arrival arrival = arrivals_.now();
  if (action.kind == ActionKind::kShelve || action.kind == ActionKind::kMaintain) {
    if (action.lasts == 0) action.lasts = action.until - arrival.arrived;
    if (action.lasts <= 0)
      throw ActionRefused("The end is in the past; it is " + format_moment(arrival.arrived) + " now");
    if (action.lasts > kMostSilence) throw ActionRefused("The end is more than 30 days ahead");
    action.until = std::min(arrival.arrived + action.lasts, kLastMoment);
    action.until_age = arrival.age + action.lasts + 1;  // ages are cut to seconds, and it must not end before its time
  }
  must_have_room(action);
  RecordedInput input = new_input(arrival);
  alarms_.act(action, input.sequence, input.at, input.changes);
  input.action = std::move(action);
  return take(std::move(input));
}

// Each alarm must take one more action. To end a shelf is always possible.
void Recorder::must_have_room(const OperatorAction& action) const {
  if (ledger_ == nullptr || action.kind == ActionKind::kUnshelve) return;
  const bool comments = action.kind == ActionKind::kComment;
  const std::size_t most = comments ? kMostActionsBeforeComment : kMostActionsOfAlarm;
  std::unordered_map<ChangeNumber, std::size_t> unwritten;
  for (const RecordedInput& input : batch_.inputs) {
    if (!input.action) continue;
    for (const Change& change : input.changes) ++unwritten[change.alarm];
  }
  for (const ChangeNumber alarm : action.alarms) {
    const auto more = unwritten.find(alarm);
    if (ledger_->count_actions(alarm) + (more != unwritten.end() ? more->second : 0) < most) continue;
    throw ActionRefused("Alarm " + std::to_string(alarm) + " has had " + std::to_string(most) +
                        " actions, and takes no " + (comments ? "more comments" : "further ones") +
                        " until it is over; `polaiga explain` tells those that it has");
  }
}

bool Recorder::end_what_is_over() {
  if (!alarms_.next_end() || is_full()) return false;
  const Arrival arrival = arrivals_.now();
  if (*alarms_.next_end() > arrival.age) return false;
  std::vector<OperatorAction> actions = alarms_.over(arrival.age);
  for (OperatorAction& action : actions) {
    act(std::move(action));
    if (is_full()) break;  // the others follow in the next batch
  }
  return !actions.empty();
}

std::optional<std::int64_t> Recorder::until_next_end() {
  if (!alarms_.next_end()) return std::nullopt;
  return std::max<std::int64_t>(0, *alarms_.next_end() - arrivals_.now().age);
}

void Recorder::commit() {
  if (ledger_ != nullptr && has_batch()) {
    for (auto& [slot, sequences] : filter_state_.take_changes()) batch_.filter_state[slot] = std::move(sequences);
    for (auto& [fault_dn, fault] : alarms_.take_chattering()) batch_.chattering[fault_dn] = std::move(fault);
    ledger_->write(batch_);
  }
  batch_.inputs.clear();
  changes_ = 0;
  batch_.filter_state.clear();
  batch_.chattering.clear();
  ids_.clear();
}

}  // namespace polaiga::engine
