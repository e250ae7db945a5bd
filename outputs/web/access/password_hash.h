// Passwords as yescrypt hashes (crypt(5)).
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>

namespace polaiga::web {

// The hash of a password with a salt of its own. Throws std::runtime_error.
std::string hash_password(std::string_view password);

// Whether this is a hash that hash_password() could have made.
bool is_password_hash(std::string_view text);

// Compares passwords with hashes. A comparison takes long and much memory on purpose, so only a few are made at
// once; whoever asks for one more is told that it is busy, and nobody waits.
class PasswordChecker {
 public:
  enum class Verdict : std::uint8_t { kRight, kWrong, kBusy };

  PasswordChecker();

  // An empty hash means that there is no such user, or that he has no password. It takes as long as any other, so that
  // nobody learns from the time which users there are.
  Verdict check(std::string_view password, const std::string& hash);

  static constexpr int kMostAtOnce = 2;

 private:
  std::string nobody_;  // the hash of a password that nobody knows
  std::atomic<int> running_ = 0;
};

}  // namespace polaiga::web
