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

constexpr int kBacklog = 64;
constexpr mode_t kMask = 0117;  // the socket is for its owner and group

[[noreturn]] void fail(const std::string& path, const std::string& what) {
  throw std::runtime_error(printable(path) + ": " + what);
}

sockaddr_un address_of(const std::string& path) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) {
    fail(path, "the path of a socket has at most " + std::to_string(sizeof address.sun_path - 1) + " bytes");
  }
  path.copy(address.sun_path, path.size());
  return address;
}

Descriptor make_socket() {
  Descriptor made(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!made.is_open()) throw std::runtime_error(std::string("socket: ") + std::strerror(errno));
  return made;
}

// What a program that is gone has left there is taken away.
void make_way(const std::string& path, const sockaddr_un& address) {
  struct stat there = {};
  if (::lstat(path.c_str(), &there) != 0) return;
  if (!S_ISSOCK(there.st_mode)) fail(path, "this is no socket; it is left alone");
  const Descriptor probe = make_socket();
  const bool answers = ::connect(probe.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  if (answers || errno != ECONNREFUSED) fail(path, "another process listens at this socket");
  ::unlink(path.c_str());
}

}  // namespace

Listener::Listener(const std::string& path) : path_(path) {
  const sockaddr_un address = address_of(path);
  make_way(path, address);
  socket_ = make_socket();
  const mode_t mask = ::umask(kMask);
  const int bound = ::bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
  const int error = errno;
  ::umask(mask);
  if (bound != 0) fail(path, std::string("cannot make the socket: ") + std::strerror(error));
  if (::listen(socket_.get(), kBacklog) != 0) fail(path, std::string("cannot listen: ") + std::strerror(errno));
  struct stat made = {};
  if (::lstat(path.c_str(), &made) == 0) inode_ = made.st_ino;
}

Listener::~Listener() {
  struct stat there = {};
  if (::lstat(path_.c_str(), &there) == 0 && there.st_ino == inode_) ::unlink(path_.c_str());
}

Descriptor Listener::accept() const {
  return Descriptor(::accept4(fd(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
}

}  // namespace polaiga::engine
