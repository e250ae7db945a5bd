#include "daemon/poll_set.h"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <system_error>
#include <utility>

namespace polaiga::engine {

void PollSet::watch(int fd, short events, std::function<void()> ready) {
  auto found = std::ranges::find(polled_.rbegin(), polled_.rend(), fd, &pollfd::fd);
  if (found == polled_.rend()) {
    polled_.push_back({fd, 0, 0});
    found = polled_.rbegin();
  }
  found->events = static_cast<short>(found->events | events);
  watched_.push_back({static_cast<std::size_t>(polled_.rend() - found) - 1, events, std::move(ready)});
}

bool PollSet::wait(std::chrono::milliseconds longest) {
  const auto most = std::chrono::milliseconds(std::numeric_limits<int>::max());
  const int timeout = static_cast<int>(std::clamp(longest, std::chrono::milliseconds(0), most).count());
  const int count = ::poll(polled_.data(), polled_.size(), timeout);
  const int error = errno;
  const std::vector<pollfd> polled = std::exchange(polled_, {});
  const std::vector<Watched> watched = std::exchange(watched_, {});
  if (count < 0 && error != EINTR) throw std::system_error(error, std::generic_category(), "cannot wait for input");
  if (count <= 0) return false;
  for (const Watched& one : watched) {
    const auto always = static_cast<short>(POLLERR | POLLHUP | POLLNVAL);
    if ((polled[one.polled].revents & (one.events | always)) != 0) one.ready();
  }
  return true;
}

}  // namespace polaiga::engine
