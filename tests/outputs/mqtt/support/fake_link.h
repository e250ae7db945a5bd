// A broker that does what a test says.
#pragma once

#include <cstddef>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "broker/link.h"

namespace polaiga::mqtt::test {

class FakeLink final : public Link {
 public:
  struct Sent {
    MessageId id = 0;
    Message message;
  };

  bool is_up() const override { return is_up_; }
  MessageId send(const Message& message) override {
    sent.push_back({.id = ++last_id_, .message = message});
    return last_id_;
  }
  std::size_t most_in_flight() const override { return most; }
  void subscribe_again() override { ++subscribed_again; }
  void drop(const std::string& why) override {
    dropped = why;
    is_up_ = false;
  }

  void come_up(Listener& listener) {
    is_up_ = true;
    listener.on_up();
  }
  void go_down(Listener& listener) {
    is_up_ = false;
    listener.on_down("gone");
  }

  // Takes what was sent. With `confirm` it is confirmed, too.
  std::vector<Message> take(Listener* confirm) {
    const std::vector<Sent> all = std::exchange(sent, {});
    std::vector<Message> messages;
    for (const Sent& one : all) {
      messages.push_back(one.message);
      if (confirm != nullptr) confirm->on_confirmed(one.id);
    }
    return messages;
  }

  std::vector<Sent> sent;
  int subscribed_again = 0;
  std::string dropped;
  std::size_t most = 1000;

 private:
  bool is_up_ = false;
  MessageId last_id_ = 0;
};

// The last part of a topic.
inline std::string part_of(const Message& message) {
  const std::string below = "polaiga/v1/lab/rack-1/";
  return message.topic.starts_with(below) ? message.topic.substr(below.size()) : "not below: " + message.topic;
}

inline nlohmann::json json_of(const Message& message) { return nlohmann::json::parse(message.payload); }

}  // namespace polaiga::mqtt::test
