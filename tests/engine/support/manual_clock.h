// Clocks that a test sets.
#pragma once

#include <chrono>
#include <cstdint>

#include "base/clock.h"

namespace polaiga::engine::test {

// A day at which such a clock may begin: in January 2027.
inline constexpr std::int64_t kToday = 1'800'000'000;

class ManualClock final : public Clock {
 public:
  explicit ManualClock(std::int64_t wall) : wall_(wall) {}

  std::int64_t wall() const override { return wall_; }
  Steady steady() const override { return steady_; }

  // Both clocks go on.
  void pass(std::int64_t seconds) {
    wall_ += seconds;
    steady_ += std::chrono::seconds(seconds);
  }
  // The steady clock alone, by less than a second.
  void pass(std::chrono::milliseconds time) { steady_ += time; }
  // Only the clock of the day jumps.
  void set(std::int64_t wall) { wall_ = wall; }

 private:
  std::int64_t wall_;
  Steady steady_{};
};

}  // namespace polaiga::engine::test
