#include "broker/session.h"

#include <algorithm>
#include <utility>

namespace polaiga::mqtt {
namespace {

using engine::Priority;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr seconds kTick{1};
constexpr milliseconds kSoon{200};
constexpr int kVersionRefused = 132;
constexpr int kTakenOver = 142;
constexpr int kUnansweredRow = 3;

Protocol first_protocol(ProtocolChoice choice) {
  return choice == ProtocolChoice::kMqtt311 ? Protocol::kMqtt311 : Protocol::kMqtt5;
}

}  // namespace

Session::Session(Settings settings, const engine::Clock& clock, Tell tell)
    : settings_(std::move(settings)),
      clock_(clock),
      tell_(std::move(tell)),
      back_off_(kFirstPause, kLongestPause, output::random_number),
      protocol_(first_protocol(settings_.protocol)) {}

Session::~Session() = default;

void Session::begin() {
  if (!Attempt::is_possible()) {
    next_ = clock_.steady() + kTick;
    return;
  }
  since_ = clock_.steady();
  try {
    attempt_ = std::make_unique<Attempt>(settings_, protocol_);
  } catch (const ConnectionError& error) {
    fail(error.what());
  }
}

void Session::go_on(const pollfd& polled) {
  const auto now = clock_.steady();
  try {
    if (attempt_) {
      if (attempt_->is_over()) {
        const std::unique_ptr<Attempt> attempt = std::move(attempt_);
        connection_ = attempt->take();
      } else if (now - since_ > kConnectWithin) {
        throw ConnectionError("it does not answer within " + std::to_string(kConnectWithin.count()) + " s");
      }
      return;
    }
    if (!connection_) {
      if (now >= next_) begin();
      return;
    }
    if (dropped_) throw ConnectionError(*std::exchange(dropped_, std::nullopt));
    if (polled.fd == connection_->fd()) connection_->go_on(polled.revents);
    if (now >= tick_) {
      connection_->tick();
      tick_ = now + kTick;
    }
    if (!is_up_ && now - since_ > kConnectWithin) {
      throw ConnectionError("it does not answer within " + std::to_string(kConnectWithin.count()) + " s");
    }
    take_events();
  } catch (const ConnectionError& error) {
    // What came before the end counts, and what the broker said of the reason.
    std::string why = error.what();
    bool is_closed = dynamic_cast<const ConnectionClosed*>(&error) != nullptr;
    try {
      if (connection_) take_events();
    } catch (const ConnectionClosed&) {
      // It is known already.
    } catch (const ConnectionError& said) {
      why = said.what();
      is_closed = false;
    }
    fail(why, is_closed);
  }
}

void Session::take_events() {
  for (const Connection::Event& event : connection_->take_events()) take(event);
}

void Session::take(const Connection::Event& event) {
  using Kind = Connection::Event::Kind;
  if (dropped_) throw ConnectionError(*std::exchange(dropped_, std::nullopt));
  switch (event.kind) {
    case Kind::kAnswered:
      answered(event);
      break;
    case Kind::kConfirmed:
      if (event.reason < kFirstBadReason) {
        listener_->on_confirmed(event.id);
      } else {
        listener_->on_refused(event.id, reason_text(event.reason));
      }
      break;
    case Kind::kSubscribed:
      if (event.reason >= kFirstBadReason) {
        tell_(Priority::kWarning, settings_.peer() +
                                      ": the broker refuses a subscription: " + reason_text(event.reason) +
                                      "; let the user read 'ack', 'replay', 'action' and 'alarms'");
      }
      break;
    case Kind::kArrived:
      if (event.is_retained && kept_topic_ == event.topic) {
        connection_->unsubscribe(event.topic);
        kept_topic_.reset();
      }
      listener_->on_message(event.topic, event.payload, event.is_retained);
      break;
    case Kind::kEnded:
      if (event.reason < kFirstBadReason) throw ConnectionClosed("the broker has closed the connection");
      is_contested_ = event.reason == kTakenOver;
      throw ConnectionError("the broker has closed the connection: " + reason_text(event.reason) +
                            (is_contested_ ? "; another program has the same site and controller" : ""));
  }
  if (dropped_) throw ConnectionError(*std::exchange(dropped_, std::nullopt));
}

void Session::answered(const Connection::Event& event) {
  if (event.reason != 0) {
    if (event.reason == kVersionRefused && protocol_ == Protocol::kMqtt5) {
      is_version_refused_ = settings_.protocol == ProtocolChoice::kAny;
      if (is_version_refused_) back_off_.reset();
    }
    throw ConnectionError("the broker refuses the connection: " + reason_text(event.reason));
  }
  is_up_ = true;
  since_ = clock_.steady();
  most_in_flight_ = event.most_in_flight;
  for (const std::string& topic : settings_.unwanted) connection_->unsubscribe(topic);
  subscribe();
  tell_(told_error_.empty() ? Priority::kInfo : Priority::kNotice,
        settings_.peer() + ": connected by MQTT " + (protocol_ == Protocol::kMqtt5 ? "5" : "3.1.1"));
  told_error_.clear();
  listener_->on_up();
}

void Session::subscribe() {
  for (const Subscription& one : settings_.subscriptions) connection_->subscribe(one.topic);
}

void Session::note(const std::string& why) {
  last_error_ = why;
  last_error_at_ = clock_.wall();
  if (told_error_ == why) return;
  told_error_ = why;
  tell_(Priority::kWarning, settings_.peer() + ": " + why + "; it is tried again");
}

void Session::close() {
  const bool was_up = std::exchange(is_up_, false);
  connection_.reset();
  attempt_.reset();
  kept_topic_.reset();
  dropped_.reset();
  if (was_up) listener_->on_down(last_error_);
}

// A broker that knows only the older version may just close the connection. So, now and then, that is tried, too.
Protocol Session::next_protocol() const {
  if (settings_.protocol != ProtocolChoice::kAny) return first_protocol(settings_.protocol);
  const bool try_older = unanswered_ % kUnansweredRow == kUnansweredRow - 1;
  return is_version_refused_ || try_older ? Protocol::kMqtt311 : Protocol::kMqtt5;
}

void Session::fail(const std::string& why, bool is_closed) {
  if (is_up_ && clock_.steady() - since_ > kGood) {
    back_off_.reset();
    is_contested_ = false;
  }
  unanswered_ = is_closed && !is_up_ ? unanswered_ + 1 : 0;
  note(why);
  close();
  next_ = clock_.steady() + back_off_.next();
  protocol_ = next_protocol();
}

MessageId Session::send(const Message& message) {
  try {
    return connection_->send(message);
  } catch (const ConnectionError& error) {
    drop(error.what());
    return 0;
  }
}

void Session::subscribe_again() {
  try {
    for (const Subscription& one : settings_.subscriptions) connection_->unsubscribe(one.topic);
    subscribe();
  } catch (const ConnectionError& error) {
    drop(error.what());
  }
}

// The listener may be amid something that it does for this very connection, so the connection goes a little later.
void Session::drop(const std::string& why) {
  if (!is_up_ || dropped_) return;
  dropped_ = why;
}

void Session::ask_for_kept(const std::string& topic) {
  kept_topic_ = topic;
  try {
    connection_->ask_for_kept(topic);
  } catch (const ConnectionError& error) {
    drop(error.what());
  }
}

void Session::reconnect() {
  is_version_refused_ = false;
  protocol_ = first_protocol(settings_.protocol);
  back_off_.reset();
  told_error_.clear();
  if (is_up_) connection_->say_goodbye();
  close();
  next_ = clock_.steady();
}

void Session::end() {
  if (is_up_) {
    connection_->say_goodbye();
    const auto until = clock_.steady() + kGoodbyeWithin;
    try {
      while (connection_->has_to_write() && connection_->fd() >= 0 && clock_.steady() < until) {
        pollfd one{.fd = connection_->fd(), .events = POLLOUT, .revents = 0};
        ::poll(&one, 1, 50);
        connection_->go_on(one.revents);
      }
    } catch (const ConnectionError&) {
      // It has ended, as it should.
    }
  }
  close();
}

pollfd Session::polled() const {
  if (attempt_) return {.fd = attempt_->fd(), .events = POLLIN, .revents = 0};
  if (connection_) return {.fd = connection_->fd(), .events = connection_->poll_events(), .revents = 0};
  return {.fd = -1, .events = 0, .revents = 0};
}

milliseconds Session::until_next() const {
  if (dropped_ || (connection_ && connection_->has_more())) return milliseconds(0);
  if (attempt_ || connection_) return kSoon;
  return std::max(milliseconds(0), std::chrono::ceil<milliseconds>(next_ - clock_.steady()));
}

}  // namespace polaiga::mqtt
