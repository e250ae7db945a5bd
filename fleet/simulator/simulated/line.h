// The connection of a simulated controller to a broker, which is made anew whenever it is lost.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "broker/connection.h"
#include "broker/link.h"
#include "broker/settings.h"

namespace polaiga::fleet {

class Line final : public mqtt::Link {
 public:
  using Steady = std::chrono::nanoseconds;

  static constexpr std::chrono::milliseconds kShortestPause{500};
  static constexpr std::chrono::milliseconds kLongestPause{30000};
  static constexpr std::chrono::seconds kAnswerWithin{10};  // to the first message of a connection

  // The brokers are the nodes of one cluster: they are tried in turn, from the one of this number. The settings have
  // the topics that are subscribed.
  Line(mqtt::Settings settings, std::vector<mqtt::BrokerAddress> brokers, std::uint64_t seed);

  // What happens is told to it; it must outlive the line's use.
  void set_listener(mqtt::Listener& listener) { listener_ = &listener; }

  // Whether it is time for an attempt.
  bool may_connect(Steady now) const { return !connection_ && now >= next_attempt_; }
  void connect(Steady now);

  bool is_up() const override { return is_up_; }
  mqtt::MessageId send(const mqtt::Message& message) override;
  std::size_t most_in_flight() const override { return mqtt::Connection::kMostInFlight; }
  void subscribe_again() override;
  void drop(const std::string& why) override;

  int fd() const { return connection_ ? connection_->fd() : -1; }  // -1: there is no connection
  bool wants_to_write() const { return connection_ && connection_->has_to_write(); }
  // Reads and writes what is possible; `happened` as poll(2) tells it.
  void go_on(short happened);
  void tick(Steady now);  // once a second
  void say_goodbye();

  std::uint64_t times_up() const { return times_up_; }
  const std::string& last_problem() const { return last_problem_; }

 private:
  void subscribe();
  void take_events();
  void take(const mqtt::Connection::Event& event);

  mqtt::Settings settings_;
  std::vector<mqtt::BrokerAddress> brokers_;
  std::size_t next_broker_;
  std::mt19937_64 random_;
  mqtt::Listener* listener_ = nullptr;
  std::unique_ptr<mqtt::Connection> connection_;
  bool is_up_ = false;
  Steady now_{};
  Steady began_{};
  Steady next_attempt_{};
  std::chrono::milliseconds pause_ = kShortestPause;
  std::uint64_t times_up_ = 0;
  std::string last_problem_;
};

}  // namespace polaiga::fleet
