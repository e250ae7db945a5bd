#include "base/unblocked_output.h"

#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>

namespace polaiga::engine {
namespace {

bool is_pipe_or_terminal(int fd) {
  struct stat status = {};
  return ::fstat(fd, &status) == 0 && (S_ISFIFO(status.st_mode) || ::isatty(fd) == 1);
}

bool is_socket(int fd) {
  struct stat status = {};
  return ::fstat(fd, &status) == 0 && S_ISSOCK(status.st_mode);
}

}  // namespace

// The flag O_NONBLOCK belongs to the open file description, which the shell and other programs share with this one:
// if it were set there, their reads and writes would fail, too. A description that is opened anew has a flag of its
// own.
Descriptor reopened_without_waiting(int fd) {
  if (!is_pipe_or_terminal(fd)) return Descriptor();
  const std::string path = "/proc/self/fd/" + std::to_string(fd);
  return Descriptor(::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
}

UnblockedOutput::UnblockedOutput(int fd)
    : fd_(fd),
      kind_(is_socket(fd)             ? Kind::kSocket
            : is_pipe_or_terminal(fd) ? Kind::kStream
                                      : Kind::kFile),
      own_(reopened_without_waiting(fd)) {}

ssize_t UnblockedOutput::write(std::string_view text) const noexcept {
  text = text.substr(0, PIPE_BUF);  // a pipe takes so many bytes as a whole or not at all
  switch (kind_) {
    case Kind::kSocket:  // a socket cannot be opened anew, but each call can say that it does not wait
      return ::send(fd_, text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    case Kind::kStream:
      break;
    case Kind::kFile:
      return ::write(fd_, text.data(), text.size());
  }
  if (own_.is_open()) return ::write(own_.get(), text.data(), text.size());
  // It cannot be opened anew, because it belongs to another user for example. A pipe that poll() calls ready takes
  // PIPE_BUF bytes at once, unless another process fills it in this very moment; a terminal takes few bytes at once.
  pollfd polled{fd_, POLLOUT, 0};
  if (::poll(&polled, 1, 0) <= 0) {
    errno = EAGAIN;
    return -1;
  }
  constexpr std::size_t kTerminalTakes = 64;
  const std::size_t size = ::isatty(fd_) == 1 ? std::min(text.size(), kTerminalTakes) : text.size();
  return ::write(fd_, text.data(), size);
}

}  // namespace polaiga::engine
