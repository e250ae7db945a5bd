// Tells a request that a page of another site has made a browser send.
#pragma once

#include <string_view>

namespace polaiga::web {

// The headers of these names. Browsers write Origin (RFC 6454) and Sec-Fetch-Site, and pages cannot forge them;
// programs send neither, and their requests are none of another site. A browser may hide the origin as "null" when a
// page's form is sent; that counts as of another site, unless Sec-Fetch-Site tells better. Host is what Origin has to
// name.
bool is_from_other_site(std::string_view origin, std::string_view fetch_site, std::string_view host);

}  // namespace polaiga::web
