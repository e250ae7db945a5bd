#include "access/login_delays.h"

#include <algorithm>

namespace polaiga::web {
namespace {

using std::chrono::milliseconds;

constexpr int kFree = 1;  // failures after which one may try again at once
constexpr milliseconds kFirst{1'000};
constexpr milliseconds kLongest{60'000};
constexpr std::chrono::minutes kMemory{15};

milliseconds delay_after(int failures) {
  milliseconds delay = failures > kFree ? kFirst : milliseconds(0);
  for (int i = kFree + 1; i < failures && delay < kLongest; ++i) delay *= 2;
  return std::min(delay, kLongest);
}

std::string login_key(const std::string& address, const std::string& name) { return address + " " + name; }

}  // namespace

milliseconds RecentFailures::wait(const std::string& key, Time now) const {
  const auto found = by_key_.find(key);
  if (found == by_key_.end()) return milliseconds(0);
  const Time until = found->second->last + delay_after(found->second->count);
  return std::max(milliseconds(0), std::chrono::ceil<milliseconds>(until - now));
}

void RecentFailures::add(const std::string& key, Time now) {
  while (!failures_.empty() && now - failures_.back().last >= kMemory) forget(std::string(failures_.back().key));
  const auto found = by_key_.find(key);
  if (found != by_key_.end()) {
    failures_.splice(failures_.begin(), failures_, found->second);
  } else {
    if (failures_.size() == most_) forget(std::string(failures_.back().key));
    failures_.push_front({.key = key});
    by_key_[key] = failures_.begin();
  }
  ++failures_.front().count;
  failures_.front().last = now;
}

void RecentFailures::forget(const std::string& key) {
  const auto found = by_key_.find(key);
  if (found == by_key_.end()) return;
  failures_.erase(found->second);
  by_key_.erase(found);
}

milliseconds LoginDelays::wait(const std::string& address, const std::string& name) const {
  const std::lock_guard lock(mutex_);
  const auto now = clock_.steady();
  const milliseconds of_address = address.empty() ? milliseconds(0) : addresses_.wait(address, now);
  if (std::ranges::find(known_logins_, login_key(address, name)) != known_logins_.end()) return of_address;
  return std::max(of_address, names_.wait(name, now));
}

void LoginDelays::failed(const std::string& address, const std::string& name) {
  const std::lock_guard lock(mutex_);
  const auto now = clock_.steady();
  if (!address.empty()) addresses_.add(address, now);
  names_.add(name, now);
}

// The failures of the address stay. Otherwise somebody could log in as himself between guesses at the passwords of
// others, and would never have to wait.
void LoginDelays::succeeded(const std::string& address, const std::string& name) {
  const std::lock_guard lock(mutex_);
  names_.forget(name);
  if (address.empty()) return;
  const std::string key = login_key(address, name);
  std::erase(known_logins_, key);
  known_logins_.push_front(key);
  if (known_logins_.size() > kMostKnownLogins) known_logins_.pop_back();
}

}  // namespace polaiga::web
