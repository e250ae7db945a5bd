#include "redfish/push_addresses.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <netinet/in.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

namespace polaiga::web {
namespace {

using Bytes = std::vector<std::uint8_t>;  // 4 or 16, as in a packet

constexpr std::size_t kV4 = 4;
constexpr std::size_t kV6 = 16;

struct Network {
  const char* address;
  std::size_t bits;
  const char* what;
};

constexpr const char* kMachine = "of this machine";
constexpr const char* kLink = "of the link alone";
constexpr const char* kMetadata = "of a service that tells a cloud's machines about themselves";

constexpr Network kRefused[] = {
    {"0.0.0.0", 8, kMachine},
    {"127.0.0.0", 8, kMachine},
    {"169.254.0.0", 16, kLink},  // most metadata services are here, too
    {"100.100.100.200", 32, kMetadata},
    {"168.63.129.16", 32, kMetadata},
    {"192.0.0.192", 32, kMetadata},
    {"::", 128, kMachine},
    {"::1", 128, kMachine},
    {"fe80::", 10, kLink},
    {"fd00:ec2::254", 128, kMetadata},
    {"fd20:ce::254", 128, kMetadata},
    {"fd00:c1::a9fe:a9fe", 128, kMetadata},
};

// Addresses of IPv6 that hold one of IPv4, and where in them it begins.
struct Wrapping {
  const char* address;
  std::size_t bits;
  std::size_t at;
};

constexpr Wrapping kWrappings[] = {
    {"::ffff:0:0", 96, 12},   // mapped: the system itself unwraps them
    {"::", 96, 12},           // compatible, which nobody should use any more
    {"64:ff9b::", 96, 12},    // NAT64 (RFC 6052)
    {"64:ff9b:1::", 48, 12},  // NAT64 of the site (RFC 8215), as most write it
    {"2002::", 16, 2},        // 6to4 (RFC 3056)
};

Bytes parse(const char* text) {
  Bytes bytes(kV6);
  if (::inet_pton(AF_INET6, text, bytes.data()) == 1) return bytes;
  bytes.resize(kV4);
  return ::inet_pton(AF_INET, text, bytes.data()) == 1 ? bytes : Bytes();
}

std::string text_of(const Bytes& bytes) {
  std::array<char, INET6_ADDRSTRLEN> text{};
  ::inet_ntop(bytes.size() == kV4 ? AF_INET : AF_INET6, bytes.data(), text.data(), text.size());
  return text.data();
}

Bytes bytes_of(const sockaddr& address) {
  if (address.sa_family == AF_INET) {
    const auto* const begin =
        reinterpret_cast<const std::uint8_t*>(&reinterpret_cast<const sockaddr_in&>(address).sin_addr);
    return {begin, begin + kV4};
  }
  if (address.sa_family == AF_INET6) {
    const auto* const begin =
        reinterpret_cast<const std::uint8_t*>(&reinterpret_cast<const sockaddr_in6&>(address).sin6_addr);
    return {begin, begin + kV6};
  }
  return {};
}

bool is_in(const Bytes& address, const char* network, std::size_t bits) {
  const Bytes of = parse(network);
  if (of.size() != address.size()) return false;
  for (std::size_t bit = 0; bit < bits; ++bit) {
    const unsigned mask = 0x80U >> bit % 8;
    if ((address[bit / 8] & mask) != (of[bit / 8] & mask)) return false;
  }
  return true;
}

// Whether an interface of this machine has the address. When the interfaces cannot be listed, it might have it.
bool may_be_own(const Bytes& address) {
  ifaddrs* list = nullptr;
  if (::getifaddrs(&list) != 0) return true;
  const std::unique_ptr<ifaddrs, decltype(&::freeifaddrs)> all(list, &::freeifaddrs);
  for (const ifaddrs* one = all.get(); one != nullptr; one = one->ifa_next) {
    if (one->ifa_addr != nullptr && bytes_of(*one->ifa_addr) == address) return true;
  }
  return false;
}

std::string why_not(const Bytes& address) {
  for (const Network& network : kRefused) {
    if (is_in(address, network.address, network.bits)) return text_of(address) + " is an address " + network.what;
  }
  if (may_be_own(address)) return text_of(address) + " is an address " + kMachine;
  for (const Wrapping& wrapping : kWrappings) {
    if (!is_in(address, wrapping.address, wrapping.bits)) continue;
    const auto begin = address.begin() + static_cast<std::ptrdiff_t>(wrapping.at);
    return why_not({begin, begin + kV4});
  }
  return "";
}

}  // namespace

std::string why_not_pushed_to(const sockaddr& address) {
  const Bytes bytes = bytes_of(address);
  return bytes.empty() ? "It is no internet address" : why_not(bytes);
}

std::string why_not_pushed_to(const std::string& host) {
  const bool has_brackets = host.starts_with('[') && host.ends_with(']');
  const Bytes bytes = parse((has_brackets ? host.substr(1, host.size() - 2) : host).c_str());
  return bytes.empty() ? "" : why_not(bytes);
}

}  // namespace polaiga::web
