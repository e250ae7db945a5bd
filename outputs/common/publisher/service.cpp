#include "publisher/service.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <vector>

#include "base/status.h"

namespace polaiga::output {
namespace {

using std::chrono::milliseconds;

constexpr std::chrono::seconds kEndWithin{10};

}  // namespace

Service::Service(const std::string& name)
    : messages_(clock_),
      manager_(clock_),
      last_line_(std::string(messages_.prefix(engine::Priority::kError)) + name + " did not end within " +
                 std::to_string(kEndWithin.count()) + " s, so it ended at once.\n"),
      signals_(engine::kFailed, kEndWithin, messages_.output(), last_line_) {
  std::signal(SIGPIPE, SIG_IGN);
}

void Service::say(engine::Priority priority, const std::string& text) {
  const std::lock_guard lock(saying_);
  messages_.say(priority, text);
}

void Service::ready(const std::string& status) { manager_.ready(status); }

void Service::wait(std::span<pollfd> polled, milliseconds until) {
  std::vector<pollfd> all(polled.begin(), polled.end());
  all.push_back({.fd = signals_.fd(), .events = POLLIN, .revents = 0});
  {
    const std::lock_guard lock(saying_);
    for (const auto& other : {manager_.until_tick(), messages_.until_tick()}) {
      if (other) until = std::min(until, *other);
    }
    all.push_back({.fd = messages_.waits_for(), .events = POLLOUT, .revents = 0});
  }
  const auto longest = std::clamp<std::int64_t>(until.count(), 0, 3'600'000);
  const int ready = ::poll(all.data(), all.size(), static_cast<int>(longest));
  for (std::size_t i = 0; i < polled.size(); ++i) polled[i].revents = ready > 0 ? all[i].revents : short{0};
  manager_.tick();
  {
    const std::lock_guard lock(saying_);
    messages_.tick();
  }
  while (const auto signal = signals_.take()) {
    must_reload_ = must_reload_ || *signal == SIGHUP;
    must_stop_ = must_stop_ || *signal != SIGHUP;
  }
}

bool Service::take_reload() {
  const bool was = must_reload_;
  must_reload_ = false;
  return was;
}

}  // namespace polaiga::output
