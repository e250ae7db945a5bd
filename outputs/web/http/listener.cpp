#include "http/listener.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <stdexcept>

#include "base/printable.h"

namespace polaiga::web {
namespace {

constexpr int kBacklog = 128;

// An address of any family, as the calls of the system want it.
struct SocketAddress {
  sockaddr_storage storage = {};
  socklen_t size = 0;

  sockaddr* get() { return reinterpret_cast<sockaddr*>(&storage); }
};

std::optional<SocketAddress> internet_address(const std::string& host, std::uint16_t port) {
  SocketAddress address;
  auto* const four = reinterpret_cast<sockaddr_in*>(&address.storage);
  if (::inet_pton(AF_INET, host.c_str(), &four->sin_addr) == 1) {
    four->sin_family = AF_INET;
    four->sin_port = htons(port);
    address.size = sizeof *four;
    return address;
  }
  auto* const six = reinterpret_cast<sockaddr_in6*>(&address.storage);
  if (::inet_pton(AF_INET6, host.c_str(), &six->sin6_addr) == 1) {
    six->sin6_family = AF_INET6;
    six->sin6_port = htons(port);
    address.size = sizeof *six;
    return address;
  }
  return std::nullopt;
}

SocketAddress unix_address(const std::string& path) {
  SocketAddress address;
  auto* const local = reinterpret_cast<sockaddr_un*>(&address.storage);
  local->sun_family = AF_UNIX;
  path.copy(local->sun_path, sizeof local->sun_path - 1);
  address.size = sizeof *local;
  return address;
}

[[noreturn]] void fail(const ListenAddress& address, const std::string& what) {
  throw std::runtime_error("cannot listen at " + engine::printable(address.text(false)) + ": " + what);
}

// A socket that nobody listens at any more is in the way of a new one.
void remove_left_behind(const ListenAddress& at, SocketAddress& address) {
  struct stat status = {};
  if (::lstat(at.path.c_str(), &status) != 0) return;
  if (!S_ISSOCK(status.st_mode)) fail(at, "there is a file that is no socket");
  const engine::Descriptor probe(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (::connect(probe.get(), address.get(), address.size) == 0) fail(at, "another program listens there");
  if (errno != ECONNREFUSED) fail(at, std::strerror(errno));
  ::unlink(at.path.c_str());
}

}  // namespace

bool ListenAddress::is_local() const { return is_unix() || host == "::1" || host.starts_with("127."); }

std::string ListenAddress::text(bool is_encrypted) const {
  if (is_unix()) return "unix:" + path;
  const std::string shown = host.find(':') == std::string::npos ? host : "[" + host + "]";
  return (is_encrypted ? "https://" : "http://") + shown + ":" + std::to_string(port) + "/";
}

std::optional<ListenAddress> parse_listen_address(std::string_view text) {
  constexpr std::string_view kUnix = "unix:";
  ListenAddress address;
  if (text.starts_with(kUnix)) {
    address.path = text.substr(kUnix.size());
    if (address.path.empty() || address.path.size() >= sizeof sockaddr_un{}.sun_path) return std::nullopt;
    return address;
  }
  const std::size_t colon = text.rfind(':');
  if (colon == std::string_view::npos) return std::nullopt;
  const std::string_view port = text.substr(colon + 1);
  const auto [end, error] = std::from_chars(port.data(), port.data() + port.size(), address.port);
  if (error != std::errc() || end != port.data() + port.size()) return std::nullopt;
  address.host = text.substr(0, colon);
  const bool has_brackets = address.host.starts_with('[') && address.host.ends_with(']');
  if (has_brackets) address.host = address.host.substr(1, address.host.size() - 2);
  if (has_brackets != (address.host.find(':') != std::string::npos)) return std::nullopt;
  if (!internet_address(address.host, address.port)) return std::nullopt;
  return address;
}

Listener::Listener(ListenAddress address) : address_(std::move(address)) {
  SocketAddress at = address_.is_unix() ? unix_address(address_.path)
                                        : internet_address(address_.host, address_.port).value_or(SocketAddress{});
  socket_ = engine::Descriptor(::socket(at.storage.ss_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!socket_.is_open()) fail(address_, std::strerror(errno));
  const int yes = 1;
  if (address_.is_unix()) {
    remove_left_behind(address_, at);
  } else {
    ::setsockopt(socket_.get(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  }
  if (at.storage.ss_family == AF_INET6) ::setsockopt(socket_.get(), IPPROTO_IPV6, IPV6_V6ONLY, &yes, sizeof yes);
  const mode_t mask = ::umask(S_IXUSR | S_IXGRP | S_IRWXO);
  const bool is_bound = ::bind(socket_.get(), at.get(), at.size) == 0;
  const int error = errno;
  ::umask(mask);
  if (!is_bound) fail(address_, std::strerror(error));
  if (::listen(socket_.get(), kBacklog) != 0) fail(address_, std::strerror(errno));
  if (!address_.is_unix() && ::getsockname(socket_.get(), at.get(), &at.size) == 0) {
    const auto port = at.storage.ss_family == AF_INET6 ? reinterpret_cast<sockaddr_in6*>(&at.storage)->sin6_port
                                                       : reinterpret_cast<sockaddr_in*>(&at.storage)->sin_port;
    address_.port = ntohs(port);
  }
}

Listener::~Listener() {
  if (address_.is_unix()) ::unlink(address_.path.c_str());
}

}  // namespace polaiga::web
