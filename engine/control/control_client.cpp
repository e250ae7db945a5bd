#include "control/control_client.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "base/accounts.h"
#include "base/printable.h"

namespace polaiga::engine {
namespace {

constexpr std::size_t kLongestAnswer = std::size_t{1024} * 1024;

[[noreturn]] void fail(const std::string& path, const std::string& what) {
  throw std::runtime_error(printable(path) + ": " + what);
}

// Why the caller may not connect, and who could change that.
std::string who_may(const std::string& path) {
  struct stat status = {};
  if (::stat(path.c_str(), &status) != 0) {
    return "You may not act on alarms here: the directory of the engine's control socket is closed to you. Ask to "
           "become a member of the groups of the engine's operators";
  }
  return "You may not act on alarms here: the engine's control socket is open only to members of " +
         group_name(status.st_gid) + ". Ask to become one";
}

}  // namespace

ControlClient::ControlClient(const std::string& path, std::chrono::seconds within)
    : path_(path), within_(within), socket_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) fail(path, "the path of a socket cannot be that long");
  path.copy(address.sun_path, path.size());
  if (!socket_.is_open()) fail(path, std::string("cannot make a socket: ") + std::strerror(errno));
  const timeval time{.tv_sec = static_cast<time_t>(within.count()), .tv_usec = 0};
  ::setsockopt(socket_.get(), SOL_SOCKET, SO_RCVTIMEO, &time, sizeof time);
  ::setsockopt(socket_.get(), SOL_SOCKET, SO_SNDTIMEO, &time, sizeof time);
  if (::connect(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return;
  if (errno == EACCES) fail(path, who_may(path));
  if (errno == ENOENT || errno == ECONNREFUSED) {
    fail(path, "no engine listens here. Start `polaiga run` with --control, or name its socket with --control");
  }
  fail(path, std::string("cannot connect to the engine: ") + std::strerror(errno));
}

std::string ControlClient::ask(const std::string& line) {
  for (std::size_t sent = 0; sent < line.size();) {
    const ssize_t now = ::send(socket_.get(), line.data() + sent, line.size() - sent, MSG_NOSIGNAL);
    if (now < 0 && errno == EINTR) continue;
    if (now <= 0) fail(path_, std::string("the engine does not take the request: ") + std::strerror(errno));
    sent += static_cast<std::size_t>(now);
  }
  std::string answer;
  char part[4096];
  while (answer.find('\n') == std::string::npos && answer.size() < kLongestAnswer) {
    const ssize_t now = ::recv(socket_.get(), part, sizeof part, 0);
    if (now < 0 && errno == EINTR) continue;
    if (now < 0 && errno == EAGAIN) {
      fail(path_,
           "the engine did not answer within " + std::to_string(within_.count()) +
               " s. It may still do what it was asked for: look with `polaiga active`, or type the command again "
               "with an --id, under which it is done once");
    }
    if (now < 0) fail(path_, std::string("the engine does not answer: ") + std::strerror(errno));
    if (now == 0) fail(path_, "the engine ended before it answered. Look with `polaiga active` what was done");
    answer.append(part, static_cast<std::size_t>(now));
  }
  return answer.substr(0, answer.find('\n'));
}

}  // namespace polaiga::engine
