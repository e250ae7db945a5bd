// What a loop waits for: descriptors, each with what is to be done when it is ready.
#pragma once

#include <chrono>
#include <functional>
#include <vector>

#include <poll.h>

namespace polaiga::engine {

// Is filled anew before each wait, so that nothing has to be taken out of it when
// a connection ends.
class PollSet {
 public:
  // `events` as poll(2) has them. `ready` is called by wait() when one of them, an
  // error or a hang-up is there.
  void watch(int fd, short events, std::function<void()> ready);

  // Waits until something is ready or the time is over, and calls what is to be
  // called. Empties the set. An interrupting signal counts as the end of the wait.
  void wait(std::chrono::milliseconds longest);

 private:
  std::vector<pollfd> polled_;
  std::vector<std::function<void()>> ready_;
};

}  // namespace polaiga::engine
