#include "access/forwarded.h"

#include <arpa/inet.h>

namespace polaiga::web {

std::string forwarded_address(std::string_view header) {
  const std::size_t comma = header.rfind(',');
  if (comma != std::string_view::npos) header.remove_prefix(comma + 1);
  while (header.starts_with(' ')) header.remove_prefix(1);
  while (header.ends_with(' ')) header.remove_suffix(1);
  if (header.find('\0') != std::string_view::npos) return "";
  std::string address(header);
  in6_addr bits = {};
  const bool is_address =
      ::inet_pton(AF_INET, address.c_str(), &bits) == 1 || ::inet_pton(AF_INET6, address.c_str(), &bits) == 1;
  return is_address ? address : std::string();
}

}  // namespace polaiga::web
