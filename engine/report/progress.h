// How far a replay is, in one line on standard error.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace polaiga::engine {

// "[#####---------------]  25%  120000 events/s  3 s left"
std::string progress_text(std::uint64_t bytes_done, std::uint64_t bytes_in_all, std::uint64_t events, double seconds);

class Progress {
 public:
  using Clock = std::chrono::steady_clock;

  // Shows nothing at all when there are no bytes to come.
  explicit Progress(std::uint64_t bytes_in_all);
  ~Progress() { hide(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // Shows the line, once the replay has taken long enough to ask for one.
  void update(std::uint64_t bytes_done, std::uint64_t events);

  // Gives the line of the terminal back to others.
  void hide();

 private:
  std::uint64_t bytes_in_all_;
  Clock::time_point start_ = Clock::now();
  Clock::time_point due_;
  bool shown_ = false;
};

}  // namespace polaiga::engine
