#include "access/origin.h"

#include <strings.h>

namespace polaiga::web {
namespace {

bool names_host(std::string_view origin, std::string_view host) {
  // Behind a proxy the browser may have come by TLS while the proxy does not, so either scheme is right.
  for (const std::string_view scheme : {"http://", "https://"}) {
    if (!origin.starts_with(scheme)) continue;
    const std::string_view authority = origin.substr(scheme.size());
    return !authority.empty() && authority.size() == host.size() &&
           ::strncasecmp(authority.data(), host.data(), host.size()) == 0;
  }
  return false;
}

}  // namespace

bool is_from_other_site(std::string_view origin, std::string_view fetch_site, std::string_view host) {
  if (!fetch_site.empty() && fetch_site != "same-origin" && fetch_site != "none") return true;
  if (origin.empty() || names_host(origin, host)) return false;
  return origin != "null" || fetch_site != "same-origin";
}

}  // namespace polaiga::web
