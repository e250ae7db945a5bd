#include "amqp/share.h"

#include <algorithm>
#include <utility>

#include "amqp/topology.h"

namespace polaiga::fleet {

int most_inboxes(int inboxes, std::uint32_t collectors) {
  const int count = static_cast<int>(std::clamp<std::uint32_t>(collectors, 1, static_cast<std::uint32_t>(inboxes)));
  return (inboxes + count - 1) / count;
}

Share::Share(Connection& connection, int inboxes, Random random)
    : connection_(connection), inboxes_(inboxes), random_(std::move(random)) {
  connection_.consume(kCollectors, kCollectors, 0, false);
}

void Share::give_back(int inbox) {
  connection_.stop_consuming(inbox_name(inbox));
  connection_.give_lock_back(holder_name(inbox));
  held_.erase(inbox);
}

// Whoever has the lock reads it.
bool Share::take(int inbox) {
  if (!connection_.take_lock(holder_name(inbox))) return false;
  connection_.consume(inbox_name(inbox), inbox_name(inbox), kPrefetch, true);
  held_.insert(inbox);
  return true;
}

void Share::balance() {
  count_.take(connection_.queue_state(kCollectors).consumers);
  const auto most = static_cast<std::size_t>(most_inboxes(inboxes_, count_.collectors()));
  while (held_.size() > most) give_back(*held_.begin());
  std::vector<int> unread;
  is_all_read_ = true;
  for (int inbox = 0; inbox < inboxes_; ++inbox) {
    const Connection::QueueState state = connection_.queue_state(inbox_name(inbox));
    if (state.consumers == 0 || state.messages > 0) is_all_read_ = false;
    if (state.consumers == 0 && !held_.contains(inbox)) unread.push_back(inbox);
  }
  while (held_.size() < most && !unread.empty()) {
    // At random, so that collectors that begin at once do not all try the same one.
    const auto chosen = unread.begin() + static_cast<std::ptrdiff_t>(random_() % unread.size());
    take(*chosen);
    unread.erase(chosen);
  }
  count_.look(!unread.empty());
}

void Share::ended(const std::vector<std::string>& tags) {
  for (const std::string& tag : tags) {
    const auto inbox = std::ranges::find_if(held_, [&tag](int one) { return inbox_name(one) == tag; });
    if (inbox == held_.end()) continue;
    connection_.give_lock_back(holder_name(*inbox));
    held_.erase(inbox);
  }
}

}  // namespace polaiga::fleet
