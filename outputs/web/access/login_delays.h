// Slows those who guess passwords.
#pragma once

#include <chrono>
#include <list>
#include <mutex>
#include <string>
#include <unordered_map>

#include "base/clock.h"

namespace polaiga::web {

// Failures, counted by key. Only the keys that failed last are remembered.
class RecentFailures {
 public:
  using Time = engine::Clock::Steady;

  explicit RecentFailures(std::size_t most) : most_(most) {}

  // How long the key has still to wait.
  std::chrono::milliseconds wait(const std::string& key, Time now) const;
  void add(const std::string& key, Time now);
  void forget(const std::string& key);
  std::size_t size() const { return by_key_.size(); }

 private:
  struct Failures {
    std::string key;
    int count = 0;
    Time last{};
  };

  std::size_t most_;
  std::list<Failures> failures_;  // those of the last failure first
  std::unordered_map<std::string, std::list<Failures>::iterator> by_key_;
};

// After the second failure in a row, an address has to wait a second before it may try again, and twice as long after
// each further one, up to a minute. So has everybody who tries the same name, but for an address that has logged in
// with that name before: a stranger cannot lock somebody out. Failures are forgotten after a quarter of an hour without
// one. For several threads.
class LoginDelays {
 public:
  static constexpr std::size_t kMostAddresses = 4096;
  static constexpr std::size_t kMostNames = 4096;
  static constexpr std::size_t kMostKnownLogins = 1024;

  // The clock must outlive this.
  explicit LoginDelays(const engine::Clock& clock) : clock_(clock) {}

  // How long it is until the next try may be made. An empty address is one that many people share: it is not counted.
  std::chrono::milliseconds wait(const std::string& address, const std::string& name) const;
  void failed(const std::string& address, const std::string& name);
  void succeeded(const std::string& address, const std::string& name);

 private:
  const engine::Clock& clock_;
  mutable std::mutex mutex_;
  RecentFailures addresses_{kMostAddresses};
  RecentFailures names_{kMostNames};
  std::list<std::string> known_logins_;  // addresses with the names that have logged in there; the last first
};

}  // namespace polaiga::web
