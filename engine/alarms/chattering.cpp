#include "alarms/chattering.h"

#include <algorithm>
#include <utility>

namespace polaiga::engine {

ChatteringFault* ChatteringWatch::raise(std::string_view fault_dn, std::int64_t age) {
  const auto known = faults_.find(fault_dn);
  if (known != faults_.end() && known->second.chattering) {
    const ByLastRaise::iterator fault = *known->second.chattering;
    ++fault->raises;
    fault->last_age = age;
    fault->alarm_is_over = false;
    chattering_.splice(chattering_.end(), chattering_, fault);
    changed_.insert(fault->fault_dn);
    return &*fault;
  }
  if (!limit_) return nullptr;
  const auto noted = note(known, fault_dn, age);
  forget_old(age);
  Watched& watched = noted->second;
  if (!begins(watched) || chattering_.size() >= most_faults_) return nullptr;
  ChatteringFault& fault = chattering_.emplace_back(
      ChatteringFault{.fault_dn = noted->first, .raises = watched.ages.size(), .last_age = age});
  watched.chattering = std::prev(chattering_.end());
  watched.ages = {};
  order_.erase(*watched.place);
  watched.place.reset();
  changed_.insert(fault.fault_dn);
  return &fault;
}

// Notes the latest raises of a fault, as many as decide whether it is chattering. `found` is the fault, or the end.
ChatteringWatch::Faults::iterator ChatteringWatch::note(Faults::iterator found, std::string_view fault_dn,
                                                        std::int64_t age) {
  if (found == faults_.end()) {
    if (order_.size() >= most_faults_) forget_oldest();
    found = faults_.emplace(fault_dn, Watched{}).first;
    found->second.place = order_.insert(order_.end(), {&found->first, age});
  } else {
    order_.splice(order_.end(), order_, *found->second.place);
    order_.back().age = age;
  }
  std::vector<std::int64_t>& ages = found->second.ages;
  if (ages.size() == limit_->times + 2) ages.erase(ages.begin());
  ages.push_back(age);
  return found;
}

bool ChatteringWatch::begins(const Watched& watched) const {
  return watched.ages.size() == limit_->times + 2 && watched.ages.back() - watched.ages.front() < limit_->within;
}

void ChatteringWatch::forget_old(std::int64_t age) {
  while (!order_.empty() && age - order_.front().age >= limit_->within) forget_oldest();
}

void ChatteringWatch::forget_oldest() {
  const auto oldest = faults_.find(*order_.front().fault_dn);
  order_.pop_front();
  faults_.erase(oldest);
}

ChatteringFault* ChatteringWatch::find(std::string_view fault_dn) {
  if (chattering_.empty()) return nullptr;
  const auto found = faults_.find(fault_dn);
  return found != faults_.end() && found->second.chattering ? &**found->second.chattering : nullptr;
}

ChatteringFault* ChatteringWatch::shows(ChangeNumber alarm) const {
  if (shown_.empty()) return nullptr;
  const auto found = shown_.find(alarm);
  return found != shown_.end() ? found->second : nullptr;
}

void ChatteringWatch::show(ChatteringFault& fault, ChangeNumber alarm, Severity severity) {
  hide(fault);
  fault.shown_alarm = alarm;
  fault.shown_severity = severity;
  fault.shown_is_over = false;
  fault.was_told = true;
  shown_[alarm] = &fault;
}

void ChatteringWatch::hide(ChatteringFault& fault) {
  shown_.erase(fault.shown_alarm);
  fault.shown_alarm = 0;
  fault.shown_severity = Severity::kCleared;
  changed_.insert(fault.fault_dn);
}

// A fault may have left the alarm long ago: its latest alarm is what matters when it settles.
void ChatteringWatch::merge(ChangeNumber alarm, ChangeNumber into) {
  for (ChatteringFault& fault : chattering_) {
    if (fault.alarm != alarm) continue;
    fault.alarm = into;
    changed_.insert(fault.fault_dn);
  }
}

void ChatteringWatch::settle(std::string_view fault_dn) {
  const auto found = faults_.find(fault_dn);
  const ByLastRaise::iterator fault = *found->second.chattering;
  hide(*fault);
  faults_.erase(found);
  chattering_.erase(fault);
}

ChatteringWatch::Changes ChatteringWatch::take_changes() {
  Changes changes;
  for (const std::string& fault_dn : changed_) {
    const ChatteringFault* const fault = find(fault_dn);
    changes.emplace(fault_dn, fault != nullptr ? std::optional(*fault) : std::nullopt);
  }
  changed_.clear();
  return changes;
}

// Ages are cut to seconds, and a fault must not settle before its time.
std::optional<std::int64_t> ChatteringWatch::next_end() const {
  if (chattering_.empty()) return std::nullopt;
  return limit_ ? chattering_.front().last_age + limit_->within + 1 : 0;
}

std::vector<std::string> ChatteringWatch::over(std::int64_t age, std::size_t most) const {
  std::vector<std::string> found;
  for (const ChatteringFault& fault : chattering_) {
    if (found.size() == most || (limit_ && age <= fault.last_age + limit_->within)) break;
    found.push_back(fault.fault_dn);
  }
  return found;
}

ChatteringFault& ChatteringWatch::restore(ChatteringFault fault) {
  const std::string fault_dn = fault.fault_dn;
  const auto place = chattering_.insert(chattering_.end(), std::move(fault));
  faults_[fault_dn] = {.chattering = place};
  if (place->shown_alarm != 0) shown_[place->shown_alarm] = &*place;
  return *place;
}

void ChatteringWatch::restore_raise(std::string_view fault_dn, std::int64_t age) {
  const auto known = faults_.find(fault_dn);
  if (limit_ && (known == faults_.end() || !known->second.chattering)) note(known, fault_dn, age);
}

}  // namespace polaiga::engine
