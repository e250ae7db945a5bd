#include "fleet_alerts/fleet_telling.h"

#include <algorithm>
#include <utility>

#include "report/json_object.h"

namespace polaiga::alertmanager {

using engine::Priority;
using std::chrono::milliseconds;

FleetTelling::FleetTelling(const std::vector<Address>& alertmanagers, std::chrono::seconds resend,
                           const Surroundings& with)
    : with_(with), read_at_(with.clock.steady()), read_at_wall_(with.clock.wall()) {
  for (const Address& one : alertmanagers) {
    senders_.push_back(std::make_unique<AlertSender>(one, resend, with.post, with.clock, with.tell, with.random));
  }
}

void FleetTelling::take(const FleetAlerts& found) {
  read_at_ = with_.clock.steady();
  read_at_wall_ = with_.clock.wall();
  unreadable_.reset();
  if (!std::exchange(problem_, {}).empty()) with_.tell(Priority::kNotice, "The fleet's database can be read again");
  if (found.is_cut && !is_cut_) {
    with_.tell(Priority::kWarning, "There are more alerts than are told; the less severe ones are left out");
  }
  is_cut_ = found.is_cut;
  tell(found.alerts);
}

void FleetTelling::cannot_read(const std::string& problem) {
  if (std::exchange(problem_, problem) != problem) {
    with_.tell(Priority::kWarning, problem + "; what was read last is told until it can be read again");
  }
  if (unreadable_ || with_.clock.steady() - read_at_ < kUnreadableAfter) return;
  engine::JsonObject labels;
  labels.add("alertname", kUnreadableName).add("severity", "critical");
  engine::JsonObject annotations;
  annotations.add("summary", "The fleet's database cannot be read, so nothing new is told of the fleet")
      .add("description", problem);
  unreadable_ = std::make_shared<const Alert>(Alert{
      .labels = labels.text(), .annotations = annotations.text(), .link = {}, .starts_at = read_at_wall_, .alarm = 0});
  AlertsByLabels now = told_;
  now.emplace(unreadable_->labels, unreadable_);
  tell(now);
}

void FleetTelling::tell(const AlertsByLabels& now) {
  for (const auto& sender : senders_) {
    for (const auto& [labels, alert] : now) {
      const auto before = told_.find(labels);
      if (before == told_.end() || *before->second != *alert) sender->queue().raise(alert, 0);
    }
    for (const auto& [labels, alert] : told_) {
      if (!now.contains(labels)) sender->queue().end(alert, with_.clock.wall(), 0);
    }
  }
  told_ = now;
}

void FleetTelling::go_on() {
  for (const auto& sender : senders_) sender->send();
}

milliseconds FleetTelling::until_next() const {
  milliseconds until = milliseconds::max();
  for (const auto& sender : senders_) until = std::min(until, sender->until_next());
  return until;
}

std::string FleetTelling::status() const {
  const auto away = std::ranges::count_if(senders_, [](const auto& one) { return !one->health().is_connected(); });
  std::string text = std::to_string(told_.size()) + " active alerts, " + std::to_string(senders_.size()) + " peers";
  if (away != 0) text += ", " + std::to_string(away) + " of them do not take what they are told";
  if (!problem_.empty()) text += "; " + problem_;
  return text;
}

}  // namespace polaiga::alertmanager
