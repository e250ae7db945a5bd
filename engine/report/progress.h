// How far a replay is, in one line on standard error.
#pragma once

#include <cstdint>
#include <string>

#include "base/clock.h"

namespace polaiga::engine {

// "[#####---------------]  25%  120000 events/s  3 s left"
std::string progress_text(std::uint64_t bytes_done, std::uint64_t bytes_in_all, std::uint64_t events, double seconds);

class Progress {
 public:
  // Shows nothing at all when there are no bytes to come. The clock must outlive this.
  Progress(std::uint64_t bytes_in_all, const Clock& clock);
  ~Progress() { hide(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // Shows the line, once the replay has taken long enough to ask for one.
  void update(std::uint64_t bytes_done, std::uint64_t events);

  // Gives the line of the terminal back to others.
  void hide();

 private:
  std::uint64_t bytes_in_all_;
  const Clock& clock_;
  Clock::Steady start_ = clock_.steady();
  Clock::Steady due_;
  bool shown_ = false;
};

}  // namespace polaiga::engine
