// The header Cookie (RFC 6265, section 4.2).
#pragma once

#include <optional>
#include <string_view>

namespace polaiga::web {

// The value of the cookie. Nothing: it is not there, is there twice, which another site below the same name could have
// brought about, or its value has characters that no cookie may have. Other cookies may be whatever they like.
std::optional<std::string_view> find_cookie(std::string_view header, std::string_view name);

}  // namespace polaiga::web
