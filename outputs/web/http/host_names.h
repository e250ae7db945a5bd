// The names that this server goes by, against pages of other sites that reach it under a name of theirs.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "http/message.h"

namespace polaiga::web {

// The host of a Host header (RFC 9110 section 7.2), in small letters, without its port, brackets and a full stop at the
// end. Nothing: the header is not well-formed.
std::optional<std::string> host_of(std::string_view header);

// A page of evil.example can let that name lead to 127.0.0.1 ("DNS rebinding"). The browser then takes our answers for
// those of evil.example and lets its scripts read them; but it names evil.example in the header Host. So a request over
// TCP without TLS has to name this machine. With TLS the browser has checked the name by the certificate, and no
// browser connects to a Unix socket, so there any name is right.
class HostNames {
 public:
  // "localhost", any address of loopback, and these. Throws std::runtime_error for what is no host name.
  explicit HostNames(const std::vector<std::string>& more = {});

  // The response to a request that is not for this server; nothing when it is.
  std::optional<Response> refuse(const Request& request) const;

 private:
  std::vector<std::string> names_;
};

}  // namespace polaiga::web
