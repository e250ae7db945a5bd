// The header X-Forwarded-For, in which a proxy tells its client's address.
#pragma once

#include <string>
#include <string_view>

namespace polaiga::web {

// The last address in the header: that one the proxy itself has seen, while its client may have sent those before it.
// "": it has none, or what stands there is no address of IPv4 or IPv6.
std::string forwarded_address(std::string_view header);

}  // namespace polaiga::web
