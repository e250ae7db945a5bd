// A connection to a node of an AMQP 0-9-1 broker, by librabbitmq. It is for one thread; each call waits for the broker,
// for kAnswerWithin at most. One connection either reads or publishes: the confirms of a connection that reads, too,
// would come amid its deliveries.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "amqp/settings.h"

struct amqp_connection_state_t_;
struct amqp_method_t_;
struct amqp_rpc_reply_t_;

namespace polaiga::fleet {

// The broker cannot be used now, or the connection was lost. Trying again later may help. `what` names the node.
class BrokerAway : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The broker refuses something that does not mend by itself, as a right that is missing. `what` is the broker's word.
class BrokerRefuses : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A queue, an exchange or a lock of that name is not there, or another holds it. The channel is usable again.
class NotHere : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct Delivery {
  std::uint64_t tag = 0;
  std::string routing_key;
  std::string body;
};

// An argument of a queue.
struct Argument {
  std::string name;
  std::string text;  // empty: it is the flag
  bool flag = false;
};

// A header of a message.
struct Header {
  std::string name;
  std::string text;
};

class Connection {
 public:
  static constexpr std::chrono::seconds kConnectWithin{4};
  static constexpr std::chrono::seconds kAnswerWithin{30};
  static constexpr int kHeartbeat = 15;  // seconds

  // Connects and logs in. Throws BrokerAway, BrokerRefuses, and std::runtime_error when a file cannot be used.
  Connection(const BrokerSettings& settings, BrokerNode node);
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  const BrokerNode& node() const { return node_; }

  // All that follow throw BrokerAway; and BrokerRefuses for a right that is missing, when they say so.

  // Makes what is not there yet. Throw BrokerRefuses.
  void declare_exchange(const std::string& name, const std::string& type);
  void declare_queue(const std::string& name, const std::vector<Argument>& arguments);
  void bind_exchange(const std::string& to, const std::string& from, const std::string& routing_key);
  void bind_queue(const std::string& queue, const std::string& exchange, const std::string& routing_key);

  struct QueueState {
    std::uint32_t messages = 0;  // that wait
    std::uint32_t consumers = 0;
  };
  // Throws NotHere, and BrokerRefuses.
  QueueState queue_state(const std::string& queue);
  void must_have_exchange(const std::string& name);

  // A queue that is this connection's own and is gone with it. Answers whether there was none of this name.
  bool take_lock(const std::string& name);
  void give_lock_back(const std::string& name);

  // Deliveries of the queue come from now on, up to `prefetch` that are not acknowledged. `tag` names the consumer.
  // Throws BrokerRefuses.
  void consume(const std::string& queue, const std::string& tag, std::uint16_t prefetch, bool is_acknowledged);
  void stop_consuming(const std::string& tag);

  // Waits for a delivery, so long at most. Nothing: there was none, or a consumer was ended by the broker; then its tag
  // is in ended_consumers().
  std::optional<Delivery> next(std::chrono::milliseconds most);
  std::vector<std::string> ended_consumers();
  // All deliveries up to this one; and this one alone.
  void acknowledge(std::uint64_t tag);
  void acknowledge_one(std::uint64_t tag);

  // Publishes a message that outlives a restart of the broker. With an empty exchange `routing_key` names a queue; when
  // that is not there, wait_for_confirms() says so.
  void publish(const std::string& exchange, const std::string& routing_key, const std::string& body,
               const std::vector<Header>& headers = {});
  // From then on the broker confirms what is published.
  void expect_confirms();
  // Waits until the broker has confirmed all that was published. False: it takes no messages now (is_blocked()), and
  // confirms them later. Throws BrokerAway also when it has not taken it, or has no such queue.
  bool wait_for_confirms();
  // Reads what the broker says to a connection that only publishes, as its heartbeats. Throws BrokerRefuses.
  void look();
  // The broker has too little memory or disk, and reads nothing of what is published here until it says otherwise, as
  // of the last look(). Who publishes much meanwhile waits in publish().
  bool is_blocked() const { return is_blocked_; }

 private:
  [[noreturn]] void away(const std::string& what) const;
  void must(int status, const std::string& what) const;
  struct Closing;
  static Closing closing_of(const amqp_method_t_& method);
  [[noreturn]] void closed(const Closing& closing, std::uint16_t channel, const std::string& what);
  // Of a question on a channel. `what` is said in messages.
  void must(const amqp_rpc_reply_t_& reply, std::uint16_t channel, const std::string& what);
  void open_channel(std::uint16_t channel);
  void read_frame(std::chrono::milliseconds most);
  void log_in(const BrokerSettings& settings);

  BrokerNode node_;
  amqp_connection_state_t_* state_;
  bool is_confirming_ = false;
  bool is_blocked_ = false;
  std::uint64_t published_ = 0;
  std::set<std::uint64_t> unconfirmed_;
  std::vector<std::string> ended_;
};

}  // namespace polaiga::fleet
