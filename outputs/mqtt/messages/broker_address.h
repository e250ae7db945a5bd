// Where a broker is.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace polaiga::mqtt {

struct BrokerAddress {
  std::string host;                   // a name, or an address of IPv4 or IPv6
  std::optional<std::uint16_t> port;  // nothing: the usual one

  // As messages show it: HOST:PORT or [ADDRESS]:PORT.
  std::string text(std::uint16_t usual_port) const;

  bool operator==(const BrokerAddress&) const = default;
};

// Of HOST, HOST:PORT, [ADDRESS], [ADDRESS]:PORT or an address of IPv6 alone. Nothing: it is none of these.
std::optional<BrokerAddress> parse_broker_address(std::string_view text);

}  // namespace polaiga::mqtt
