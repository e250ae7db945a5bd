#include "access/secrets.h"

#include <nettle/hmac.h>
#include <nettle/memops.h>
#include <nettle/sha2.h>
#include <sys/random.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>
#include <vector>

namespace polaiga::web {
namespace {

const std::uint8_t* bytes_of(std::string_view text) { return reinterpret_cast<const std::uint8_t*>(text.data()); }

std::string digits_of(const std::uint8_t* bytes, std::size_t size) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  text.reserve(2 * size);
  std::for_each(bytes, bytes + size, [&](std::uint8_t byte) {
    text.append({kDigits[byte >> 4U], kDigits[byte & 15U]});
  });
  return text;
}

}  // namespace

Secret::Secret(std::string&& text) : text_(text) { wipe(text); }

// A short text lies in the string object itself. To swap two texts leaves no copy of it behind, as to move one would.
Secret::Secret(Secret&& other) noexcept { text_.swap(other.text_); }

Secret& Secret::operator=(Secret&& other) noexcept {
  if (this == &other) return *this;
  wipe(text_);
  text_.swap(other.text_);
  return *this;
}

void fill_random(std::uint8_t* bytes, std::size_t size) {
  for (std::size_t filled = 0; filled < size;) {
    const ssize_t now = ::getrandom(bytes + filled, size - filled, 0);
    if (now < 0 && errno == EINTR) continue;
    if (now <= 0) throw std::system_error(errno, std::generic_category(), "getrandom");
    filled += static_cast<std::size_t>(now);
  }
}

std::string random_text(std::size_t bytes) {
  std::vector<std::uint8_t> random(bytes);
  fill_random(random.data(), random.size());
  std::string text = digits_of(random.data(), random.size());
  ::explicit_bzero(random.data(), random.size());
  return text;
}

Digest sha256(std::string_view text) {
  sha256_ctx context;
  sha256_init(&context);
  sha256_update(&context, text.size(), bytes_of(text));
  Digest digest{};
  sha256_digest(&context, digest.size(), digest.data());
  ::explicit_bzero(&context, sizeof context);
  return digest;
}

KeyedDigest::KeyedDigest() { fill_random(key_.data(), key_.size()); }

Digest KeyedDigest::of(std::string_view text) const {
  hmac_sha256_ctx context;
  hmac_sha256_set_key(&context, key_.size(), key_.data());
  hmac_sha256_update(&context, text.size(), bytes_of(text));
  Digest digest{};
  hmac_sha256_digest(&context, digest.size(), digest.data());
  ::explicit_bzero(&context, sizeof context);
  return digest;
}

std::string hexadecimal(const Digest& digest) { return digits_of(digest.data(), digest.size()); }

bool are_equal(std::string_view one, std::string_view other) {
  return one.size() == other.size() && memeql_sec(one.data(), other.data(), one.size()) != 0;
}

}  // namespace polaiga::web
