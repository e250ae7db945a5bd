// Keeps a connection to a broker: makes it, notices when it is gone or silent, and makes it again after a pause.
#pragma once

#include <poll.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "base/clock.h"
#include "base/messages.h"
#include "broker/attempt.h"
#include "broker/connection.h"
#include "broker/link.h"
#include "broker/settings.h"
#include "publisher/back_off.h"

namespace polaiga::mqtt {

class Session final : public Link {
 public:
  using Tell = std::function<void(engine::Priority, const std::string&)>;

  static constexpr std::chrono::seconds kConnectWithin{10};
  static constexpr std::chrono::seconds kGoodbyeWithin{1};
  // A connection that lasted so long, or by which a change was told, was a good one: the next pause is a short one.
  static constexpr std::chrono::seconds kGood{30};
  static constexpr std::chrono::milliseconds kFirstPause{500};
  static constexpr std::chrono::milliseconds kLongestPause{30'000};

  // The clock must outlive this.
  Session(Settings settings, const engine::Clock& clock, Tell tell);
  ~Session() override;

  // Whom it tells what happens. It must be set before anything else is called.
  void set_listener(Listener& listener) { listener_ = &listener; }

  // Goes on after what() was polled, and tells the listener what has happened.
  void go_on(const pollfd& polled);
  pollfd polled() const;
  std::chrono::milliseconds until_next() const;

  // The connection is of use: after its end the next one is tried soon.
  void is_of_use() {
    if (!is_contested_) back_off_.reset();
  }
  // Connects anew, and reads certificates and password again.
  void reconnect();
  // Says goodbye, so that the broker does not publish the will. Takes a second at most.
  void end();

  bool is_up() const override { return is_up_ && !dropped_; }
  MessageId send(const Message& message) override;
  std::size_t most_in_flight() const override { return most_in_flight_; }
  void subscribe_again() override;
  void drop(const std::string& why) override;

  // Asks for what the broker has kept of a topic, and for nothing that comes later.
  void ask_for_kept(const std::string& topic);

  const std::string& last_error() const { return last_error_; }
  std::optional<std::int64_t> last_error_at() const { return last_error_at_; }

 private:
  void begin();
  void take_events();
  void take(const Connection::Event& event);
  void answered(const Connection::Event& event);
  void subscribe();
  void fail(const std::string& why, bool is_closed = false);
  Protocol next_protocol() const;
  void close();
  void note(const std::string& why);

  Settings settings_;
  const engine::Clock& clock_;
  Tell tell_;
  output::BackOff back_off_;
  Listener* listener_ = nullptr;
  std::unique_ptr<Attempt> attempt_;
  std::unique_ptr<Connection> connection_;
  Protocol protocol_;
  bool is_version_refused_ = false;  // MQTT 5, by this broker
  int unanswered_ = 0;               // connections in a row that the broker closed without a word
  bool is_up_ = false;
  bool is_contested_ = false;           // another client of the same id took the connection over
  std::optional<std::string> dropped_;  // why, while the listener is being told something
  std::optional<std::string> kept_topic_;
  std::size_t most_in_flight_ = Connection::kMostInFlight;
  engine::Clock::Steady next_{};   // when to try again
  engine::Clock::Steady since_{};  // when the attempt was begun, or the connection came up
  engine::Clock::Steady tick_{};
  std::string last_error_;
  std::string told_error_;  // that people were told of; "": there is none
  std::optional<std::int64_t> last_error_at_;
};

}  // namespace polaiga::mqtt
