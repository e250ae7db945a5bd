#include "broker/connection.h"

#include <mosquitto.h>
#include <mqtt_protocol.h>
#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <utility>

#include "base/private_file.h"
#include "base/wipe.h"
#include "messages/requests.h"
#include "messages/sizes.h"

namespace polaiga::mqtt {
namespace {

constexpr int kKeepAlive = 15;                              // seconds
constexpr std::uint32_t kSessionExpiry = 7 * 24 * 60 * 60;  // seconds
constexpr std::uint32_t kMostPacket = std::uint32_t{128} * 1024;
constexpr int kReadsAtOnce = 4;
constexpr int kQuality = 1;

struct Library {
  Library() { mosquitto_lib_init(); }
};

// It is never cleaned up: an attempt that was given up may still use it.
void use_library() { static const Library library; }

// A key that is encrypted cannot be used: nobody is there to be asked for its passphrase.
int no_passphrase(char* /*buffer*/, int /*size*/, int /*is_writing*/, void* /*data*/) { return 0; }

std::string password_of(const std::string& path) {
  std::string password = engine::read_private_file(path, "the password file");
  std::size_t end = std::min(password.find('\n'), password.size());
  if (end > 0 && end < password.size() && password[end - 1] == '\r') --end;
  std::string line = password.substr(0, end);
  engine::wipe(password);
  return line;
}

}  // namespace

std::string reason_text(int reason) {
  return std::string(mosquitto_reason_string(reason)) + " (reason " + std::to_string(reason) + ")";
}

struct Connection::Callbacks {
  static Connection& of(void* object) { return *static_cast<Connection*>(object); }

  static void add(void* object, Event event) { of(object).events_.push_back(std::move(event)); }

  static void on_connect(mosquitto* /*client*/, void* object, int reason, int /*flags*/,
                         const mosquitto_property* properties) {
    Event event{.kind = Event::Kind::kAnswered, .reason = reason};
    // MQTT 3.1.1 has reasons of its own, from 1 on.
    const bool is_old = of(object).protocol_ == Protocol::kMqtt311;
    if (is_old && reason == CONNACK_REFUSED_PROTOCOL_VERSION) event.reason = MQTT_RC_UNSUPPORTED_PROTOCOL_VERSION;
    if (is_old && reason == CONNACK_REFUSED_IDENTIFIER_REJECTED) event.reason = MQTT_RC_CLIENTID_NOT_VALID;
    if (is_old && reason == CONNACK_REFUSED_SERVER_UNAVAILABLE) event.reason = MQTT_RC_SERVER_UNAVAILABLE;
    if (is_old && reason == CONNACK_REFUSED_BAD_USERNAME_PASSWORD) event.reason = MQTT_RC_BAD_USERNAME_OR_PASSWORD;
    if (reason > CONNACK_REFUSED_BAD_USERNAME_PASSWORD && reason < kFirstBadReason)
      event.reason = MQTT_RC_NOT_AUTHORIZED;
    std::uint16_t most = 0;
    if (mosquitto_property_read_int16(properties, MQTT_PROP_RECEIVE_MAXIMUM, &most, false) != nullptr && most > 0) {
      event.most_in_flight = std::min<std::size_t>(most, kMostInFlight);
    }
    add(object, std::move(event));
  }

  static void on_disconnect(mosquitto* /*client*/, void* object, int reason, const mosquitto_property* /*properties*/) {
    add(object, {.kind = Event::Kind::kEnded, .reason = reason});
  }

  static void on_publish(mosquitto* /*client*/, void* object, int id, int reason,
                         const mosquitto_property* /*properties*/) {
    add(object, {.kind = Event::Kind::kConfirmed, .id = id, .reason = reason});
  }

  static void on_subscribe(mosquitto* /*client*/, void* object, int /*id*/, int count, const int* granted,
                           const mosquitto_property* /*properties*/) {
    for (int i = 0; i < count; ++i) add(object, {.kind = Event::Kind::kSubscribed, .reason = granted[i]});
  }

  static void on_message(mosquitto* /*client*/, void* object, const mosquitto_message* message,
                         const mosquitto_property* /*properties*/) {
    if (message->payloadlen < 0) return;
    const auto size = static_cast<std::size_t>(message->payloadlen);
    Connection& connection = of(object);
    // A broker may send what nobody has asked for.
    const auto found = std::ranges::find(connection.wanted_, std::string_view(message->topic), &Wanted::topic);
    if (found == connection.wanted_.end()) return;
    const std::size_t most = found->most;
    if (found->is_kept_only) {
      if (!message->retain) return;
      connection.wanted_.erase(found);
    }
    Event event{.kind = Event::Kind::kArrived, .topic = message->topic, .is_retained = message->retain};
    // What is longer is not for this program. One byte more says so to those who read it.
    if (size > 0) event.payload.assign(static_cast<const char*>(message->payload), std::min(size, most + 1));
    add(object, std::move(event));
  }

