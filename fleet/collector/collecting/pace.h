// How many messages of one controller are taken. A controller that sends without end would keep those back that share
// an inbox with it; what it sends beyond its part is passed over. That loses nothing: changes that are missing are
// asked for, and come at the pace of an answer.
#pragma once

#include <chrono>
#include <cstddef>
#include <map>

#include "base/clock.h"
#include "wire/names.h"

namespace polaiga::fleet {

class Pace {
 public:
  // A controller may send kBurst messages at once, which is more than polaiga-mqtt sends without an acknowledgement and
  // an answer together, and kEachSecond in the long run.
  static constexpr double kBurst = 4000;
  static constexpr double kEachSecond = 200;
  // Controllers whose part is whole again are forgotten when there are so many.
  static constexpr std::size_t kMostKnown = 20000;

  // The clock must outlive this.
  explicit Pace(const engine::Clock& clock) : clock_(clock) {}

  // Whether a message of this sender is to be taken; it counts then.
  bool takes(const Sender& sender);

  // Nothing of this sender is to be taken for so long.
  void rest(const Sender& sender, std::chrono::seconds how_long);

  bool rests(const Sender& sender) const;

  std::size_t known() const { return known_.size(); }

 private:
  using Steady = engine::Clock::Steady;
  struct Part {
    double left = kBurst;
    Steady at{};
    Steady rests_until{};
  };

  static double left_at(const Part& part, Steady now);
  void forget_whole(Steady now);

  const engine::Clock& clock_;
  std::map<Sender, Part> known_;
};

}  // namespace polaiga::fleet
