// Sends one Alertmanager what waits in its queue, one request at a time.
#pragma once

#include <chrono>
#include <string>

#include "delivery/post.h"
#include "telling_alerts/alert_queue.h"
#include "telling_alerts/peer_health.h"

namespace polaiga::alertmanager {

class AlertSender {
 public:
  // All that is given by reference must outlive this.
  AlertSender(const Address& address, std::chrono::seconds resend, Post& post, const engine::Clock& clock,
              PeerHealth::Tell tell, output::BackOff::Random random);
  AlertSender(const AlertSender&) = delete;
  AlertSender& operator=(const AlertSender&) = delete;

  // Tells what there is to tell now.
  void send();
  // Until it has something to do, unless an answer comes.
  std::chrono::milliseconds until_next() const;

  AlertQueue& queue() { return queue_; }
  const AlertQueue& queue() const { return queue_; }
  const PeerHealth& health() const { return health_; }
  // What messages call the peer.
  const std::string& peer() const { return address_.peer; }

 private:
  void finish(const Answer& answer);

  Post& post_;
  const engine::Clock& clock_;
  Address address_;
  PeerHealth health_;
  AlertQueue queue_;
  bool is_out_ = false;  // a request is on its way
};

}  // namespace polaiga::alertmanager
