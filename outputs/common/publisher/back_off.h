// How long to wait before a peer that failed is tried again: longer after each failure, and at random, so that many
// publishers whose peer was away do not all come back at the same moment.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>

namespace polaiga::output {

class BackOff {
 public:
  using Random = std::function<std::uint64_t()>;

  // The n-th pause is between half of min(first * 2^(n-1), longest) and the whole of it.
  BackOff(std::chrono::milliseconds first, std::chrono::milliseconds longest, Random random);

  std::chrono::milliseconds next();
  // The peer has answered: the next pause is a first one again.
  void reset() { most_ = first_; }

 private:
  std::chrono::milliseconds first_;
  std::chrono::milliseconds longest_;
  std::chrono::milliseconds most_;
  Random random_;
};

// From the kernel. Throws std::runtime_error when it has none.
std::uint64_t random_number();

}  // namespace polaiga::output
