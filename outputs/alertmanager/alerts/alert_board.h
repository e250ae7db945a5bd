// The alerts that are active, made of the alarms that outputs take for active.
#pragma once

#include <cstddef>
#include <map>
#include <unordered_map>
#include <vector>

#include "alerts/alert.h"

namespace polaiga::alertmanager {

// What an Alertmanager is to be told anew of an alert.
struct AlertTurn {
  AlertPointer alert;
  bool is_active = false;  // else it is over
};

class AlertBoard {
 public:
  explicit AlertBoard(Identity identity) : identity_(std::move(identity)) {}

  // The alarm of this number is now so, or not there any more (null). An alert that begins comes before one that ends
  // for it, so that there is none of its object at no moment. At most three turns.
  std::vector<AlertTurn> take(engine::ChangeNumber number, const output::OutputAlarm* alarm, std::string_view ledger_id,
                              const engine::AlarmProfile& profile);

  // The numbers of the alarms that are alerts.
  std::vector<engine::ChangeNumber> alarms() const;
  // All active alerts, those of the oldest alarms first.
  std::vector<AlertPointer> alerts() const;
  bool has(const std::string& labels) const { return holders_.contains(labels); }
  std::size_t size() const { return holders_.size(); }

  const Identity& identity() const { return identity_; }

 private:
  // Two alarms can have the same labels for a while, as when a fault is chattering. The oldest is shown.
  using Holders = std::map<engine::ChangeNumber, AlertPointer>;

  std::optional<AlertTurn> put(const AlertPointer& alert);
  AlertTurn remove(const AlertPointer& alert, const Alert* as_it_ends);

  Identity identity_;
  std::unordered_map<std::string, Holders> holders_;  // by their labels
  std::map<engine::ChangeNumber, AlertPointer> by_alarm_;
};

}  // namespace polaiga::alertmanager
