#include "alerts/alert_board.h"

#include <optional>
#include <utility>

namespace polaiga::alertmanager {

using engine::ChangeNumber;

std::vector<AlertTurn> AlertBoard::take(ChangeNumber number, const output::OutputAlarm* alarm,
                                        std::string_view ledger_id, const engine::AlarmProfile& profile) {
  AlertPointer now;
  bool is_active = false;
  if (alarm != nullptr) {
    const engine::ProfileEntry* const entry = profile.find(alarm->code, alarm->dn);
    now = std::make_shared<const Alert>(alert_of(*alarm, ledger_id, entry, identity_));
    is_active = is_heard(*alarm, entry);
  }
  const auto found = by_alarm_.find(number);
  const AlertPointer before = found == by_alarm_.end() ? nullptr : found->second;
  if (before && now && is_active && *before == *now) return {};

  std::vector<AlertTurn> turns;
  if (is_active) {
    by_alarm_.insert_or_assign(number, now);
    if (auto turn = put(now)) turns.push_back(std::move(*turn));
  } else if (before) {
    by_alarm_.erase(number);
  }
  const bool is_gone = before && (!is_active || before->labels != now->labels);
  // What the operators did is told with the end, if the alert is the same.
  if (is_gone) turns.push_back(remove(before, now && now->labels == before->labels ? now.get() : nullptr));
  return turns;
}

std::optional<AlertTurn> AlertBoard::put(const AlertPointer& alert) {
  Holders& holders = holders_[alert->labels];
  holders.insert_or_assign(alert->alarm, alert);
  if (holders.begin()->second != alert) return std::nullopt;
  return AlertTurn{.alert = alert, .is_active = true};
}

AlertTurn AlertBoard::remove(const AlertPointer& alert, const Alert* as_it_ends) {
  const auto held = holders_.find(alert->labels);
  held->second.erase(alert->alarm);
  if (!held->second.empty()) return {.alert = held->second.begin()->second, .is_active = true};
  holders_.erase(held);
  return {.alert = as_it_ends != nullptr ? std::make_shared<const Alert>(*as_it_ends) : alert, .is_active = false};
}

std::vector<ChangeNumber> AlertBoard::alarms() const {
  std::vector<ChangeNumber> numbers;
  numbers.reserve(by_alarm_.size());
  for (const auto& one : by_alarm_) numbers.push_back(one.first);
  return numbers;
}

std::vector<AlertPointer> AlertBoard::alerts() const {
  std::vector<AlertPointer> all;
  all.reserve(holders_.size());
  for (const auto& [number, alert] : by_alarm_) {
    if (holders_.at(alert->labels).begin()->second == alert) all.push_back(alert);
  }
  return all;
}

}  // namespace polaiga::alertmanager
