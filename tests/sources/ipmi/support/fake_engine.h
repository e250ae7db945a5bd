// An engine's socket in the test's own process: it takes lines when the test says so, and answers as told.
#pragma once

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/descriptor.h"

namespace polaiga::ipmi::test {

class FakeEngine {
 public:
  explicit FakeEngine(std::string path) : path_(std::move(path)) { listen(); }

  void listen() {
    ::unlink(path_.c_str());
    listener_ = engine::Descriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path_.copy(address.sun_path, sizeof address.sun_path - 1);
    if (::bind(listener_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(listener_.get(), 4) != 0) {
      throw std::runtime_error("the fake engine cannot listen");
    }
  }

  // Nobody listens any more, and the connection is over.
  void leave() {
    drop();
    listener_.close();
  }
  void drop() {
    client_.close();
    received_.clear();
  }

  // Takes at most so many lines, and answers each of them with what `answer` makes of it.
  void take(std::size_t most, const std::function<std::string(const std::string& line)>& answer) {
    accept();
    receive();
    for (std::size_t end = 0; most-- > 0 && (end = received_.find('\n')) != std::string::npos;) {
      const std::string line = received_.substr(0, end);
      received_.erase(0, end + 1);
      lines.push_back(line);
      say(answer(line));
    }
  }
  // Each line is an event that is taken, or a duplicate.
  void take(std::size_t most = 1000) {
    take(most, [this](const std::string& line) { return apply(line); });
  }

  // The answer to an event, which is applied once.
  std::string apply(const std::string& line) {
    const std::string id = nlohmann::json::parse(line).at("id");
    const auto [known, is_new] = numbers_.try_emplace(id, numbers_.size() + 1);
    if (is_new) applied.push_back(line);
    return R"({"seq":)" + std::to_string(known->second) + (is_new ? "}\n" : ",\"duplicate\":true}\n");
  }

  void say(const std::string& text) const {
    if (client_.is_open()) [[maybe_unused]]
      const auto sent = ::send(client_.get(), text.data(), text.size(), MSG_NOSIGNAL);
  }
  bool has_client() const { return client_.is_open(); }

  std::vector<std::string> lines;    // all that came
  std::vector<std::string> applied;  // each id once

 private:
  void accept() {
    if (client_.is_open() || !listener_.is_open()) return;
    client_ = engine::Descriptor(::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
  }

  void receive() {
    char part[4096];
    while (client_.is_open()) {
      const ssize_t size = ::recv(client_.get(), part, sizeof part, MSG_DONTWAIT);
      if (size == 0) drop();
      if (size <= 0) return;
      received_.append(part, static_cast<std::size_t>(size));
    }
  }

  std::string path_;
  engine::Descriptor listener_;
  engine::Descriptor client_;
  std::string received_;
  std::map<std::string, std::size_t> numbers_;
};

}  // namespace polaiga::ipmi::test
