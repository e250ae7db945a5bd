// When it may be judged which controllers are silent. What is not heard of them may be due to the collectors, and to
// the database's clock, by which the database says when each was heard: when that jumps ahead, nobody was heard for
// long.
#pragma once

#include <chrono>
#include <optional>

#include "base/clock.h"

namespace polaiga::fleet {

class SilenceWatch {
 public:
  using Steady = engine::Clock::Steady;

  explicit SilenceWatch(std::chrono::seconds silent_after) : silent_after_(silent_after) {}

  // To be called now and then. It may be judged after all inboxes were read and empty for `silent_after`, in which the
  // database's clock went on as the steady one did; so all who can be heard were heard meanwhile.
  bool may_judge(bool is_all_read, Steady now, std::chrono::microseconds database_now);
  void begin_anew() { since_.reset(); }

 private:
  // The clocks may differ by this part of `silent_after`.
  static constexpr int kTolerated = 10;

  struct Since {
    Steady at{};
    std::chrono::microseconds database{};
  };

  std::chrono::seconds silent_after_;
  std::optional<Since> since_;
};

}  // namespace polaiga::fleet
