// Pushes events to those who subscribed. A thread of its own does it, for all at once: one that hangs keeps nobody
// waiting.
#pragma once

#include <atomic>
#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>

#include "base/messages.h"
#include "live/live_ledger.h"
#include "redfish/subscription_store.h"

namespace polaiga::web {

struct PushOptions {
  std::chrono::seconds retry_interval{30};  // at first; RetryForeverWithBackoff doubles it up to an hour
  unsigned retry_attempts = 3;              // after the first
  bool allows_local = false;                // also to addresses of this machine and of the link
};

class Pusher {
 public:
  using Tell = std::function<void(engine::Priority, const std::string&)>;

  // The ledger and the store must outlive this. Throws std::runtime_error.
  Pusher(LiveLedger& live, SubscriptionStore& store, PushOptions options, Tell tell);
  // Gives what is on its way a moment to arrive, so that it need not be pushed again later.
  ~Pusher();
  Pusher(const Pusher&) = delete;
  Pusher& operator=(const Pusher&) = delete;

  const PushOptions& options() const { return options_; }

  // There is something new: a change, another subscription, or one less. For any thread.
  void wake();

  // Sends a test to each subscription that is not suspended, even to those that would not want it. False: for one of
  // them there are too many tests already.
  bool test(const EventRecord& event);

  // A subscription goes on now, whatever it waits for.
  void retry_now(const std::string& id);

  // What keeps a subscription from its events at the moment, in words; "": nothing.
  std::string trouble_of(const std::string& id) const;

 private:
  struct Way;
  using Steady = std::chrono::steady_clock;

  void run();
  bool begin_all();
  bool begin(const Subscription& subscription, Way& way);
  bool finish_all();
  void finish(const std::string& id, Way& way, const std::string& problem);
  void fail(const Subscription& subscription, Way& way, const std::string& problem);
  void give_up(const Subscription& subscription, const std::string& problem);
  void store(bool at_once);
  void tell_of_storage(const std::string& problem);
  void forget_removed();
  bool has_deliveries() const;
  Steady::duration pause_of(const Subscription& subscription, unsigned failures) const;

  LiveLedger& live_;
  SubscriptionStore& store_;
  PushOptions options_;
  Tell tell_;
  void* multi_ = nullptr;  // of libcurl

  mutable std::mutex mutex_;
  std::map<std::string, std::deque<EventRecord>> tests_;  // by subscription
  std::map<std::string, std::string> troubles_;           // the same
  std::set<std::string> hurries_;                         // subscriptions to try again at once

  // Of the thread alone.
  std::map<std::string, std::unique_ptr<Way>> ways_;  // by subscription
  std::string storage_problem_;                       // why the file could not be written last; "": it could
  Steady::time_point next_store_{};

  std::atomic<bool> is_over_ = false;
  std::thread thread_;
};

}  // namespace polaiga::web
