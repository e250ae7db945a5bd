// Tells Alertmanagers what is active in a fleet, and what is not any more, by one reading of its database after
// another.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "fleet_alerts/fleet_alerts.h"
#include "telling_alerts/alert_sender.h"
#include "telling_alerts/telling.h"

namespace polaiga::alertmanager {

class FleetTelling {
 public:
  // When the database could not be read for so long, that is an alert of its own.
  static constexpr std::chrono::seconds kUnreadableAfter{60};
  static constexpr const char* kUnreadableName = "PolaigaFleetUnreadable";

  FleetTelling(const std::vector<Address>& alertmanagers, std::chrono::seconds resend, const Surroundings& with);

  // The database was read, or `problem` says why not. What was read last is told until it is read again.
  void take(const FleetAlerts& found);
  void cannot_read(const std::string& problem);

  // Tells what there is to tell now.
  void go_on();
  std::chrono::milliseconds until_next() const;

  // For the service manager.
  std::string status() const;

 private:
  void tell(const AlertsByLabels& now);

  Surroundings with_;
  std::vector<std::unique_ptr<AlertSender>> senders_;
  AlertsByLabels told_;
  AlertPointer unreadable_;  // null: it can be read, or could a short time ago
  engine::Clock::Steady read_at_;
  engine::Moment read_at_wall_;
  std::string problem_;  // "": there is none
  bool is_cut_ = false;
};

}  // namespace polaiga::alertmanager
