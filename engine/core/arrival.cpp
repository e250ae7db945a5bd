#include "core/arrival.h"

#include <algorithm>

namespace polaiga::engine {

Arrivals::Arrivals(const Clock& clock, const Arrival& last) : clock_(clock), last_(last), counted_(clock.steady()) {
  const Moment wall = clock.wall();
  const bool both_set = wall >= kEarliest && last.arrived >= kEarliest;
  const std::int64_t pause = both_set ? std::clamp<std::int64_t>(wall - last.arrived, 0, kLongestPause) : 0;
  last_.age += pause;
}

Arrival Arrivals::now() {
  const auto passed = std::chrono::floor<std::chrono::seconds>(clock_.steady() - counted_);
  counted_ += passed;
  last_.age += passed.count();
  last_.received = clock_.wall();
  last_.arrived = last_.received >= kEarliest ? last_.received : last_.arrived + passed.count();
  return last_;
}

}  // namespace polaiga::engine
