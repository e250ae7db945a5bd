#include "intake/sender.h"

#include <limits.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace polaiga::engine {

Sender::Sender(Kind kind, std::string name, Descriptor in, Descriptor out, std::size_t longest_line)
    : kind_(kind), name_(std::move(name)), in_(std::move(in)), out_(std::move(out)), lines_(longest_line) {}

bool Sender::has_hung_up() const {
  pollfd connection{.fd = in(), .events = 0, .revents = 0};
  return !is_standard_input() && ::poll(&connection, 1, 0) > 0 && (connection.revents & (POLLHUP | POLLERR)) != 0;
}

void Sender::receive() {
  const std::span<char> room = lines_.room();
  const auto count = ::read(in(), room.data(), room.size());
  if (count > 0) {
    lines_.added(static_cast<std::size_t>(count));
  } else if (count == 0 || (errno != EAGAIN && errno != EINTR)) {
    ended_ = true;  // at the end of the input, and when the connection is broken
  }
}

LineBuffer::Result Sender::next(std::string_view& line) {
  if (is_full()) return LineBuffer::Result::kNone;
  auto found = lines_.next(line);
  if (found == LineBuffer::Result::kNone && ended_ && !finished_) {
    found = lines_.rest(line);
    finished_ = true;
  }
  if (found != LineBuffer::Result::kNone) ++number_;
  return found;
}

std::optional<EventLine> Sender::next() {
  std::string_view line;
  for (;;) {
    const auto found = next(line);
    if (found == LineBuffer::Result::kNone) return std::nullopt;
    if (auto read = read_event_line(number_, found, line)) return read;
  }
}

void Sender::answer(std::string_view text) {
  if (!deaf_) unsent_ += text;
}

void Sender::send() {
  // A pipe that poll() calls ready takes PIPE_BUF bytes without blocking, but perhaps no more.
  const std::size_t size = kind_ == Kind::kClient ? unsent_.size() : std::min<std::size_t>(unsent_.size(), PIPE_BUF);
  const auto sent = kind_ == Kind::kClient ? ::send(out(), unsent_.data(), size, MSG_NOSIGNAL | MSG_DONTWAIT)
                                           : ::write(out(), unsent_.data(), size);
  if (sent >= 0) {
    unsent_.erase(0, static_cast<std::size_t>(sent));
  } else if (errno != EAGAIN && errno != EINTR) {
    deaf_ = true;
    unsent_.clear();
  }
}

void Sender::leave() {
  is_leaving_ = true;
  ended_ = true;
  finished_ = true;
}

void Sender::send_the_last() {
  if (has_answers()) send();
  if (!has_answers()) return;
  deaf_ = true;
  unsent_.clear();
}

}  // namespace polaiga::engine
