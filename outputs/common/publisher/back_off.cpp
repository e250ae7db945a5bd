#include "publisher/back_off.h"

#include <sys/random.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace polaiga::output {

using std::chrono::milliseconds;

BackOff::BackOff(milliseconds first, milliseconds longest, Random random)
    : first_(first), longest_(std::max(first, longest)), most_(first), random_(std::move(random)) {}

milliseconds BackOff::next() {
  const milliseconds half = most_ / 2;
  const auto range = static_cast<std::uint64_t>((most_ - half).count()) + 1;
  const milliseconds pause = half + milliseconds(static_cast<std::int64_t>(random_() % range));
  most_ = std::min(longest_, most_ * 2);
  return pause;
}

std::uint64_t random_number() {
  std::uint64_t number = 0;
  if (::getrandom(&number, sizeof number, 0) != sizeof number) throw std::runtime_error("there are no random numbers");
  return number;
}

}  // namespace polaiga::output
