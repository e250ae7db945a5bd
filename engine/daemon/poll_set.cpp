#include "daemon/poll_set.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace polaiga::engine {

void PollSet::watch(int fd, short events, std::function<void()> ready) {
  polled_.push_back({fd, events, 0});
  ready_.push_back(std::move(ready));
}

void PollSet::wait(std::chrono::milliseconds longest) {
  const auto most = std::chrono::milliseconds(std::numeric_limits<int>::max());
  const int timeout = static_cast<int>(std::clamp(longest, std::chrono::milliseconds(0), most).count());
  const int count = ::poll(polled_.data(), polled_.size(), timeout);
  const std::vector<pollfd> polled = std::exchange(polled_, {});
  const std::vector<std::function<void()>> ready = std::exchange(ready_, {});
  if (count <= 0) return;
  for (std::size_t i = 0; i < polled.size(); ++i) {
    if (polled[i].revents != 0) ready[i]();
  }
}

}  // namespace polaiga::engine
