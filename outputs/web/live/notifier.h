// Calls whoever wants to know.
#pragma once

#include <functional>
#include <mutex>
#include <utility>

namespace polaiga::web {

class Notifier {
 public:
  // What is to be called from now on. When this returns, nothing that was set before is running any more.
  void set(std::function<void()> call) {
    const std::lock_guard lock(mutex_);
    call_ = std::move(call);
  }

  void notify() {
    const std::lock_guard lock(mutex_);
    if (call_) call_();
  }

 private:
  std::mutex mutex_;
  std::function<void()> call_;
};

}  // namespace polaiga::web
