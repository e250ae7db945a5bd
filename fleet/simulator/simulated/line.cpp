#include "simulated/line.h"

#include <algorithm>
#include <utility>

namespace polaiga::fleet {

using Event = mqtt::Connection::Event;

Line::Line(mqtt::Settings settings, std::vector<mqtt::BrokerAddress> brokers, std::uint64_t seed)
    : settings_(std::move(settings)),
      brokers_(std::move(brokers)),
      next_broker_(static_cast<std::size_t>(seed % brokers_.size())),
      random_(seed) {}

void Line::connect(Steady now) {
  now_ = now;
  began_ = now;
  settings_.broker = brokers_[next_broker_];
  next_broker_ = (next_broker_ + 1) % brokers_.size();
  try {
    connection_ = std::make_unique<mqtt::Connection>(settings_, mqtt::Protocol::kMqtt311);
    connection_->connect();
  } catch (const mqtt::ConnectionError& error) {
    drop(error.what());
  }
}

mqtt::MessageId Line::send(const mqtt::Message& message) {
  if (!connection_) return 0;
  try {
    return connection_->send(message);
  } catch (const mqtt::ConnectionError& error) {
    drop(error.what());
  }
  return 0;
}

void Line::subscribe() {
  for (const mqtt::Subscription& one : settings_.subscriptions) connection_->subscribe(one.topic);
}

void Line::subscribe_again() {
  if (!connection_) return;
  try {
    for (const mqtt::Subscription& one : settings_.subscriptions) connection_->unsubscribe(one.topic);
    subscribe();
  } catch (const mqtt::ConnectionError& error) {
    drop(error.what());
  }
}

void Line::drop(const std::string& why) {
  last_problem_ = settings_.peer() + ": " + why;
  connection_.reset();
  next_attempt_ = now_ + std::chrono::milliseconds(std::uniform_int_distribution<std::int64_t>(
                             kShortestPause.count() / 2, pause_.count())(random_));
  pause_ = std::min(kLongestPause, pause_ * 2);
  if (std::exchange(is_up_, false) && listener_ != nullptr) listener_->on_down(why);
}

void Line::go_on(short happened) {
  if (!connection_) return;
  try {
    do {
      connection_->go_on(happened);
      take_events();
      happened = 0;
    } while (connection_ && connection_->has_more());
  } catch (const mqtt::ConnectionError& error) {
    drop(error.what());
  }
}

void Line::tick(Steady now) {
  now_ = now;
  if (!connection_) return;
  if (!is_up_ && now - began_ > kAnswerWithin) return drop("it has not answered for 10 s");
  try {
    connection_->tick();
    take_events();
  } catch (const mqtt::ConnectionError& error) {
    drop(error.what());
  }
}

void Line::say_goodbye() {
  if (!connection_) return;
  connection_->say_goodbye();
  connection_.reset();
  is_up_ = false;
}

void Line::take_events() {
  if (!connection_) return;
  for (const Event& event : connection_->take_events()) {
    take(event);
    if (!connection_) return;
  }
}

void Line::take(const Event& event) {
  switch (event.kind) {
    case Event::Kind::kAnswered:
      if (event.reason != 0) return drop("the broker refuses the connection: " + mqtt::reason_text(event.reason));
      subscribe();
      is_up_ = true;
      pause_ = kShortestPause;
      ++times_up_;
      return listener_->on_up();
    case Event::Kind::kConfirmed:
      if (event.reason >= mqtt::kFirstBadReason)
        return listener_->on_refused(event.id, mqtt::reason_text(event.reason));
      return listener_->on_confirmed(event.id);
    case Event::Kind::kArrived:
      return listener_->on_message(event.topic, event.payload, event.is_retained);
    case Event::Kind::kSubscribed:
      if (event.reason >= mqtt::kFirstBadReason) drop("the broker refuses a subscription");
      return;
    case Event::Kind::kEnded:
      return drop("the connection has ended");
  }
}

}  // namespace polaiga::fleet
