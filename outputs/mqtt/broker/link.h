// What the telling needs of a broker, so that tests can put another in its place.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace polaiga::mqtt {

using MessageId = int;

struct Message {
  std::string topic;
  std::string payload;
  bool is_retained = false;
};

// What happens on a link. All is called from the thread that drives it.
class Listener {
 public:
  virtual ~Listener() = default;
  virtual void on_up() = 0;
  virtual void on_down(const std::string& why) = 0;
  // The broker has taken a message, or refuses it.
  virtual void on_confirmed(MessageId id) = 0;
  virtual void on_refused(MessageId id, const std::string& why) = 0;
  virtual void on_message(std::string_view topic, std::string_view payload, bool is_retained) = 0;
};

class Link {
 public:
  virtual ~Link() = default;

  virtual bool is_up() const = 0;

  // Hands a message over, to be delivered at least once (QoS 1). The link must be up. It may be down afterwards; then
  // the message counts as lost.
  virtual MessageId send(const Message& message) = 0;

  // How many messages may be sent before the broker has taken the first of them.
  virtual std::size_t most_in_flight() const = 0;

  // Ends what is subscribed, and subscribes to it once more. A broker that has lost the subscriptions, or how messages
  // come to them, delivers nothing more, and says nothing of that; then it has them again, or ends the connection.
  virtual void subscribe_again() = 0;

  // Gives the connection up; another one is tried after a pause.
  virtual void drop(const std::string& why) = 0;
};

}  // namespace polaiga::mqtt
