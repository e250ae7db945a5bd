// How the broker is reached.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace polaiga::fleet {

// A node of the broker.
struct BrokerNode {
  std::string host;
  std::uint16_t port = 0;
  std::string virtual_host = "/";
  bool is_encrypted = false;

  std::string text() const;  // HOST:PORT

  bool operator==(const BrokerNode&) const = default;
};

// Of amqp://HOST[:PORT][/VHOST] or amqps://...; an address of IPv6 stands in brackets, and in VHOST %XX is a byte. The
// port is 5672 or, with amqps, 5671. Nothing: it is no such URL, or it has a user or a password, which do not belong
// there.
std::optional<BrokerNode> parse_broker_url(std::string_view url);

struct BrokerSettings {
  std::vector<BrokerNode> nodes;  // of one cluster
  std::string user;               // empty: the client's certificate says who it is
  std::string password_file;
  // Files; empty: none.
  std::string tls_ca;
  std::string tls_cert;
  std::string tls_key;
};

}  // namespace polaiga::fleet
