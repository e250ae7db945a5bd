// The subscriptions to pushed events and how far each has come. They are in a file, so that they survive a restart.
#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "redfish/subscription.h"

namespace polaiga::web {

class SubscriptionStore {
 public:
  static constexpr std::size_t kMost = 20;

  // Keeps them in the file "redfish-subscriptions.json" of the directory, which must be there; without a directory,
  // there are none. Throws std::runtime_error when the file cannot be read or is not right.
  explicit SubscriptionStore(const std::string& directory);

  bool is_enabled() const { return !file_.empty(); }

  // The subscription with its new id; nothing: there are kMost. Throws std::runtime_error when the file cannot be
  // written; so do the others. Then nothing has changed.
  std::optional<Subscription> add(Subscription subscription);
  // False: there is no such one.
  bool remove(const std::string& id);
  bool set_suspended(const std::string& id, bool is_suspended);

  // Notes how far the subscription has come, also when the file cannot be written; then it throws all the same.
  void advance(const std::string& id, const EventCursor& cursor);
  // The same for changes that the subscription does not want. It is written with what is written next.
  void pass(const std::string& id, const EventCursor& cursor);

  std::vector<Subscription> all() const;
  std::optional<Subscription> find(const std::string& id) const;

 private:
  void read();
  void write(const std::vector<Subscription>& subscriptions) const;

  std::string directory_;
  std::string file_;  // empty: there are no subscriptions
  mutable std::mutex mutex_;
  std::vector<Subscription> subscriptions_;
  std::uint64_t last_ = 0;  // id
};

}  // namespace polaiga::web
