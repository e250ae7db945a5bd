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

  // The subscription with its new id; nothing: there are kMost. Throws std::system_error when the file cannot be
  // written; so do remove() and set_suspended(). Then nothing has changed here. The file has not changed either, unless
  // it was the directory alone that could not be written: then a restart may find the subscriptions as they were to be.
  std::optional<Subscription> add(Subscription subscription);
  // False: there is no such one.
  bool remove(const std::string& id);
  bool set_suspended(const std::string& id, bool is_suspended);

  // Notes how far the subscription has come. The file has it with the next flush() or other change.
  void advance(const std::string& id, const EventCursor& cursor);
  // Writes the file when a subscription has come further than it says; whether that was so. Throws std::system_error;
  // then the file is as it was, and another flush() tries again.
  bool flush();

  // Neither waits for the disk.
  std::vector<Subscription> all() const;
  std::optional<Subscription> find(const std::string& id) const;

 private:
  void read();
  void write(const std::vector<Subscription>& subscriptions) const;

  std::string directory_;
  std::string file_;  // empty: there are no subscriptions

  std::mutex writing_;      // held by whoever writes the file
  std::uint64_t last_ = 0;  // id; of whoever writes

  mutable std::mutex mutex_;  // of what follows; never held for long
  std::vector<Subscription> subscriptions_;
  bool is_behind_ = false;  // the file
};

}  // namespace polaiga::web
