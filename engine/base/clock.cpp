#include "base/clock.h"

#include <ctime>

namespace polaiga::engine {

std::int64_t SystemClock::wall() const { return std::time(nullptr); }

Clock::Steady SystemClock::steady() const {
  timespec now = {};
  ::clock_gettime(CLOCK_BOOTTIME, &now);
  return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

}  // namespace polaiga::engine
