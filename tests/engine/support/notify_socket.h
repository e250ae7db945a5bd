// Where a service manager listens to its programs.
#pragma once

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "support/patience.h"

namespace polaiga::engine::test {

class NotifySocket {
 public:
  explicit NotifySocket(const std::string& path) : path_(path), fd_(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    if (::bind(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) throw std::runtime_error("bind");
  }
  ~NotifySocket() { ::close(fd_); }
  NotifySocket(const NotifySocket&) = delete;
  NotifySocket& operator=(const NotifySocket&) = delete;

  // For the program's environment.
  const std::string& path() const { return path_; }
  std::string environment() const { return "NOTIFY_SOCKET='" + path_ + "'"; }

  bool has_message(std::chrono::milliseconds patience = std::chrono::milliseconds(0)) const {
    pollfd polled{fd_, POLLIN, 0};
    return ::poll(&polled, 1, static_cast<int>(patience.count())) > 0;
  }

  // The next message; "" when none has come within kPatience.
  std::string next() {
    std::array<char, 4096> buffer{};
    const auto count = has_message(kPatience) ? ::recv(fd_, buffer.data(), buffer.size(), 0) : 0;
    return told_.emplace_back(buffer.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
  }

  // The next that begins so and holds a text, those between passed over; "" when it has not come within kPatience.
  std::string next(std::string_view begin, std::string_view text = "") {
    for (const auto end = std::chrono::steady_clock::now() + kPatience;;) {
      const std::string message = std::chrono::steady_clock::now() < end ? next() : "";
      if (message.empty() || (message.starts_with(begin) && message.find(text) != std::string::npos)) return message;
    }
  }

  // All so far.
  const std::vector<std::string>& told() const { return told_; }

 private:
  std::string path_;
  int fd_;
  std::vector<std::string> told_;
};

}  // namespace polaiga::engine::test
