// Which addresses events are pushed to. Whoever may subscribe could otherwise make the server ask, in its own name,
// what is meant for this machine alone.
#pragma once

#include <sys/socket.h>

#include <string>

namespace polaiga::web {

// What keeps events from an address, as in "127.0.0.1 is an address of this machine"; "": nothing does. Addresses of
// IPv4 that are written as some of IPv6 count as what they are.
std::string why_not_pushed_to(const sockaddr& address);

// The same for the host of a URL: an address as it is written there, such as "127.0.0.1" or "[::1]". For names it is
// "", since what a name stands for may change; it is looked at when a connection is made.
std::string why_not_pushed_to(const std::string& host);

}  // namespace polaiga::web
