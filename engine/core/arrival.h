// When inputs arrive, by clocks that may jump.
#pragma once

#include <cstdint>

#include "base/clock.h"
#include "model/moment.h"

namespace polaiga::engine {

struct Arrival {
  Moment received = 0;   // what the machine's clock said
  Moment arrived = 0;    // the same, or an estimate while the clock is not set
  std::int64_t age = 0;  // seconds since the ledger began, without the clock's jumps; never goes back
};

// A controller without a battery boots in 1970, and a wrong clock may be years
// ahead. So the age of inputs is counted by the steady clock while the engine
// runs. How long it did not run is told by the machine's clock, but one start
// adds at most kLongestPause.
class Arrivals {
 public:
  // Before this moment (2020-01-01) the machine's clock counts as not set.
  static constexpr Moment kEarliest = 1577836800;
  static constexpr std::int64_t kLongestPause = std::int64_t{31} * 24 * 60 * 60;

  // Goes on after the last input of the ledger; `last.age` is 0 for a new ledger.
  Arrivals(const Clock& clock, const Arrival& last);

  Arrival now();

 private:
  const Clock& clock_;
  Arrival last_;
  Clock::Steady counted_;  // up to here the steady clock is in last_.age
};

}  // namespace polaiga::engine
