#include "telling_alerts/alert_sender.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace polaiga::alertmanager {

using engine::Priority;
using std::chrono::milliseconds;

namespace {

// A pause that the peer asks for takes at most this part of the time that alerts are valid.
constexpr int kPausesOfValidity = 5;

}  // namespace

AlertSender::AlertSender(const Address& address, std::chrono::seconds resend, Post& post, const engine::Clock& clock,
                         PeerHealth::Tell tell, output::BackOff::Random random)
    : post_(post),
      clock_(clock),
      address_(address),
      health_(address.peer, clock, std::move(tell), std::move(random)),
      queue_(resend) {}

void AlertSender::send() {
  if (is_out_ || !health_.may_send()) return;
  std::string body = queue_.next(clock_.steady(), clock_.wall());
  if (body.empty()) return;
  is_out_ = true;
  post_.send(address_,
             {.url = address_.url + "/api/v2/alerts", .content_type = "application/json", .body = std::move(body)},
             [this](const Answer& answer) { finish(answer); });
}

void AlertSender::finish(const Answer& answer) {
  is_out_ = false;
  const auto now = clock_.steady();
  if (answer.is_taken()) {
    queue_.taken(now);
    // One that was away may have been started anew, and knows nothing then.
    if (health_.succeeded()) queue_.tell_all_again(now);
  } else if (answer.is_refusal()) {
    health_.answered(answer.problem);
    if (const AlertPointer alert = queue_.refused(now)) {
      health_.say(Priority::kWarning, "the alert with the labels " + alert->labels + " is refused: " + answer.problem +
                                          ". All others are told; this one is tried again later");
    }
  } else {
    queue_.failed();
    // Whatever pause the peer asks for, active alerts must be told again before they expire.
    const auto longest = queue_.validity() / kPausesOfValidity;
    health_.failed(answer.problem,
                   answer.try_after ? std::optional(std::min(*answer.try_after, longest)) : std::nullopt);
  }
}

milliseconds AlertSender::until_next() const {
  if (is_out_) return milliseconds::max();
  const auto due = queue_.due();
  if (!due) return milliseconds::max();
  const auto at = std::max(*due, health_.next());
  return std::max(milliseconds(0), std::chrono::ceil<milliseconds>(at - clock_.steady()));
}

}  // namespace polaiga::alertmanager