  static void on_log(mosquitto* /*client*/, void* object, int level, const char* text) {
    if ((level & (MOSQ_LOG_ERR | MOSQ_LOG_WARNING)) != 0) of(object).complaint_ = text;
  }
};

void Connection::Destroy::operator()(mosquitto* client) const { mosquitto_destroy(client); }

Connection::Connection(Settings settings, Protocol protocol) : settings_(std::move(settings)), protocol_(protocol) {
  use_library();
  // What came while the program was away may come before it subscribes again.
  for (const Subscription& one : settings_.subscriptions) {
    wanted_.push_back({.topic = one.topic, .most = one.most, .is_kept_only = false});
  }
  client_.reset(mosquitto_new(settings_.client_id.c_str(), settings_.is_session_clean, this));
  if (!client_) throw ConnectionError("there is no memory for a connection");
  mosquitto* const client = client_.get();
  expect(mosquitto_int_option(client, MOSQ_OPT_PROTOCOL_VERSION,
                              protocol == Protocol::kMqtt5 ? MQTT_PROTOCOL_V5 : MQTT_PROTOCOL_V311),
         "choose the version of the protocol");
  expect(mosquitto_max_inflight_messages_set(client, kMostInFlight), "allow so many messages on their way");
  expect(mosquitto_int_option(client, MOSQ_OPT_TCP_NODELAY, 1), "send at once");
  mosquitto_connect_v5_callback_set(client, Callbacks::on_connect);
  mosquitto_disconnect_v5_callback_set(client, Callbacks::on_disconnect);
  mosquitto_publish_v5_callback_set(client, Callbacks::on_publish);
  mosquitto_subscribe_v5_callback_set(client, Callbacks::on_subscribe);
  mosquitto_message_v5_callback_set(client, Callbacks::on_message);
  mosquitto_log_callback_set(client, Callbacks::on_log);
  expect(mosquitto_will_set_v5(client, settings_.will_topic.c_str(), static_cast<int>(settings_.will_payload.size()),
                               settings_.will_payload.data(), kQuality, true, nullptr),
         "set the will");
  set_access(settings_);
  set_encryption(settings_);
}

Connection::~Connection() = default;

void Connection::set_access(const Settings& settings) {
  if (settings.user.empty()) return;
  std::string password;
  try {
    if (!settings.password_file.empty()) password = password_of(settings.password_file);
  } catch (const std::exception& error) {
    throw ConnectionError(error.what());
  }
  const int result = mosquitto_username_pw_set(client_.get(), settings.user.c_str(),
                                               settings.password_file.empty() ? nullptr : password.c_str());
  engine::wipe(password);
  expect(result, "set the user");
}

void Connection::set_encryption(const Settings& settings) {
  if (!settings.is_encrypted()) return;
  const auto name = [](const std::string& path) { return path.empty() ? nullptr : path.c_str(); };
  try {
    std::string ca = engine::read_file(settings.tls_ca, "the file of --tls-ca");
    if (!settings.tls_cert.empty()) ca = engine::read_file(settings.tls_cert, "the file of --tls-cert");
    if (!settings.tls_key.empty()) {
      std::string key = engine::read_private_file(settings.tls_key, "the file of --tls-key");
      engine::wipe(key);
    }
  } catch (const std::exception& error) {
    throw ConnectionError(error.what());
  }
  expect(mosquitto_tls_set(client_.get(), settings.tls_ca.c_str(), nullptr, name(settings.tls_cert),
                           name(settings.tls_key), no_passphrase),
         "use the certificates");
}

std::string Connection::text_of(int result) const {
  std::string text = result == MOSQ_ERR_ERRNO ? std::strerror(errno) : mosquitto_strerror(result);
  if (text.ends_with('.')) text.pop_back();
  if (!complaint_.empty()) text += "; " + complaint_;
  return text;
}

void Connection::expect(int result, const char* what) const {
  if (result != MOSQ_ERR_SUCCESS) throw ConnectionError("cannot " + std::string(what) + ": " + text_of(result));
}

void Connection::connect() {
  mosquitto_property* properties = nullptr;
  if (protocol_ == Protocol::kMqtt5) {
    expect(mosquitto_property_add_int32(&properties, MQTT_PROP_MAXIMUM_PACKET_SIZE, kMostPacket),
           "limit what the broker sends");
  }
  if (protocol_ == Protocol::kMqtt5 && !settings_.is_session_clean) {
    expect(mosquitto_property_add_int32(&properties, MQTT_PROP_SESSION_EXPIRY_INTERVAL, kSessionExpiry),
           "ask for a session that lasts");
  }
  const int port = settings_.broker.port.value_or(settings_.is_encrypted() ? 8883 : 1883);
  const int result =
      mosquitto_connect_bind_v5(client_.get(), settings_.broker.host.c_str(), port, kKeepAlive, nullptr, properties);
  const std::string why = result == MOSQ_ERR_SUCCESS ? "" : text_of(result);
  mosquitto_property_free_all(&properties);
  if (result != MOSQ_ERR_SUCCESS) throw ConnectionError("it cannot be reached: " + why);
}

int Connection::fd() const { return mosquitto_socket(client_.get()); }

short Connection::poll_events() const {
  return static_cast<short>(mosquitto_want_write(client_.get()) ? POLLIN | POLLOUT : POLLIN);
}

bool Connection::has_to_write() const { return mosquitto_want_write(client_.get()); }

// What encryption has read ahead is not seen by poll(2), so it is read until nothing comes; but not for ever, since
// others may publish much.
int Connection::read() {
  for (int i = 0; i < kReadsAtOnce; ++i) {
    const std::size_t before = events_.size();
    const int result = mosquitto_loop_read(client_.get(), 1);
    has_more_ = events_.size() != before;
    if (result != MOSQ_ERR_SUCCESS || !has_more_) return result;
  }
  return MOSQ_ERR_SUCCESS;
}

void Connection::go_on(short happened) {
  int result = MOSQ_ERR_SUCCESS;
  if (has_more_ || (happened & (POLLIN | POLLERR | POLLHUP)) != 0) result = read();
  if (result == MOSQ_ERR_SUCCESS && mosquitto_want_write(client_.get())) {
    result = mosquitto_loop_write(client_.get(), 1);
  }
  if (result == MOSQ_ERR_CONN_LOST) throw ConnectionClosed("the connection is lost: " + text_of(result));
  if (result != MOSQ_ERR_SUCCESS) throw ConnectionError("the connection is lost: " + text_of(result));
}

void Connection::tick() {
  const int result = mosquitto_loop_misc(client_.get());
  if (result != MOSQ_ERR_SUCCESS) throw ConnectionError("the connection is lost: " + text_of(result));
}

MessageId Connection::send(const Message& message) {
  int id = 0;
  const int result =
      mosquitto_publish_v5(client_.get(), &id, message.topic.c_str(), static_cast<int>(message.payload.size()),
                           message.payload.data(), kQuality, message.is_retained, nullptr);
  if (result == MOSQ_ERR_OVERSIZE_PACKET) {
    throw ConnectionError("the broker does not take a message of " + std::to_string(message.payload.size()) +
                          " bytes; let it take 64 KiB");
  }
  if (result != MOSQ_ERR_SUCCESS) throw ConnectionError("the connection is lost: " + text_of(result));
  return id;
}

void Connection::subscribe(const std::string& topic) {
  // A broker that keeps nothing for this client has no use for answers to what it delivers.
  const int quality = settings_.is_session_clean ? 0 : kQuality;
  expect(mosquitto_subscribe_v5(client_.get(), nullptr, topic.c_str(), quality, 0, nullptr), "subscribe");
}

void Connection::ask_for_kept(const std::string& topic) {
  wanted_.push_back({.topic = topic, .most = kMostPayloadBytes, .is_kept_only = true});
  expect(mosquitto_subscribe_v5(client_.get(), nullptr, topic.c_str(), 0, 0, nullptr), "subscribe");
}

void Connection::unsubscribe(const std::string& topic) {
  expect(mosquitto_unsubscribe_v5(client_.get(), nullptr, topic.c_str(), nullptr), "unsubscribe");
}

void Connection::say_goodbye() { mosquitto_disconnect_v5(client_.get(), MQTT_RC_NORMAL_DISCONNECTION, nullptr); }

std::vector<Connection::Event> Connection::take_events() { return std::exchange(events_, {}); }

}  // namespace polaiga::mqtt
