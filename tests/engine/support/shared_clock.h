// A clock that a test and the engines that it has forked share. It goes on as the machine's does, and jumps when the
// test says so.
#pragma once

#include <sys/mman.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <new>
#include <system_error>

#include "base/clock.h"

namespace polaiga::engine::test {

class SharedClock final : public Clock {
 public:
  SharedClock() {
    void* const memory = ::mmap(nullptr, sizeof(Jumps), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) throw std::system_error(errno, std::generic_category(), "mmap");
    jumps_ = new (memory) Jumps;
  }
  ~SharedClock() override { ::munmap(jumps_, sizeof(Jumps)); }
  SharedClock(const SharedClock&) = delete;
  SharedClock& operator=(const SharedClock&) = delete;

  std::int64_t wall() const override { return SystemClock().wall() + jumps_->wall; }
  Steady steady() const override { return SystemClock().steady() + std::chrono::seconds(jumps_->steady); }

  // The clock of the day is so many seconds away from the machine's.
  void set(std::int64_t seconds) { jumps_->wall = seconds; }
  // Both clocks go on. An engine that waits notices it when something wakes it up, such as a request.
  void pass(std::int64_t seconds) {
    jumps_->wall += seconds;
    jumps_->steady += seconds;
  }

 private:
  struct Jumps {
    std::atomic<std::int64_t> wall = 0;
    std::atomic<std::int64_t> steady = 0;
  };

  Jumps* jumps_;
};

}  // namespace polaiga::engine::test
