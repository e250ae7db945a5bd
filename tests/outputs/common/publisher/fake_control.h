// A control socket of an engine that does what a test says.
#pragma once

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <atomic>
#include <mutex>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "base/descriptor.h"

namespace polaiga::output::test {

// A control socket whose answers the test gives.
class FakeControl {
 public:
  explicit FakeControl(const std::string& path) : listener_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    if (::bind(listener_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(listener_.get(), 4) != 0) {
      throw std::runtime_error("the fake control socket cannot listen");
    }
    thread_ = std::thread([this] { run(); });
  }
  ~FakeControl() {
    is_over_ = true;
    thread_.join();
  }
  FakeControl(const FakeControl&) = delete;
  FakeControl& operator=(const FakeControl&) = delete;

  void answer(const std::string& text) {
    const std::lock_guard lock(mutex_);
    answer_ = text;
  }
  std::vector<nlohmann::json> requests() const {
    const std::lock_guard lock(mutex_);
    return requests_;
  }
  // Whether the last request for a publisher has this number.
  bool was_told(const std::string& publisher, int through) const {
    const auto all = requests();
    for (auto one = all.rbegin(); one != all.rend(); ++one) {
      if ((*one)["publisher"] == publisher) return (*one)["through"] == through;
    }
    return false;
  }

 private:
  static bool is_readable(int fd) {
    pollfd waiting{.fd = fd, .events = POLLIN, .revents = 0};
    return ::poll(&waiting, 1, 20) > 0;
  }

  void run() {
    while (!is_over_) {
      if (!is_readable(listener_.get())) continue;
      const engine::Descriptor client(::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
      serve(client.get());
    }
  }

  void serve(int client) {
    std::string received;
    while (!is_over_) {
      if (!is_readable(client)) continue;
      char part[4096];
      const ssize_t size = ::recv(client, part, sizeof part, 0);
      if (size <= 0) return;
      received.append(part, static_cast<std::size_t>(size));
      for (std::size_t end = 0; (end = received.find('\n')) != std::string::npos;) {
        const std::lock_guard lock(mutex_);
        requests_.push_back(nlohmann::json::parse(received.substr(0, end)));
        received.erase(0, end + 1);
        if (!answer_.empty() && ::send(client, answer_.data(), answer_.size(), MSG_NOSIGNAL) < 0) return;
      }
    }
  }

  engine::Descriptor listener_;
  mutable std::mutex mutex_;
  std::string answer_ = "{\"ok\":true}\n";
  std::vector<nlohmann::json> requests_;
  std::atomic<bool> is_over_ = false;
  std::thread thread_;
};

}  // namespace polaiga::output::test
