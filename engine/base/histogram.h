// How long something took, each time: how often each of some spans was enough. Its size is fixed.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>

namespace polaiga::engine {

class Histogram {
 public:
  // A bucket counts what took no longer than its bound and longer than the bound before it.
  static constexpr std::array<std::chrono::microseconds, 15> kBounds = {
      std::chrono::microseconds(100),       std::chrono::microseconds(250),
      std::chrono::microseconds(500),       std::chrono::microseconds(1'000),
      std::chrono::microseconds(2'500),     std::chrono::microseconds(5'000),
      std::chrono::microseconds(10'000),    std::chrono::microseconds(25'000),
      std::chrono::microseconds(50'000),    std::chrono::microseconds(100'000),
      std::chrono::microseconds(250'000),   std::chrono::microseconds(500'000),
      std::chrono::microseconds(1'000'000), std::chrono::microseconds(2'500'000),
      std::chrono::microseconds(10'000'000)};

  // The last one has what took longer than all bounds.
  using Counts = std::array<std::uint64_t, kBounds.size() + 1>;

  void add(std::chrono::nanoseconds span) {
    std::size_t bucket = 0;
    while (bucket < kBounds.size() && span > kBounds[bucket]) ++bucket;
    ++counts_[bucket];
    total_ += span;
  }

  const Counts& counts() const { return counts_; }
  std::chrono::nanoseconds total() const { return total_; }  // of all spans together

 private:
  Counts counts_{};
  std::chrono::nanoseconds total_{};
};

}  // namespace polaiga::engine
