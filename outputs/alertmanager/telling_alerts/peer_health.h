// How it goes with a peer: whether it takes what it is told, why not, and when it is tried again.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "base/clock.h"
#include "base/messages.h"
#include "delivery/post.h"
#include "publisher/back_off.h"
#include "publisher/report.h"

namespace polaiga::alertmanager {

class PeerHealth {
 public:
  using Steady = engine::Clock::Steady;
  using Tell = std::function<void(engine::Priority, const std::string&)>;

  static constexpr std::chrono::milliseconds kFirstPause{500};
  static constexpr std::chrono::seconds kLongestPause{30};
  static constexpr std::chrono::seconds kLongestAsked{300};  // that a peer may ask for

  // `peer` is what messages call it. The clock must outlive this.
  PeerHealth(std::string peer, const engine::Clock& clock, Tell tell, output::BackOff::Random random);

  // Whether it is time to send something. If not, `next` is when it is.
  bool may_send() const { return clock_.steady() >= next_; }
  Steady next() const { return next_; }

  // It took a request. Returns whether the one before had failed.
  bool succeeded();
  // It answered, but did not take this body.
  void answered(const std::string& problem);
  void failed(const std::string& problem, std::optional<std::chrono::seconds> try_after);

  void say(engine::Priority priority, const std::string& text) const { tell_(priority, peer_ + ": " + text); }

  bool is_connected() const { return is_connected_; }
  // The members of a report that tell of this.
  void fill(output::Report& report) const;

 private:
  std::string peer_;
  const engine::Clock& clock_;
  Tell tell_;
  output::BackOff back_off_;
  Steady next_{};
  bool is_connected_ = false;
  bool has_failed_ = false;
  std::optional<engine::Moment> last_success_;
  std::optional<engine::Moment> last_error_at_;
  std::string last_error_;
};

}  // namespace polaiga::alertmanager
