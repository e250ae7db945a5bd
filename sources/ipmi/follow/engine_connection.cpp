#include "follow/engine_connection.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>

#include "base/printable.h"

namespace polaiga::ipmi {
namespace {

using engine::Priority;

constexpr std::size_t kLongestAnswer = std::size_t{64} * 1024;
constexpr std::size_t kMostUnsent = std::size_t{64} * 1024;

}  // namespace

EngineConnection::EngineConnection(std::string path, const engine::Clock& clock, Tell tell)
    : path_(std::move(path)), clock_(clock), tell_(std::move(tell)) {
  if (path_.size() >= sizeof sockaddr_un{}.sun_path) {
    throw std::runtime_error("the path of the socket " + engine::in_quotes(path_) + " is too long for a socket");
  }
}

void EngineConnection::lose(const std::string& why) {
  socket_.close();
  unsent_.clear();
  received_.clear();
  in_flight_ = 0;
  is_silence_told_ = false;
  pause_ = pause_.count() == 0 ? kFirstPause : std::min(2 * pause_, kLongestPause);
  try_again_ = clock_.steady() + pause_;
  if (has_work_ && !std::exchange(is_away_told_, true)) {
    tell_(Priority::kWarning, "the engine cannot be reached at " + engine::in_quotes(path_) + ": " + why +
                                  "; the events are kept until it is back");
  }
}

void EngineConnection::connect() {
  socket_ = engine::Descriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  path_.copy(address.sun_path, path_.size());
  if (!socket_.is_open() ||
      ::connect(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    lose(std::strerror(errno));
  }
}

void EngineConnection::take_lines(const std::deque<std::string>& lines, std::size_t sendable) {
  const std::size_t end = std::min({sendable, lines.size(), kMostInFlight});
  for (; in_flight_ < end && unsent_.size() < kMostUnsent; ++in_flight_) {
    if (in_flight_ == 0) answered_ = clock_.steady();
    unsent_ += lines[in_flight_] + "\n";
  }
}

void EngineConnection::write() {
  while (!unsent_.empty()) {
    const ssize_t sent = ::send(socket_.get(), unsent_.data(), unsent_.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent > 0) {
      unsent_.erase(0, static_cast<std::size_t>(sent));
    } else if (sent < 0 && errno == EINTR) {
      continue;
    } else {
      // What it has answered before it closed the connection is still to be read.
      return;
    }
  }
}

void EngineConnection::read() {
  std::array<char, 16384> part{};
  while (received_.size() <= kLongestAnswer) {
    const ssize_t size = ::recv(socket_.get(), part.data(), part.size(), MSG_DONTWAIT);
    if (size > 0) {
      received_.append(part.data(), static_cast<std::size_t>(size));
    } else if (size < 0 && errno == EINTR) {
      continue;
    } else if (size < 0 && errno == EAGAIN) {
      return;
    } else {
      // The connection is over, but not what was received by it.
      const std::string why = size == 0 ? "it closed the connection" : std::strerror(errno);
      const std::string rest = std::exchange(received_, {});
      const std::size_t waiting = in_flight_;
      lose(why);
      received_ = rest;
      in_flight_ = waiting;
      return;
    }
  }
}

// Answers whether it is one.
bool EngineConnection::take_answer(const std::string& answer, const std::string& line) {
  const auto json = nlohmann::json::parse(answer, nullptr, false);
  if (!json.is_object()) return false;
  if (const auto error = json.find("error"); error != json.end()) {
    ++refused_;
    tell_(Priority::kError, "the engine does not take an event, which is dropped: " +
                                (error->is_string() ? error->get<std::string>() : error->dump()) + ": " + line);
    return true;
  }
  if (!json.contains("seq")) return false;
  if (const auto warning = json.find("warning"); warning != json.end() && warning->is_string()) {
    tell_(Priority::kWarning, "the engine says of an event: " + warning->get<std::string>() + ": " + line);
  }
  return true;
}

void EngineConnection::tell_of_silence() {
  if (in_flight_ == 0 || clock_.steady() - answered_ < kPatience || std::exchange(is_silence_told_, true)) return;
  tell_(Priority::kWarning, "the engine has not answered for " + std::to_string(kPatience.count()) +
                                " s; the events are kept until it does. Its disk may be full: look at its messages");
}

std::size_t EngineConnection::deliver(const std::deque<std::string>& lines, std::size_t sendable) {
  has_work_ = std::min(sendable, lines.size()) > 0;
  if (!socket_.is_open()) {
    if (!has_work_ || clock_.steady() < try_again_) return 0;
    connect();
    if (!socket_.is_open()) return 0;
  }
  take_lines(lines, sendable);
  write();
  read();
  std::size_t done = 0;
  for (std::size_t end = 0; (end = received_.find('\n')) != std::string::npos;) {
    if (done == in_flight_ || !take_answer(received_.substr(0, end), lines[done])) {
      lose("it answers what makes no sense: " + engine::in_quotes(received_.substr(0, end)));
      return done;
    }
    received_.erase(0, end + 1);
    ++done;
  }
  if (!socket_.is_open() || received_.size() > kLongestAnswer) {
    if (socket_.is_open()) lose("its answer is too long");
    received_.clear();
    in_flight_ = 0;
    return done;
  }
  in_flight_ -= done;
  if (done > 0) {
    answered_ = clock_.steady();
    is_silence_told_ = false;
    pause_ = std::chrono::milliseconds(0);
    if (std::exchange(is_away_told_, false)) tell_(Priority::kInfo, "the engine takes events again");
  }
  tell_of_silence();
  return done;
}

short EngineConnection::poll_events() const { return static_cast<short>(unsent_.empty() ? POLLIN : POLLIN | POLLOUT); }

std::optional<std::chrono::milliseconds> EngineConnection::until_next() const {
  if (!has_work_ && in_flight_ == 0) return std::nullopt;
  const auto due = socket_.is_open() ? answered_ + kPatience : try_again_;
  if (socket_.is_open() && is_silence_told_) return std::nullopt;
  return std::max(std::chrono::milliseconds(0), std::chrono::ceil<std::chrono::milliseconds>(due - clock_.steady()));
}

}  // namespace polaiga::ipmi
