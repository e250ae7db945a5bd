// Which inboxes this collector reads. Collectors know of each other through the broker alone: each reads the queue
// kCollectors, whose count of readers is that of the collectors, and an inbox belongs to whoever has its lock.
#pragma once

#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "amqp/connection.h"
#include "amqp/head_count.h"

namespace polaiga::fleet {

// How many of them one collector of so many may have at most.
int most_inboxes(int inboxes, std::uint32_t collectors);

class Share {
 public:
  // Of each inbox so many messages may be on their way that are not acknowledged.
  static constexpr std::uint16_t kPrefetch = 500;

  using Random = std::function<std::uint64_t()>;

  // Counts this collector in. The connection must outlive this. Throws BrokerAway and BrokerRefuses.
  Share(Connection& connection, int inboxes, Random random);

  // Takes inboxes that nobody reads, or gives some back that are more than its part. All that was delivered must have
  // been acknowledged. Throws as the constructor does.
  void balance();

  // The broker has ended these readers, named by their tags.
  void ended(const std::vector<std::string>& tags);

  const std::set<int>& held() const { return held_; }

  // Whether each inbox is read by somebody, and nothing waits in any of them, as of the last balance().
  bool is_all_read() const { return is_all_read_; }

 private:
  void give_back(int inbox);
  bool take(int inbox);

  Connection& connection_;
  int inboxes_;
  Random random_;
  HeadCount count_;
  std::set<int> held_;
  bool is_all_read_ = false;
};

}  // namespace polaiga::fleet
