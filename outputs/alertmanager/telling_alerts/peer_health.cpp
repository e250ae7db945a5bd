#include "telling_alerts/peer_health.h"

#include <algorithm>
#include <utility>

namespace polaiga::alertmanager {

using engine::Priority;

PeerHealth::PeerHealth(std::string peer, const engine::Clock& clock, Tell tell, output::BackOff::Random random)
    : peer_(std::move(peer)),
      clock_(clock),
      tell_(std::move(tell)),
      back_off_(kFirstPause, kLongestPause, std::move(random)) {}

bool PeerHealth::succeeded() {
  const bool had_failed = std::exchange(has_failed_, false);
  if (!is_connected_) {
    say(Priority::kNotice, had_failed ? "it takes what it is told again" : "it takes what it is told");
  }
  is_connected_ = true;
  last_success_ = clock_.wall();
  back_off_.reset();
  next_ = {};
  return had_failed;
}

void PeerHealth::answered(const std::string& problem) {
  is_connected_ = true;
  last_error_ = problem;
  last_error_at_ = clock_.wall();
  back_off_.reset();
}

void PeerHealth::failed(const std::string& problem, std::optional<std::chrono::seconds> try_after) {
  if (!has_failed_) {
    say(Priority::kWarning, problem + ". What it does not take is kept, and tried again until it does");
  }
  has_failed_ = true;
  is_connected_ = false;
  last_error_ = problem;
  last_error_at_ = clock_.wall();
  const Steady asked = std::min<Steady>(try_after.value_or(std::chrono::seconds(0)), kLongestAsked);
  next_ = clock_.steady() + std::max<Steady>(back_off_.next(), asked);
}

void PeerHealth::fill(output::Report& report) const {
  report.is_connected = is_connected_;
  report.last_success = last_success_;
  report.last_error = last_error_;
  report.last_error_at = last_error_at_;
}

}  // namespace polaiga::alertmanager
