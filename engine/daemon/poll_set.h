// What a loop waits for: descriptors, each with what is to be done when it is ready.
#pragma once

#include <poll.h>

#include <chrono>
#include <functional>
#include <vector>

namespace polaiga::engine {

// Is filled anew before each wait, so that nothing has to be taken out of it when
// a connection ends.
class PollSet {
 public:
  // `events` as poll(2) has them. `ready` is called by wait() when one of them, an
  // error or a hang-up is there.
  void watch(int fd, short events, std::function<void()> ready);

  // Waits until something is ready or the time is over, and calls what is to be
  // called. Empties the set. Answers whether something was ready; a signal that
  // interrupts the wait ends it. Throws std::system_error.
  bool wait(std::chrono::milliseconds longest);

 private:
  struct Watched {
    std::size_t polled;  // index in polled_
    short events;
    std::function<void()> ready;
  };

  // Each descriptor is here once: poll() refuses more entries than the process may
  // have open files.
  std::vector<pollfd> polled_;
  std::vector<Watched> watched_;
};

}  // namespace polaiga::engine
