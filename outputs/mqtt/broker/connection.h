// One connection to a broker, by libmosquitto. A new one is made for each attempt, so nothing of the one before is
// left: what was not confirmed is sent again from the ledger, in its order.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "broker/link.h"
#include "broker/settings.h"

struct mosquitto;

namespace polaiga::mqtt {

// What failed, as a sentence without its full stop.
class ConnectionError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The other side has closed the connection, and did not say why.
class ConnectionClosed : public ConnectionError {
 public:
  using ConnectionError::ConnectionError;
};

// A reason that is less says that all is well.
inline constexpr int kFirstBadReason = 128;

class Connection {
 public:
  // More messages than that are never on their way.
  static constexpr int kMostInFlight = 1000;

  struct Event {
    enum class Kind { kAnswered, kConfirmed, kArrived, kSubscribed, kEnded };
    Kind kind = Kind::kEnded;
    int id = 0;                // of confirmed
    int reason = 0;            // of answered, confirmed, subscribed and ended
    std::string topic = {};    // of arrived
    std::string payload = {};  // of arrived
    bool is_retained = false;
    std::size_t most_in_flight = kMostInFlight;  // of answered
  };

  // Reads the files with the certificates and the password. Throws ConnectionError.
  Connection(Settings settings, Protocol protocol);
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  // Looks the host up, connects to it and begins to speak. It may take minutes. Another thread may call this, but then
  // nobody else may use the object meanwhile. Throws ConnectionError.
  void connect();

  // What to poll; -1: the connection has ended.
  int fd() const;
  short poll_events() const;

  // Reads and writes what is possible. Throws ConnectionError when the connection is lost.
  void go_on(short happened);
  // Whether there may be more to read that poll(2) does not see.
  bool has_more() const { return has_more_; }
  // Keeps it alive; once a second. Throws as that does.
  void tick();

  MessageId send(const Message& message);
  // To one of the settings' topics. Of a message only so many bytes are taken as the settings say, and one more.
  void subscribe(const std::string& topic);
  // To the one message that the broker has kept of a topic.
  void ask_for_kept(const std::string& topic);
  void unsubscribe(const std::string& topic);
  void say_goodbye();
  bool has_to_write() const;

  // What has happened since the last call.
  std::vector<Event> take_events();

  // What the library said of the last error; may be empty.
  const std::string& last_complaint() const { return complaint_; }

 private:
  struct Callbacks;
  int read();
  void set_access(const Settings& settings);
  void set_encryption(const Settings& settings);
  void expect(int result, const char* what) const;
  std::string text_of(int result) const;

  Settings settings_;
  Protocol protocol_;
  struct Destroy {
    void operator()(mosquitto* client) const;
  };
  std::unique_ptr<mosquitto, Destroy> client_;
  struct Wanted {
    std::string topic;
    std::size_t most = 0;  // bytes of a message
    bool is_kept_only = false;
  };
  std::vector<Wanted> wanted_;
  std::vector<Event> events_;
  bool has_more_ = false;
  std::string complaint_;
};

// Of one that is bad.
std::string reason_text(int reason);

}  // namespace polaiga::mqtt
