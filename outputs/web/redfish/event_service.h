// Redfish's event service: subscriptions to pushed events, the event stream, and test events.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "access/caller.h"
#include "app/site.h"
#include "redfish/event_stream.h"
#include "redfish/pusher.h"
#include "redfish/resource.h"
#include "redfish/subscription_store.h"

namespace polaiga::web {

class EventService {
 public:
  // `wake_streams` asks all streams for what is new. Throws std::runtime_error.
  EventService(Site& site, const std::string& directory, const PushOptions& options, Pusher::Tell tell,
               std::function<void()> wake_streams);

  void wake() { pusher_.wake(); }

  engine::JsonObject service() const;
  engine::JsonObject subscriptions(const MemberRange& range) const;
  // Nothing: there is none with this id.
  std::optional<engine::JsonObject> subscription(const std::string& id) const;

  // These throw Refusal.
  Response subscribe(const Request& request, const Caller& caller);
  // False: there is none with this id.
  bool unsubscribe(const std::string& id, const Caller& caller);
  bool suspend(const std::string& id, bool is_suspended);
  void submit_test(const Request& request);
  Response stream(const Request& request);

 private:
  engine::JsonObject form(const Subscription& of) const;

  Site& site_;
  Pusher::Tell tell_;
  std::function<void()> wake_streams_;
  TestEvents tests_;
  OpenStreams streams_;
  SubscriptionStore store_;
  Pusher pusher_;
};

}  // namespace polaiga::web
