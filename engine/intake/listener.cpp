#include "intake/listener.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "base/printable.h"

namespace polaiga::engine {
namespace {

constexpr int kBacklog = 64;    // clients that may wait to be accepted
constexpr mode_t kMask = 0117;  // only the socket's owner and group may connect

[[noreturn]] void fail(const std::string& path, const std::string& what) {
  throw std::runtime_error(printable(path) + ": " + what);
}

sockaddr_un address_of(const std::string& path) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) {
    fail(path, "the path of a socket has at most " + std::to_string(sizeof address.sun_path - 1) +
                   " bytes; choose a shorter one");
  }
  path.copy(address.sun_path, path.size());
  return address;
}

Descriptor make_socket() {
  Descriptor made(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!made.is_open()) throw std::runtime_error(std::string("cannot make a socket: ") + std::strerror(errno));
  return made;
}

// Removes a socket file that is left over from a process that has ended: nobody accepts connections there.
void remove_left_over(const std::string& path, const sockaddr_un& address) {
  struct stat there = {};
  if (::lstat(path.c_str(), &there) != 0) return;
  if (!S_ISSOCK(there.st_mode))
    fail(path, "this file is not a socket and is left alone; remove it or choose another path");
  const Descriptor probe = make_socket();
  const bool answers = ::connect(probe.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  if (answers || errno != ECONNREFUSED)
    fail(path, "another process listens at this socket; stop it or choose another path");
  ::unlink(path.c_str());
}

}  // namespace

Listener::Listener(const std::string& path, std::optional<gid_t> group) : path_(path) {
  const sockaddr_un address = address_of(path);
  remove_left_over(path, address);
  socket_ = make_socket();
  const mode_t mask = ::umask(kMask);
  const int bound = ::bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
  const int error = errno;
  ::umask(mask);
  if (bound != 0) fail(path, std::string("cannot make the socket: ") + std::strerror(error));
  if (group && ::lchown(path.c_str(), uid_t(-1), *group) != 0) {
    const std::string why = std::strerror(errno);
    ::unlink(path.c_str());
    fail(path, "cannot give the socket to group " + std::to_string(*group) + ": " + why +
                   "; the engine's user must be a member of that group");
  }
  if (::listen(socket_.get(), kBacklog) != 0) fail(path, std::string("cannot listen: ") + std::strerror(errno));
  struct stat made = {};
  if (::lstat(path.c_str(), &made) == 0) inode_ = made.st_ino;
}

Listener::~Listener() { remove_file(); }

void Listener::remove_file() {
  struct stat there = {};
  if (::lstat(path_.c_str(), &there) == 0 && there.st_ino == inode_) ::unlink(path_.c_str());
  inode_ = 0;
}

Descriptor Listener::accept() const {
  return Descriptor(::accept4(fd(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
}

uid_t user_of(const Descriptor& connection) {
  ucred peer = {};
  socklen_t size = sizeof peer;
  // The kernel noted it when the client connected, and does not forget it.
  return ::getsockopt(connection.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 ? peer.uid : uid_t(-1);
}

}  // namespace polaiga::engine
