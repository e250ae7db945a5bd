// An HTTP/1.1 server of bounded size, on libmicrohttpd.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "http/listener.h"
#include "http/message.h"
#include "http/tls_credentials.h"

namespace polaiga::web {

struct ServerLimits {
  unsigned connections = 1100;  // at once
  unsigned streams = 1000;      // of them that are streams, whose responses go on as something happens
  unsigned per_address = 64;  // from one internet address (IPv6: a network of 64 bits), or of one user of this machine
  std::optional<uid_t> proxy = {};  // a user of this machine through whom many come; he is not held to that limit
  std::size_t header_bytes = std::size_t{16} * 1024;  // of a request, about
  std::size_t body_bytes = std::size_t{256} * 1024;
  unsigned workers = 8;                               // threads that answer requests
  std::chrono::milliseconds request_within{10'000};   // from the connection to a whole request
  std::chrono::milliseconds idle{60'000};             // between a response and the next whole request
  std::chrono::milliseconds response_within{60'000};  // for a client to read a response, or a part of a stream
  std::chrono::milliseconds refusal_within{2'000};    // from a connection beyond the limits to its end
};

// How many responses there were, by the first digit of their status, from 1 to 5.
using ResponseCounts = std::array<std::uint64_t, 5>;

class Server {
 public:
  // Connections that are accepted beyond the limit, so that others can be ended for them.
  static constexpr unsigned kBeyondLimit = 64;

  // Serves at once. The handler must outlive this. `tell` is told what the operator should know. Throws
  // std::runtime_error.
  Server(Listener& listener, Handler& handler, const ServerLimits& limits, const std::optional<TlsIdentity>& identity,
         std::function<void(const std::string&)> tell);
  // Waits for requests that are being answered; streams end.
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  // Asks all streams again for what is to be sent next. For any thread.
  void wake();

  // Connections that begin from now on use this certificate, key and authority. Throws std::runtime_error, and changes
  // nothing then. Only for a server that has an identity.
  void use(const TlsIdentity& identity);

  // How many connections there are, and how many of them are streams.
  std::size_t connections() const;
  std::size_t streams() const;
  // Since the start, without those that the library gave by itself to what is no request.
  ResponseCounts responses() const;

 private:
  class Connections;

  std::unique_ptr<Connections> connections_;
};

}  // namespace polaiga::web
