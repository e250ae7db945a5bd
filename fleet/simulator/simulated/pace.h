// Who makes a change when.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace polaiga::fleet {

// Changes come at an even rate over all controllers, each of a controller at random. With bursts, one in a hundred
// controllers, others in each minute, has kBurst of the changes of that minute.
class Pace {
 public:
  static constexpr std::size_t kBurst = 50;
  static constexpr std::size_t kOneIn = 100;

  Pace(std::size_t controllers, double rate, bool has_bursts, std::uint64_t seed);

  // Whether the rate is enough for the bursts.
  static bool is_enough(std::size_t controllers, double rate, bool has_bursts);

  // Who makes a change now that the time is `seconds` after the beginning, one after the other; once for each change.
  std::vector<std::size_t> due(double seconds);

 private:
  static std::size_t bursting(std::size_t controllers);  // how many in a minute

  std::size_t controllers_;
  double rate_;
  bool has_bursts_;
  std::mt19937_64 random_;
  std::uint64_t done_ = 0;  // of the even rate
  std::uint64_t minute_ = 0;
  std::uint64_t burst_done_ = 0;  // in this minute, of all that burst
  std::vector<std::size_t> bursters_;
};

}  // namespace polaiga::fleet
