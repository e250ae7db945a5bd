#include "http/deadlines.h"

#include <sys/socket.h>

namespace polaiga::web {
namespace {

// Deadlines are kept about as exactly as this.
constexpr std::chrono::milliseconds kStep{250};

}  // namespace

Deadlines::Deadlines() : thread_([this] { run(); }) {}

Deadlines::~Deadlines() {
  {
    const std::lock_guard lock(mutex_);
    is_over_ = true;
  }
  changed_.notify_one();
  thread_.join();
}

void Deadlines::set(int fd, std::chrono::milliseconds time) {
  const std::lock_guard lock(mutex_);
  times_[fd] = std::chrono::steady_clock::now() + time;
}

void Deadlines::lift(int fd) {
  const std::lock_guard lock(mutex_);
  times_[fd] = Time::max();
}

void Deadlines::forget(int fd) {
  const std::lock_guard lock(mutex_);
  times_.erase(fd);
}

void Deadlines::run() {
  std::unique_lock lock(mutex_);
  while (!changed_.wait_for(lock, kStep, [this] { return is_over_; })) {
    const Time now = std::chrono::steady_clock::now();
    for (auto& [fd, time] : times_) {
      if (time > now) continue;
      ::shutdown(fd, SHUT_RDWR);
      time = Time::max();
    }
  }
}

}  // namespace polaiga::web
