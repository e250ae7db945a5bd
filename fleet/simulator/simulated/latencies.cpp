#include "simulated/latencies.h"

#include <algorithm>
#include <cmath>

namespace polaiga::fleet {

void Latencies::add(std::chrono::nanoseconds span) {
  const auto milliseconds = std::chrono::ceil<std::chrono::milliseconds>(span).count();
  const auto bounded = std::clamp<std::int64_t>(milliseconds, 0, static_cast<std::int64_t>(kMost));
  ++counts_[static_cast<std::size_t>(bounded)];
  ++count_;
}

void Latencies::clear() {
  std::fill(counts_.begin(), counts_.end(), 0);
  count_ = 0;
}

std::uint64_t Latencies::percentile(double percent) const {
  if (count_ == 0) return 0;
  const auto wanted = static_cast<std::uint64_t>(std::ceil(static_cast<double>(count_) * percent / 100));
  std::uint64_t seen = 0;
  for (std::size_t i = 0; i < counts_.size(); ++i) {
    seen += counts_[i];
    if (seen >= wanted) return i;
  }
  return kMost;
}

std::uint64_t Latencies::within(std::chrono::milliseconds span) const {
  std::uint64_t within = 0;
  for (std::size_t i = 0; i < counts_.size() && std::chrono::milliseconds(i) <= span; ++i) within += counts_[i];
  return within;
}

}  // namespace polaiga::fleet
