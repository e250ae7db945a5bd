#include "access/verified_passwords.h"

#include <algorithm>

namespace polaiga::web {

bool VerifiedPasswords::has(const User& user, std::string_view password) {
  const Digest digest = digest_of(user, password);
  const std::lock_guard lock(mutex_);
  const auto found = verified_.find(digest);
  return found != verified_.end() && clock_.steady() - found->second < kMemory;
}

void VerifiedPasswords::add(const User& user, std::string_view password) {
  const Digest digest = digest_of(user, password);
  const std::lock_guard lock(mutex_);
  const auto now = clock_.steady();
  std::erase_if(verified_, [&](const auto& entry) { return now - entry.second >= kMemory; });
  if (verified_.size() >= kMost) {
    verified_.erase(std::ranges::min_element(verified_, {}, &std::pair<const Digest, engine::Clock::Steady>::second));
  }
  verified_[digest] = now;
}

// The hash is part of it, so that a password that was changed is not found any more. Neither a name nor a hash has
// a line end.
Digest VerifiedPasswords::digest_of(const User& user, std::string_view password) const {
  std::string text = user.name + "\n" + user.hash + "\n";
  text.reserve(text.size() + password.size());  // so that no copy is left behind
  text += password;
  const Digest digest = keyed_.of(text);
  wipe(text);
  return digest;
}

}  // namespace polaiga::web
