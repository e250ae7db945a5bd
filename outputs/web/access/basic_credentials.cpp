#include "access/basic_credentials.h"

#include <nettle/base64.h>
#include <strings.h>

#include <algorithm>

#include "access/names.h"

namespace polaiga::web {
namespace {

constexpr std::string_view kScheme = "Basic ";
constexpr std::size_t kMostPlainBytes = kLongestUserName + 1 + kLongestPassword;

// Base64 as RFC 4648 writes it, with its padding, and in the one form that each text has.
std::optional<Secret> decoded(std::string_view text) {
  if (text.empty() || text.size() % 4 != 0 || text.size() > BASE64_ENCODE_RAW_LENGTH(kMostPlainBytes))
    return std::nullopt;
  std::string plain(BASE64_DECODE_LENGTH(text.size()), '\0');
  std::size_t size = plain.size();
  base64_decode_ctx context;
  base64_decode_init(&context);
  const bool is_read = base64_decode_update(&context, &size, reinterpret_cast<std::uint8_t*>(plain.data()), text.size(),
                                            text.data()) == 1 &&
                       base64_decode_final(&context) == 1;
  std::string again(is_read ? BASE64_ENCODE_RAW_LENGTH(size) : 0, '\0');
  if (is_read) base64_encode_raw(again.data(), size, reinterpret_cast<const std::uint8_t*>(plain.data()));
  const bool is_strict = is_read && again == text;
  wipe(again);
  if (is_read) plain.resize(size);
  Secret secret(std::move(plain));
  if (!is_strict) return std::nullopt;
  return secret;
}

}  // namespace

std::optional<Credentials> parse_basic(std::string_view header) {
  if (header.size() <= kScheme.size() || ::strncasecmp(header.data(), kScheme.data(), kScheme.size()) != 0) {
    return std::nullopt;
  }
  const auto plain = decoded(header.substr(kScheme.size()));
  if (!plain) return std::nullopt;
  const std::size_t colon = plain->view().find(':');
  if (colon == std::string_view::npos) return std::nullopt;
  const std::string_view name = plain->view().substr(0, colon);
  const std::string_view password = plain->view().substr(colon + 1);
  if (!is_user_name(name) || !is_password(password)) return std::nullopt;
  return Credentials{.name = std::string(name), .password = Secret(std::string(password))};
}

}  // namespace polaiga::web
