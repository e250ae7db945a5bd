// Where requests go, as the options name it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace polaiga::alertmanager {

struct Address {
  static constexpr std::size_t kMostBytes = 2048;

  std::string url;         // without a slash at its end
  std::string peer;        // for people: without what may be a secret
  bool is_secure = false;  // https

  bool operator==(const Address&) const = default;
};

enum class Query : std::uint8_t { kRefused, kAllowed };

// Reads a URL: http or https, a host or an address, maybe a port and a path. Throws std::runtime_error that says what
// is wrong, and never repeats the URL.
Address parse_address(std::string_view text, Query query);

// "alertmanager" makes "alertmanager-0123456789ab": the name under which the engine knows how far an address has come.
std::string publisher_name(std::string_view kind, const Address& address);

}  // namespace polaiga::alertmanager
