// Who is at an internet address.
#pragma once

#include <string>

namespace polaiga::web {

// The addresses that one person has: one of IPv4, and all those of IPv6 that begin with the same 64 bits. An
// address of IPv4 in the form of IPv6, as "::ffff:192.0.2.7", is that of IPv4. A text that is no address stays as it
// is.
std::string network_of(const std::string& address);

}  // namespace polaiga::web
