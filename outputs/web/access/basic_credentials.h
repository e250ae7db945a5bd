// The header Authorization of basic authentication (RFC 7617).
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "access/secrets.h"

namespace polaiga::web {

struct Credentials {
  std::string name;
  Secret password;
};

// Nothing: it is of another scheme, is no base64, or holds no name and password that any user could have.
std::optional<Credentials> parse_basic(std::string_view header);

}  // namespace polaiga::web
