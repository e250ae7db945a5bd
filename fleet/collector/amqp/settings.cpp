#include "amqp/settings.h"

#include <charconv>

namespace polaiga::fleet {
namespace {

constexpr std::uint16_t kPlainPort = 5672;
constexpr std::uint16_t kEncryptedPort = 5671;
constexpr std::size_t kMostHostBytes = 253;

bool is_host_character(char c) {
  return ('a' <= c && c <= 'z') || ('A' <= c && c <= 'Z') || ('0' <= c && c <= '9') || c == '.' || c == '-' || c == '_';
}

bool is_address_character(char c) {
  return ('a' <= c && c <= 'f') || ('A' <= c && c <= 'F') || ('0' <= c && c <= '9') || c == ':' || c == '.';
}

template <class Is>
bool all_of(std::string_view text, Is is) {
  for (const char c : text) {
    if (!is(c)) return false;
  }
  return !text.empty();
}

// The whole text as a number in this base; nothing: it is none, or too great.
template <class Number>
std::optional<Number> number_of(std::string_view text, int base = 10) {
  Number number = 0;
  const char* const end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, number, base);
  if (read.ec != std::errc() || read.ptr != end) return std::nullopt;
  return number;
}

std::optional<std::string> decoded(std::string_view text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (c <= ' ' || c == 0x7f || c == '/' || c == '?' || c == '#') return std::nullopt;
    if (c != '%') {
      result += text[i];
      continue;
    }
    const auto byte = number_of<unsigned char>(text.substr(i + 1, 2), 16);
    if (i + 2 >= text.size() || !byte || *byte == 0) return std::nullopt;
    result += static_cast<char>(*byte);
    i += 2;
  }
  return result;
}

// Takes the host away from the beginning.
std::optional<std::string> take_host(std::string_view& rest) {
  std::string host;
  if (rest.starts_with('[')) {
    const std::size_t end = rest.find(']');
    if (end == std::string_view::npos) return std::nullopt;
    host = rest.substr(1, end - 1);
    rest.remove_prefix(end + 1);
    if (!all_of(host, is_address_character)) return std::nullopt;
  } else {
    host = rest.substr(0, rest.find(':'));
    rest.remove_prefix(host.size());
    if (!all_of(host, is_host_character)) return std::nullopt;
  }
  if (host.size() > kMostHostBytes) return std::nullopt;
  return host;
}

}  // namespace

std::string BrokerNode::text() const {
  const bool is_address = host.find(':') != std::string::npos;
  return (is_address ? "[" + host + "]" : host) + ":" + std::to_string(port);
}

std::optional<BrokerNode> parse_broker_url(std::string_view url) {
  BrokerNode node;
  if (url.starts_with("amqps://")) {
    node.is_encrypted = true;
    url.remove_prefix(8);
  } else if (url.starts_with("amqp://")) {
    url.remove_prefix(7);
  } else {
    return std::nullopt;
  }
  const std::size_t slash = url.find('/');
  std::string_view place = url.substr(0, slash);
  if (slash != std::string_view::npos && slash + 1 < url.size()) {
    const auto virtual_host = decoded(url.substr(slash + 1));
    if (!virtual_host) return std::nullopt;
    node.virtual_host = *virtual_host;
  }
  const auto host = take_host(place);
  if (!host) return std::nullopt;
  node.host = *host;
  node.port = node.is_encrypted ? kEncryptedPort : kPlainPort;
  if (place.empty()) return node;
  const auto port = place.starts_with(':') ? number_of<std::uint16_t>(place.substr(1)) : std::nullopt;
  if (!port || *port == 0) return std::nullopt;
  node.port = *port;
  return node;
}

}  // namespace polaiga::fleet
