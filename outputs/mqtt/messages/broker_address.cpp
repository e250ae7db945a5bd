#include "messages/broker_address.h"

#include <algorithm>
#include <charconv>
#include <cstddef>

namespace polaiga::mqtt {
namespace {

constexpr std::size_t kLongestHost = 253;  // a name of the DNS

bool is_host_character(char c) {
  return ('a' <= c && c <= 'z') || ('A' <= c && c <= 'Z') || ('0' <= c && c <= '9') || c == '_' || c == '.' || c == '-';
}

bool is_name(std::string_view host) {
  return !host.empty() && host.size() <= kLongestHost && host.front() != '-' &&
         std::ranges::all_of(host, is_host_character);
}

// An address of IPv6, maybe with a zone, as in fe80::1%eth0.
bool may_be_ipv6(std::string_view host) {
  const std::string_view address = host.substr(0, host.find('%'));
  const std::string_view zone = address.size() == host.size() ? std::string_view("0") : host.substr(address.size() + 1);
  const auto fits = [](char c) {
    return c == ':' || c == '.' || ('0' <= c && c <= '9') || ('a' <= (c | 0x20) && (c | 0x20) <= 'f');
  };
  return std::ranges::count(address, ':') >= 2 && address.size() <= 45 && std::ranges::all_of(address, fits) &&
         is_name(zone) && zone.size() <= 16;
}

std::optional<std::uint16_t> parse_port(std::string_view text) {
  std::uint16_t port = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
  if (error != std::errc() || end != text.data() + text.size() || port == 0 || text.front() == '0') return std::nullopt;
  return port;
}

}  // namespace

std::string BrokerAddress::text(std::uint16_t usual_port) const {
  const bool is_ipv6 = host.find(':') != std::string::npos;
  return (is_ipv6 ? "[" + host + "]" : host) + ":" + std::to_string(port.value_or(usual_port));
}

std::optional<BrokerAddress> parse_broker_address(std::string_view text) {
  if (may_be_ipv6(text)) return BrokerAddress{.host = std::string(text), .port = std::nullopt};
  std::string_view host = text;
  std::string_view rest;
  if (text.starts_with('[')) {
    const std::size_t end = text.find(']');
    if (end == std::string_view::npos) return std::nullopt;
    host = text.substr(1, end - 1);
    rest = text.substr(end + 1);
    if (!may_be_ipv6(host)) return std::nullopt;
  } else {
    const std::size_t colon = text.find(':');
    if (colon != std::string_view::npos) {
      host = text.substr(0, colon);
      rest = text.substr(colon);
    }
    if (!is_name(host)) return std::nullopt;
  }
  if (rest.empty()) return BrokerAddress{.host = std::string(host), .port = std::nullopt};
  if (rest.front() != ':') return std::nullopt;
  const auto port = parse_port(rest.substr(1));
  if (!port) return std::nullopt;
  return BrokerAddress{.host = std::string(host), .port = port};
}

}  // namespace polaiga::mqtt
