#include "simulated/pace.h"

#include <algorithm>
#include <cmath>

namespace polaiga::fleet {
namespace {

constexpr double kMinute = 60;

}  // namespace

std::size_t Pace::bursting(std::size_t controllers) { return std::max<std::size_t>(1, controllers / kOneIn); }

bool Pace::is_enough(std::size_t controllers, double rate, bool has_bursts) {
  return !has_bursts || rate * kMinute >= static_cast<double>(bursting(controllers) * kBurst);
}

Pace::Pace(std::size_t controllers, double rate, bool has_bursts, std::uint64_t seed)
    : controllers_(controllers), rate_(rate), has_bursts_(has_bursts), random_(seed) {
  if (!has_bursts_) return;
  bursters_.resize(bursting(controllers_));
  rate_ -= static_cast<double>(bursters_.size() * kBurst) / kMinute;
  // Before the first minute begins.
  minute_ = ~std::uint64_t{0};
}

std::vector<std::size_t> Pace::due(double seconds) {
  std::uniform_int_distribution<std::size_t> any(0, controllers_ - 1);
  std::vector<std::size_t> found;
  for (const auto all = static_cast<std::uint64_t>(rate_ * seconds); done_ < all; ++done_)
    found.push_back(any(random_));
  if (!has_bursts_) return found;
  const double minutes = std::floor(seconds / kMinute);
  const std::uint64_t all = bursters_.size() * kBurst;
  const auto give = [&](std::uint64_t until) {
    for (; burst_done_ < until; ++burst_done_) found.push_back(bursters_[burst_done_ % bursters_.size()]);
  };
  if (const auto minute = static_cast<std::uint64_t>(minutes); minute != minute_) {
    // What is left of the minute before.
    if (minute_ != ~std::uint64_t{0}) give(all);
    minute_ = minute;
    burst_done_ = 0;
    for (std::size_t& one : bursters_) one = any(random_);
  }
  give(static_cast<std::uint64_t>(static_cast<double>(all) * (seconds / kMinute - minutes)));
  return found;
}

}  // namespace polaiga::fleet
