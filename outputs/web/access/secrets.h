// Secrets: random ones, digests of them, and comparisons whose time tells nothing.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/wipe.h"

namespace polaiga::web {

using Digest = std::array<std::uint8_t, 32>;

using engine::wipe;

// A text that is overwritten when it is not needed any more.
class Secret {
 public:
  Secret() = default;
  explicit Secret(std::string&& text);  // wipes the other
  ~Secret() { wipe(text_); }
  Secret(Secret&& other) noexcept;
  Secret& operator=(Secret&& other) noexcept;

  std::string_view view() const { return text_; }
  const char* c_str() const { return text_.c_str(); }

 private:
  std::string text_;
};

// Bytes of the kernel's random numbers. Throws std::system_error.
void fill_random(std::uint8_t* bytes, std::size_t size);

// So many random bytes as hexadecimal digits.
std::string random_text(std::size_t bytes);

Digest sha256(std::string_view text);

// HMAC-SHA256 with a random key that nobody else ever has.
class KeyedDigest {
 public:
  KeyedDigest();

  Digest of(std::string_view text) const;

 private:
  Digest key_{};
};

std::string hexadecimal(const Digest& digest);

// The time depends on the sizes alone.
bool are_equal(std::string_view one, std::string_view other);

}  // namespace polaiga::web
