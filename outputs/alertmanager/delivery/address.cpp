#include "delivery/address.h"

#include <nettle/sha2.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <stdexcept>

namespace polaiga::alertmanager {
namespace {

[[noreturn]] void refuse(const std::string& why) { throw std::runtime_error(why); }

bool is_digit(char c) { return c >= '0' && c <= '9'; }
bool is_letter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool is_hexadecimal(char c) { return is_digit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }

void check_port(std::string_view port) {
  constexpr unsigned kLast = 65535;
  unsigned number = 0;
  const auto [stop, error] = std::from_chars(port.data(), port.data() + port.size(), number);
  if (error != std::errc() || stop != port.data() + port.size() || number == 0 || number > kLast) {
    refuse("a port is a number from 1 to 65535");
  }
}

// What stands between "//" and the path.
void check_authority(std::string_view authority) {
  if (authority.find('@') != std::string_view::npos) {
    refuse(
        "a URL must not hold a user or a password, since everybody on the machine can read it; put them into the "
        "file that --credentials-file names");
  }
  std::string_view port;
  bool has_port = false;
  if (authority.starts_with('[')) {
    const std::size_t end = authority.find(']');
    const std::string_view inside = authority.substr(1, end == std::string_view::npos ? end : end - 1);
    if (end == std::string_view::npos || inside.empty() ||
        !std::ranges::all_of(inside, [](char c) { return is_hexadecimal(c) || c == ':' || c == '.'; })) {
      refuse("what stands in brackets is no IPv6 address");
    }
    port = authority.substr(end + 1);
    has_port = !port.empty();
    if (has_port && !port.starts_with(':')) refuse("behind an address in brackets comes a port, as in [::1]:9093");
    if (has_port) port.remove_prefix(1);
  } else {
    const std::size_t colon = authority.find(':');
    const std::string_view host = authority.substr(0, colon);
    has_port = colon != std::string_view::npos;
    if (has_port) port = authority.substr(colon + 1);
    if (host.empty()) refuse("there is no host");
    if (!std::ranges::all_of(host,
                             [](char c) { return is_digit(c) || is_letter(c) || c == '.' || c == '-' || c == '_'; })) {
      refuse("a host consists of letters, digits, dots and hyphens");
    }
  }
  if (has_port) check_port(port);
}

void check_path(std::string_view path) {
  constexpr std::string_view kMarks = "-._~!$&'()*+,;=:/%";
  constexpr std::size_t kEscape = 3;
  for (std::size_t i = 0; i < path.size(); ++i) {
    const char c = path[i];
    if (!is_digit(c) && !is_letter(c) && kMarks.find(c) == std::string_view::npos) {
      refuse("a path consists of letters, digits and the characters " + std::string(kMarks));
    }
    if (c != '%') continue;
    const std::string_view escape = path.substr(i, kEscape);
    if (escape.size() < kEscape || !is_hexadecimal(escape[1]) || !is_hexadecimal(escape[2])) {
      refuse("behind a % come two hexadecimal digits");
    }
  }
}

}  // namespace

Address parse_address(std::string_view text, Query query) {
  if (text.size() > Address::kMostBytes) refuse("a URL has at most " + std::to_string(Address::kMostBytes) + " bytes");
  const bool is_plain = std::ranges::all_of(text, [](char c) { return c > ' ' && c <= '~'; });
  if (!is_plain) refuse("a URL consists of the printable characters of ASCII, without blanks");
  constexpr std::string_view kPlain = "http://";
  constexpr std::string_view kSecure = "https://";
  Address address{.url = {}, .peer = {}, .is_secure = text.starts_with(kSecure)};
  if (!address.is_secure && !text.starts_with(kPlain)) refuse("a URL begins with http:// or https://");
  if (text.find('#') != std::string_view::npos) refuse("a URL must not have a part behind #");

  const std::string_view rest = text.substr((address.is_secure ? kSecure : kPlain).size());
  const std::size_t question = rest.find('?');
  if (question != std::string_view::npos && query == Query::kRefused) refuse("the URL must not have a part behind ?");
  std::string_view place = rest.substr(0, question);
  const std::size_t slash = place.find('/');
  check_authority(place.substr(0, slash));
  if (slash != std::string_view::npos) check_path(place.substr(slash));
  if (question != std::string_view::npos) {
    std::string parameters(rest.substr(question + 1));
    std::ranges::replace(parameters, '?', '/');
    check_path(parameters);
  }

  const std::size_t end = place.find_last_not_of('/');
  if (question == std::string_view::npos) place = place.substr(0, end + 1);
  address.peer = std::string(address.is_secure ? kSecure : kPlain) + std::string(place.substr(0, end + 1));
  address.url = std::string(address.is_secure ? kSecure : kPlain) + std::string(place);
  if (question != std::string_view::npos) address.url += rest.substr(question);
  return address;
}

std::string publisher_name(std::string_view kind, const Address& address) {
  sha256_ctx context;
  sha256_init(&context);
  sha256_update(&context, address.url.size(), reinterpret_cast<const std::uint8_t*>(address.url.data()));
  std::array<std::uint8_t, SHA256_DIGEST_SIZE> digest{};
  sha256_digest(&context, digest.size(), digest.data());
  constexpr std::string_view kDigits = "0123456789abcdef";
  constexpr std::size_t kBytes = 6;
  std::string name = std::string(kind) + "-";
  for (std::size_t i = 0; i < kBytes; ++i) {
    name.append(1, kDigits[digest[i] >> 4U]).append(1, kDigits[digest[i] & 0xFU]);
  }
  return name;
}

}  // namespace polaiga::alertmanager
