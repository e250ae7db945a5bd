// The clocks that the engine goes by. They come in from outside, so that a test
// can let them jump.
#pragma once

#include <chrono>
#include <cstdint>

namespace polaiga::engine {

class Clock {
 public:
  // A moment of the clock that goes on evenly, also while the machine sleeps.
  using Steady = std::chrono::nanoseconds;

  virtual ~Clock() = default;

  // Whole seconds since 1970 in UTC, as the machine's clock has them. They may jump.
  virtual std::int64_t wall() const = 0;

  // Never goes back as long as the machine runs. It tells spans, not times of day.
  virtual Steady steady() const = 0;
};

// The machine's own clocks.
class SystemClock final : public Clock {
 public:
  std::int64_t wall() const override;
  Steady steady() const override;
};

}  // namespace polaiga::engine
