#include "database/answer_deadline.h"

#include <sys/socket.h>

namespace polaiga::fleet {

AnswerDeadline::~AnswerDeadline() {
  if (!thread_.joinable()) return;
  {
    const std::lock_guard lock(mutex_);
    is_ending_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

bool AnswerDeadline::is_over() const {
  const std::lock_guard lock(mutex_);
  return is_over_;
}

void AnswerDeadline::begin(int socket, std::chrono::seconds within) {
  {
    const std::lock_guard lock(mutex_);
    socket_ = socket;
    until_ = std::chrono::steady_clock::now() + within;
    is_over_ = false;
    if (!thread_.joinable()) thread_ = std::thread([this] { run(); });
  }
  changed_.notify_all();
}

// The thread is not woken: when it wakes by itself it finds that nothing is watched.
void AnswerDeadline::end() {
  const std::lock_guard lock(mutex_);
  socket_ = -1;
}

void AnswerDeadline::run() {
  std::unique_lock lock(mutex_);
  while (!is_ending_) {
    if (socket_ == -1) {
      changed_.wait(lock);
    } else if (std::chrono::steady_clock::now() >= until_) {
      is_over_ = true;
      shutdown(socket_, SHUT_RDWR);
      socket_ = -1;
    } else {
      changed_.wait_until(lock, until_);
    }
  }
}

}  // namespace polaiga::fleet
