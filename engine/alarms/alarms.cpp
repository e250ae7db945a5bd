#include "alarms/alarms.h"

#include <algorithm>
#include <utility>

#include "model/fault.h"

namespace polaiga::engine {

Alarms::Alarms(std::size_t most_reports, ChangeNumber last_change)
    : most_reports_(most_reports), last_change_(last_change), chattering_(most_reports) {}

Outcome Alarms::apply(const fe_fault_record& record, const Reporter& reporter, Sequence sequence, Moment at,
                      std::vector<Change>& changes) {
  const Step step{reporter, sequence, at, changes};
  if (only_clears(record)) return clear(record, step);
  const auto former = supersede(record, step);
  return raise(record, former, step);
}

Outcome Alarms::clear(const fe_fault_record& record, const Step& step) {
  const auto fault = faults_.find(std::string_view(record.fault_dn));
  if (fault == faults_.end() || !take_back(fault->second, step.reporter)) {
    ++counts_.already_clear;
    return Outcome::kAlreadyClear;
  }
  if (!fault->second.reports.empty()) {
    tell(fault->second, add(fault->second, ChangeKind::kPartlyCleared, step.sequence, step.at, step.changes));
    ++counts_.partly_cleared;
    return Outcome::kPartlyCleared;
  }
  end(fault, ChangeKind::kCleared, Severity::kCleared, step.sequence, step.at, step.changes);
  ++counts_.cleared;
  return Outcome::kCleared;
}

// Takes the reporter away from the fault that the record names as superseded.
// Answers with the alarm of that fault, or with nothing when the reporter does
// not report it.
std::optional<Alarms::Former> Alarms::supersede(const fe_fault_record& record, const Step& step) {
  if (record.clear_code == 0 || record.clear_code == record.code) return std::nullopt;
  const auto found = faults_.find(std::string_view(fault_dn(record.dn, record.clear_code)));
  if (found == faults_.end() || !take_back(found->second, step.reporter)) return std::nullopt;
  ActiveFault& fault = found->second;
  Former former{fault.alarm, fault.alarm_since, fault.severity, fault.standing, fault.reports.empty()};
  if (former.goes_on) {
    // The alarm keeps its severity until the change that follows at once.
    end(found, ChangeKind::kSuperseded, former.severity, step.sequence, step.at, step.changes);
    ++counts_.superseded;
  } else {
    tell(fault, add(fault, ChangeKind::kPartlyCleared, step.sequence, step.at, step.changes));
    ++counts_.partly_cleared;
  }
  return former;
}

Outcome Alarms::raise(const fe_fault_record& record, const std::optional<Former>& former, const Step& step) {
  if (const auto found = faults_.find(std::string_view(record.fault_dn)); found != faults_.end()) {
    return refresh(found->second, profile_.severity_of(record), former, step);
  }
  // A reporter that was just taken away from another fault left its place to this
  // one, even where an earlier run left more than the limit.
  if (!former && reports_ >= most_reports_) {
    ++counts_.not_tracked;
    return Outcome::kNotTracked;
  }
  ActiveFault fault;
  fault.fault_dn = record.fault_dn;
  fault.code = record.code;
  fault.severity = profile_.severity_of(record);
  fault.fault = last_change_ + 1;
  fault.since = step.at;
  const bool goes_on = former && former->goes_on;
  fault.alarm = goes_on ? former->alarm : fault.fault;
  fault.alarm_since = goes_on ? former->since : step.at;
  if (goes_on) fault.standing = former->standing;
  ChatteringFault* const chattering = chattering_.raise(fault.fault_dn, age_);
  const bool begins = chattering != nullptr && chattering->change == 0;
  if (chattering != nullptr) chattering->alarm = fault.alarm;
  if (!begins) fault.chattering = chattering;
  report(fault, step);
  Change& change = add(fault, ChangeKind::kRaised, step.sequence, step.at, step.changes);
  change.before = goes_on ? former->severity : Severity::kCleared;
  change.other = former && !goes_on ? former->alarm : 0;
  tell(fault, change);
  if (goes_on) renew(fault, former->severity, step);
  if (begins) begin_chattering(fault, *chattering, step);
  ++counts_.raised;
  faults_.emplace(fault.fault_dn, std::move(fault));
  return Outcome::kRaised;
}

Outcome Alarms::refresh(ActiveFault& fault, Severity severity, const std::optional<Former>& former, const Step& step) {
  const bool is_new = std::ranges::find(fault.reports, step.reporter, &Report::reporter) == fault.reports.end();
  if (is_new && !former && reports_ >= most_reports_) {
    ++counts_.not_tracked;
    return Outcome::kNotTracked;
  }
  Severity before = fault.severity;
  if (former && former->goes_on) {
    // Both faults had an alarm; the older one goes on.
    const bool other_is_older = former->alarm < fault.alarm;
    Change& merged = add(fault, ChangeKind::kMerged, step.sequence, step.at, step.changes);
    merged.after = Severity::kCleared;
    merged.other = std::min(former->alarm, fault.alarm);
    const bool was_told = other_is_older ? fault.standing.was_told : former->standing.was_told;
    if (!other_is_older) {
      merged.alarm = former->alarm;
      merged.before = former->severity;
    }
    ChatteringFault* const shows = chattering_.shows(merged.alarm);
    merged.is_quiet = is_quiet_end(fault, was_told);
    merged.is_folded = fault.chattering != nullptr && (!was_told || shows != nullptr);
    if (shows != nullptr) {
      shows->shown_is_over = true;
      if (merged.is_told()) chattering_.hide(*shows);
    }
    chattering_.merge(merged.alarm, merged.other);
    AlarmStanding ended = former->standing;
    if (other_is_older) {
      fault.alarm = former->alarm;
      fault.alarm_since = former->since;
      ended = std::exchange(fault.standing, former->standing);
      before = former->severity;
    }
    join(fault, ended, before, step);
    ++counts_.merged;
  }
  fault.severity = severity;  // another one than before when the profile was changed
  report(fault, step);
  Change& change = add(fault, ChangeKind::kRefreshed, step.sequence, step.at, step.changes);
  change.before = before;
  tell(fault, change);
  renew(fault, before, step);
  ++counts_.refreshed;
  return Outcome::kRefreshed;
}

// What nobody has answered or silenced must not become so by being merged: the alarm that goes on keeps what operators
// made of it only as far as the one that ended had the same.
void Alarms::join(ActiveFault& fault, const AlarmStanding& ended, Severity severity, const Step& step) {
  AlarmStanding& standing = fault.standing;
  const auto change = [&](ChangeKind kind) {
    Change& made = add(fault, kind, step.sequence, step.at, step.changes);
    made.before = made.after = severity;
    tell(fault, made);
  };
  if (standing.shelved != 0 && ended.shelved == 0) {
    standing.shelved = 0;
    standing.shelved_until = standing.shelved_until_age = 0;
    standing.was_unshelved = true;
    change(ChangeKind::kUnshelved);
    look_for_next_end();
  }
  const bool has_answer = standing.acknowledged != 0 || standing.closed != 0;
  if (has_answer && ended.acknowledged == 0 && ended.closed == 0) {
    standing.acknowledged = standing.closed = 0;
    change(ChangeKind::kUnacknowledged);
  }
}

// An alarm that got worse asks for a new acknowledgement, if that is wanted.
void Alarms::renew(ActiveFault& fault, Severity before, const Step& step) {
  AlarmStanding& standing = fault.standing;
  const bool has_answer = standing.acknowledged != 0 || standing.closed != 0;
  if (!renews_acknowledgements_ || !has_answer || fault.severity <= before) return;
  standing.acknowledged = standing.closed = 0;
  tell(fault, add(fault, ChangeKind::kUnacknowledged, step.sequence, step.at, step.changes));
}

// Notes that the reporter reports the fault, with the record of this input.
void Alarms::report(ActiveFault& fault, const Step& step) {
  auto found = std::ranges::find(fault.reports, step.reporter, &Report::reporter);
  if (found == fault.reports.end()) {
    ++reports_;
    found = fault.reports.insert(found, Report{step.reporter, step.sequence, step.at, 0, 0, 0});
  }
  found->last = step.sequence;
  found->last_at = step.at;
  ++found->count;
  fault.shown = step.sequence;
  fault.updated = step.at;
  ++fault.count;
}

// Takes a reporter away from a fault, which then shows the latest record of those
// who still report it. Answers whether the reporter did report it.
bool Alarms::take_back(ActiveFault& fault, const Reporter& reporter) {
  const auto found = std::ranges::find(fault.reports, reporter, &Report::reporter);
  if (found == fault.reports.end()) return false;
  fault.reports.erase(found);
  --reports_;
  if (!fault.reports.empty()) fault.shown = std::ranges::max_element(fault.reports, {}, &Report::last)->last;
  return true;
}

void Alarms::withdraw(std::string_view fault_dn, Sequence sequence, Moment at, std::vector<Change>& changes) {
  const auto fault = faults_.find(fault_dn);
  if (fault == faults_.end()) return;
  reports_ -= fault->second.reports.size();
  fault->second.reports.clear();
  end(fault, ChangeKind::kWithdrawn, Severity::kCleared, sequence, at, changes);
  ++counts_.withdrawn;
}

void Alarms::end(Faults::iterator fault, ChangeKind kind, Severity after, Sequence sequence, Moment at,
                 std::vector<Change>& changes) {
  Change& change = add(fault->second, kind, sequence, at, changes);
  change.after = after;
  if (kind != ChangeKind::kSuperseded) {
    change.is_quiet = is_quiet_end(fault->second, fault->second.standing.was_told);
    if (fault->second.chattering != nullptr) fault->second.chattering->alarm_is_over = true;
    if (ChatteringFault* const shows = chattering_.shows(fault->second.alarm)) shows->shown_is_over = true;
  }
  tell(fault->second, change);
  faults_.erase(fault);
}

// Who was told that an alarm began is told that it is over. Who was not, because its fault is chattering, has no
// silence to thank for it.
bool Alarms::is_quiet_end(const ActiveFault& fault, bool was_told) const {
  return !was_told && (fault.chattering == nullptr || is_silenced(fault));
}

// Decides whether the change feed leaves a change of an alarm out, because the alarm's fault is chattering; and notes
// what outputs know after it.
//
// Of a chattering fault, outputs take one alarm for active all the time. What becomes of it, and of all others that
// they do not know, is left out. An alarm that they know otherwise, such as one that came from another level, is told
// of to its end. When they take none for active, the next one is told.
void Alarms::tell(ActiveFault& fault, Change& change) {
  const bool ends = change.after == Severity::kCleared;
  ChatteringFault* const chattering = fault.chattering;
  ChatteringFault* const shows = chattering_.shows(fault.alarm);
  if (chattering != nullptr && shows != nullptr) {
    change.is_folded = is_of_fault(change.kind);
  } else if (chattering != nullptr && !fault.standing.was_told) {
    change.is_folded = ends || chattering->shown_alarm != 0 || is_silenced(fault);
  }
  if (shows != nullptr && !change.is_folded) {  // a quiet change is in the feed, too, for those who know the alarm
    if (chattering == nullptr) {
      chattering_.hide(*shows);
    } else {
      chattering_.show(*shows, fault.alarm, change.after);
    }
  }
  if (!change.is_told()) return;
  fault.standing.was_told = true;
  if (chattering != nullptr && shows == nullptr && chattering->shown_alarm == 0 && !ends &&
      change.kind != ChangeKind::kSuperseded) {
    chattering_.show(*chattering, fault.alarm, change.after);
  }
}

void Alarms::begin_chattering(ActiveFault& fault, ChatteringFault& chattering, const Step& step) {
  fault.chattering = &chattering;
  Change& change = add(fault, ChangeKind::kChattering, step.sequence, step.at, step.changes);
  change.raises = chattering.raises;
  chattering.change = change.number;
  chattering.since = step.at;
  chattering.was_told = change.is_told();
  if (fault.standing.was_told && chattering_.shows(fault.alarm) == nullptr) {
    chattering_.show(chattering, fault.alarm, fault.severity);
  }
}

// The fault's latest alarm and the one that outputs take for active, if they are active and not the same.
std::pair<ActiveFault*, ActiveFault*> Alarms::latest_and_shown(const ChatteringFault& fault) {
  std::pair<ActiveFault*, ActiveFault*> found{nullptr, nullptr};
  const auto own = faults_.find(fault.fault_dn);
  if (own != faults_.end()) found.first = &own->second;
  const bool wants_latest = own == faults_.end() && !fault.alarm_is_over;
  const bool wants_shown = fault.shown_alarm != 0 && fault.shown_alarm != fault.alarm && !fault.shown_is_over;
  if (!wants_latest && !wants_shown) return found;
  for (auto& [dn, other] : faults_) {
    if (wants_latest && other.alarm == fault.alarm) found.first = &other;
    if (wants_shown && other.alarm == fault.shown_alarm) found.second = &other;
  }
  return found;
}

void Alarms::settle(const OperatorAction& action, Sequence sequence, Moment at, std::vector<Change>& changes) {
  const ChatteringFault* const known = chattering_.find(action.dn);
  if (known == nullptr) throw ActionRefused("The fault is not chattering: " + action.dn);
  const ChatteringFault was = *known;
  const auto [latest, shown] = latest_and_shown(was);
  chattering_.settle(action.dn);
  if (latest != nullptr && latest->fault_dn == action.dn) latest->chattering = nullptr;
  Change change{.number = ++last_change_,
                .sequence = sequence,
                .kind = ChangeKind::kSettled,
                .at = at,
                .fault_dn = action.dn,
                .alarm = was.alarm,
                .raises = was.raises};
  if (latest != nullptr) {
    change.after = latest->severity;
    change.shown = latest->shown;
    change.reporters = static_cast<std::uint32_t>(latest->reports.size());
  }
  // An alarm that is active at another level goes on as what it is, and does not become the latest one.
  const bool is_shown = was.shown_alarm != 0 && shown == nullptr;
  const bool is_known = latest != nullptr && latest->standing.was_told;
  change.before = is_shown ? was.shown_severity : is_known ? change.after : Severity::kCleared;
  if (is_shown && was.shown_alarm != was.alarm) change.other = was.shown_alarm;
  change.is_quiet =
      latest == nullptr ? !was.was_told : was.shown_alarm == 0 && !latest->standing.was_told && is_silenced(*latest);
  // What outputs know now is what they take for active of another chattering fault, if it has none yet.
  const auto show = [this](ActiveFault& fault) {
    fault.standing.was_told = true;
    ChatteringFault* const shows = chattering_.shows(fault.alarm);
    if (shows != nullptr) {
      chattering_.show(*shows, fault.alarm, fault.severity);
    } else if (fault.chattering != nullptr && fault.chattering->shown_alarm == 0) {
      chattering_.show(*fault.chattering, fault.alarm, fault.severity);
    }
  };
  if (latest != nullptr && change.is_told()) show(*latest);
  if (shown != nullptr) show(*shown);
  changes.push_back(std::move(change));
}

void Alarms::act(const OperatorAction& action, Sequence sequence, Moment at, std::vector<Change>& changes) {
  if (is_about_object(action.kind)) {
    act_on_object(action, sequence, at, changes);
    return;
  }
  if (action.kind == ActionKind::kSettle) {
    settle(action, sequence, at, changes);
    return;
  }
  const auto kind = change_of(action.kind);
  if (!kind) return;
  for (ActiveFault* const fault : alarms_of(action)) {
    AlarmStanding& standing = fault->standing;
    const ChangeNumber number = last_change_ + 1;
    switch (action.kind) {
      case ActionKind::kAcknowledge:
        standing.acknowledged = number;
        break;
      case ActionKind::kUnacknowledge:
        standing.acknowledged = standing.closed = 0;
        break;
      case ActionKind::kClose:
        standing.closed = number;
        break;
      case ActionKind::kShelve:
        standing.shelved = number;
        standing.shelved_until = action.until;
        standing.shelved_until_age = action.until_age;
        break;
      case ActionKind::kUnshelve:
        standing.shelved = 0;
        standing.shelved_until = standing.shelved_until_age = 0;
        standing.was_unshelved = true;
        break;
      default:
        break;
    }
    Change& change = add(*fault, *kind, sequence, at, changes);
    // Who was told that the alarm began is told that it is silenced.
    if (action.kind == ActionKind::kShelve) change.is_quiet = !standing.was_told;
    tell(*fault, change);
  }
  look_for_next_end();
}

// Why the action is not possible for the alarm that has this fault, or that has none; null: it is possible.
const char* Alarms::why_not(ActionKind kind, const ActiveFault* fault) {
  if (fault == nullptr) return "not active: it is over, or there never was one";
  const AlarmStanding& standing = fault->standing;
  if (kind == ActionKind::kUnacknowledge && standing.acknowledged == 0 && standing.closed == 0) {
    return "neither acknowledged nor closed";
  }
  if (kind == ActionKind::kUnshelve && standing.shelved == 0) return "not shelved";
  return nullptr;
}

// The active faults of the alarms that the action is about, when it is possible for all of them.
std::vector<ActiveFault*> Alarms::alarms_of(const OperatorAction& action) {
  std::unordered_map<ChangeNumber, ActiveFault*> by_alarm;
  by_alarm.reserve(faults_.size());
  for (auto& [dn, fault] : faults_) by_alarm.emplace(fault.alarm, &fault);
  std::vector<ActiveFault*> found;
  found.reserve(action.alarms.size());
  for (const ChangeNumber number : action.alarms) {
    const auto alarm = by_alarm.find(number);
    const ActiveFault* const fault = alarm != by_alarm.end() ? alarm->second : nullptr;
    if (const char* const why = why_not(action.kind, fault)) {
      if (action.is_selection) continue;
      throw ActionRefused("Alarm " + std::to_string(number) + " is " + why);
    }
    found.push_back(alarm->second);
  }
  if (found.empty()) {
    throw ActionRefused("None of the selected alarms is active any more, or the action is done already");
  }
  return found;
}

void Alarms::act_on_object(const OperatorAction& action, Sequence sequence, Moment at, std::vector<Change>& changes) {
  const bool begins = action.kind == ActionKind::kMaintain;
  const auto known = maintenance_.find(action.dn);
  if (!begins && known == maintenance_.end()) throw ActionRefused("The object is not out of service: " + action.dn);
  if (begins && known == maintenance_.end() && maintenance_.size() >= kMostMaintenance) {
    throw ActionRefused(std::to_string(kMostMaintenance) +
                        " objects are out of service, which is the limit; end the maintenance of one");
  }
  std::vector<ActiveFault*> below;
  for (auto& [dn, fault] : faults_) {
    if (is_under(dn, action.dn) && is_out_of_service(dn) != begins) below.push_back(&fault);
  }
  if (begins) {
    maintenance_[action.dn] = {
        .dn = action.dn, .since = sequence, .since_at = at, .until = action.until, .until_age = action.until_age};
  } else {
    maintenance_.erase(known);
    std::erase_if(below, [this](const ActiveFault* fault) { return is_out_of_service(fault->fault_dn); });
  }
  std::ranges::sort(below, {}, &ActiveFault::alarm);
  const ChangeKind kind = begins ? ChangeKind::kOutOfService : ChangeKind::kBackInService;
  for (ActiveFault* const fault : below) {
    Change& change = add(*fault, kind, sequence, at, changes);
    if (begins) change.is_quiet = !fault->standing.was_told;
    tell(*fault, change);
  }
  changes.push_back({.number = ++last_change_, .sequence = sequence, .kind = kind, .at = at, .fault_dn = action.dn});
  look_for_next_end();
}

void Alarms::look_for_next_end() {
  next_end_.reset();
  const auto consider = [this](std::int64_t age) { next_end_ = std::min(next_end_.value_or(age), age); };
  for (const auto& [dn, fault] : faults_) {
    if (fault.standing.shelved != 0) consider(fault.standing.shelved_until_age);
  }
  for (const auto& [dn, maintenance] : maintenance_) consider(maintenance.until_age);
}

std::optional<std::int64_t> Alarms::next_end() const {
  const auto settles = chattering_.next_end();
  return settles && next_end_ ? std::min(*settles, *next_end_) : settles ? settles : next_end_;
}

std::vector<OperatorAction> Alarms::over(std::int64_t age) {
  constexpr std::size_t kMostSettled = 100;
  std::vector<OperatorAction> actions;
  for (std::string& fault_dn : chattering_.over(age, kMostSettled)) {
    actions.push_back({.kind = ActionKind::kSettle, .dn = std::move(fault_dn)});
  }
  if (!next_end_ || *next_end_ > age) return actions;
  const std::size_t settled = actions.size();
  OperatorAction unshelve{.kind = ActionKind::kUnshelve};
  for (const auto& [dn, fault] : faults_) {
    if (fault.standing.shelved != 0 && fault.standing.shelved_until_age <= age) unshelve.alarms.push_back(fault.alarm);
  }
  std::ranges::sort(unshelve.alarms);
  if (!unshelve.alarms.empty()) actions.push_back(std::move(unshelve));
  for (const auto& [dn, maintenance] : maintenance_) {
    if (maintenance.until_age <= age) actions.push_back({.kind = ActionKind::kEndMaintenance, .dn = dn});
  }
  if (actions.size() == settled) look_for_next_end();  // the alarm that was shelved is over
  return actions;
}

bool Alarms::is_out_of_service(std::string_view dn) const { return is_under_one_of(dn, maintenance_); }

bool Alarms::is_silenced(const ActiveFault& fault) const {
  return fault.standing.shelved != 0 || is_out_of_service(fault.fault_dn);
}

void Alarms::restore(Maintenance maintenance) {
  std::string dn = maintenance.dn;
  maintenance_.insert_or_assign(std::move(dn), std::move(maintenance));
  look_for_next_end();
}

void Alarms::restore(ChatteringFault fault) {
  ChatteringFault& restored = chattering_.restore(std::move(fault));
  if (const auto active = faults_.find(restored.fault_dn); active != faults_.end()) {
    active->second.chattering = &restored;
  }
}

Change& Alarms::add(const ActiveFault& fault, ChangeKind kind, Sequence sequence, Moment at,
                    std::vector<Change>& changes) {
  return changes.emplace_back(Change{.number = ++last_change_,
                                     .sequence = sequence,
                                     .kind = kind,
                                     .at = at,
                                     .fault_dn = fault.fault_dn,
                                     .fault = fault.fault,
                                     .alarm = fault.alarm,
                                     .before = fault.severity,
                                     .after = fault.severity,
                                     .other = 0,
                                     .shown = fault.shown,
                                     .reporters = static_cast<std::uint32_t>(fault.reports.size()),
                                     .is_quiet = is_silenced(fault)});
}

void Alarms::restore(ActiveFault fault) {
  reports_ += fault.reports.size();
  ++counts_.raised;
  if (fault.standing.shelved != 0) {
    next_end_ = std::min(next_end_.value_or(fault.standing.shelved_until_age), fault.standing.shelved_until_age);
  }
  std::string fault_dn = fault.fault_dn;
  faults_.insert_or_assign(std::move(fault_dn), std::move(fault));
}

const ActiveFault* Alarms::find(std::string_view fault_dn) const {
  const auto found = faults_.find(fault_dn);
  return found == faults_.end() ? nullptr : &found->second;
}

std::vector<const ActiveFault*> Alarms::in_order() const {
  std::vector<const ActiveFault*> faults;
  faults.reserve(faults_.size());
  for (const auto& [dn, fault] : faults_) faults.push_back(&fault);
  std::ranges::sort(faults, {}, &ActiveFault::fault);
  return faults;
}

}  // namespace polaiga::engine
