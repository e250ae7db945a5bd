// How long things took, to the millisecond.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace polaiga::fleet {

class Latencies {
 public:
  // What takes longer counts as that long.
  static constexpr std::size_t kMost = 120'000;

  void add(std::chrono::nanoseconds span);
  void clear();

  std::uint64_t count() const { return count_; }
  // The least time, in milliseconds, within which so many of a hundred were done; 0 when there are none.
  std::uint64_t percentile(double percent) const;
  // How many took no longer than this.
  std::uint64_t within(std::chrono::milliseconds span) const;

 private:
  std::vector<std::uint32_t> counts_ = std::vector<std::uint32_t>(kMost + 1);  // by milliseconds
  std::uint64_t count_ = 0;
};

}  // namespace polaiga::fleet
