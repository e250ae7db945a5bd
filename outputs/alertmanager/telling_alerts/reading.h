// How it goes when one peer's part reads the ledger. Trouble is told, and holds up no other peer.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <utility>

#include "base/clock.h"
#include "telling_alerts/peer_health.h"

namespace polaiga::alertmanager {

class Reading {
 public:
  // Trouble that lasts for so long is told. What is shorter comes when another ledger takes the place of this one.
  static constexpr std::chrono::seconds kPatience{1};

  // The clock must outlive this.
  Reading(const engine::Clock& clock, PeerHealth::Tell tell) : clock_(clock), tell_(std::move(tell)) {}

  // Does `work`. When that throws LedgerError, it is to be done again, and `peer` is what messages call the peer.
  void attempt(const std::string& peer, const std::function<void()>& work);

  bool has_trouble() const { return !trouble_.empty(); }

 private:
  void note(const std::string& peer, const std::string& trouble);

  const engine::Clock& clock_;
  PeerHealth::Tell tell_;
  std::string trouble_;  // "": there is none
  engine::Clock::Steady since_{};
  bool is_told_ = false;
};

}  // namespace polaiga::alertmanager
