// Where the server listens.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "base/descriptor.h"

namespace polaiga::web {

// "unix:PATH", "127.0.0.1:PORT", "0.0.0.0:PORT", "[::1]:PORT" or "[::]:PORT"; the port 0 is one that the system
// chooses.
struct ListenAddress {
  std::string path;  // of a Unix socket
  std::string host;  // in numbers; "" for a Unix socket
  std::uint16_t port = 0;

  bool is_unix() const { return host.empty(); }
  // Whether only this machine can connect.
  bool is_local() const;
  // With the port that the system has chosen, as an address for a person to open.
  std::string text(bool is_encrypted) const;
};

// Nothing: it is no such address.
std::optional<ListenAddress> parse_listen_address(std::string_view text);

class Listener {
 public:
  // Listens. A Unix socket that an ended process has left behind is replaced; anything else in its place is not. Its
  // mode is 0660. Throws std::runtime_error.
  explicit Listener(ListenAddress address);
  ~Listener();  // takes the Unix socket away
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  int fd() const { return socket_.get(); }
  const ListenAddress& address() const { return address_; }

 private:
  ListenAddress address_;
  engine::Descriptor socket_;
};

}  // namespace polaiga::web
