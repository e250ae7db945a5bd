#include "http/network.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>

namespace polaiga::web {

std::string network_of(const std::string& address) {
  in6_addr bits = {};
  if (::inet_pton(AF_INET6, address.c_str(), &bits) != 1) return address;
  std::array<char, INET6_ADDRSTRLEN> text{};
  if (IN6_IS_ADDR_V4MAPPED(&bits)) {
    ::inet_ntop(AF_INET, &bits.s6_addr[12], text.data(), text.size());
    return text.data();
  }
  std::fill(std::begin(bits.s6_addr) + sizeof bits.s6_addr / 2, std::end(bits.s6_addr), std::uint8_t{0});
  ::inet_ntop(AF_INET6, &bits, text.data(), text.size());
  return text.data();
}

}  // namespace polaiga::web
