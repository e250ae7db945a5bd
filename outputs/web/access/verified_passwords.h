// Remembers for a short time which passwords were right, so that a program which sends one with each request does not
// wait for a hash each time.
#pragma once

#include <chrono>
#include <map>
#include <mutex>
#include <string_view>

#include "access/secrets.h"
#include "access/users.h"
#include "base/clock.h"

namespace polaiga::web {

// Keeps keyed digests alone; the key is random and never leaves the process. For several threads.
class VerifiedPasswords {
 public:
  static constexpr std::chrono::minutes kMemory{5};
  static constexpr std::size_t kMost = 256;

  // The clock must outlive this.
  explicit VerifiedPasswords(const engine::Clock& clock) : clock_(clock) {}

  // Whether the password was right a short time ago, and the user has it still.
  bool has(const User& user, std::string_view password);
  void add(const User& user, std::string_view password);

 private:
  Digest digest_of(const User& user, std::string_view password) const;

  const engine::Clock& clock_;
  KeyedDigest keyed_;
  std::mutex mutex_;
  std::map<Digest, engine::Clock::Steady> verified_;  // with the moment when it was
};

}  // namespace polaiga::web
