// The catalog of all faults, which a program of its own tells: filters never run in this process.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <stop_token>
#include <string>
#include <thread>

#include "http/message.h"

namespace polaiga::web {

// It takes seconds on a slow machine, so it is made in the background before anybody asks. When it failed, it is made
// anew each time it is asked for. For several threads.
class Catalog {
 public:
  // Answers JSON Lines, as `polaiga catalog --json` prints them, and gives up when it is told to stop. `is_awaited`
  // says whether somebody waits for it. Throws ProgramFailed.
  using Make = std::function<std::string(bool is_awaited, std::stop_token stop)>;

  // It is made after `pause`, or at once when somebody asks before that.
  explicit Catalog(Make make, std::chrono::milliseconds pause = {});
  // What that program tells. The pause leaves the processors to a server that begins, and to the first who ask it.
  explicit Catalog(const std::string& program);
  static constexpr std::chrono::seconds kPause{5};
  // Stops what is being made.
  ~Catalog();
  Catalog(const Catalog&) = delete;
  Catalog& operator=(const Catalog&) = delete;

  // Nobody waits for it any more: whoever does is answered with ProgramFailed soon, unless it is made already.
  void stop();

  // Waits until it is made. Throws ProgramFailed; also when several wait already, who are not to keep all threads busy.
  Body lines();

 private:
  enum class State : std::uint8_t { kBeingMade, kMade, kFailed };

  void make_after(std::chrono::milliseconds pause);
  void make(bool is_awaited, const std::stop_token& stop);

  Make make_;
  std::mutex mutex_;
  std::condition_variable changed_;
  State state_ = State::kBeingMade;
  Body lines_;
  std::string problem_;  // why it failed
  unsigned waiting_ = 0;
  bool is_pausing_ = true;  // nobody has asked, and the pause is not over
  std::stop_source stop_;
  std::jthread thread_;  // begins when all else is there
};

}  // namespace polaiga::web
