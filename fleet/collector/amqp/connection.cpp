#include "amqp/connection.h"

#include <amqp.h>
#include <amqp_framing.h>
#include <amqp_ssl_socket.h>
#include <amqp_tcp_socket.h>
#include <sys/time.h>

#include <algorithm>
#include <new>
#include <utility>

#include "base/printable.h"
#include "base/private_file.h"

namespace polaiga::fleet {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::seconds;

// Channels: what is consumed, what is published, and questions, whose channel ends with each refusal.
constexpr amqp_channel_t kConsuming = 1;
constexpr amqp_channel_t kPublishing = 2;
constexpr amqp_channel_t kAsking = 3;
constexpr int kMostFrameBytes = 131072;
constexpr std::uint8_t kPersistent = 2;

// Codes of AMQP 0-9-1, section 1.1 of its definitions.
constexpr std::uint16_t kAccessRefused = 403;
constexpr std::uint16_t kNotFound = 404;
constexpr std::uint16_t kResourceLocked = 405;
constexpr std::uint16_t kPreconditionFailed = 406;
constexpr std::uint16_t kNotAllowed = 530;

bool is_refusal(std::uint16_t code) {
  return code == kAccessRefused || code == kNotFound || code == kPreconditionFailed || code == kNotAllowed;
}

amqp_bytes_t bytes(const std::string& text) { return {text.size(), const_cast<char*>(text.data())}; }

std::string text_of(const amqp_bytes_t& bytes) { return {static_cast<const char*>(bytes.bytes), bytes.len}; }

timeval time_of(microseconds time) {
  const auto whole = std::chrono::duration_cast<seconds>(time);
  return {.tv_sec = whole.count(), .tv_usec = (time - whole).count()};
}

amqp_table_entry_t text_entry(const std::string& name, const std::string& text) {
  amqp_table_entry_t entry{};
  entry.key = bytes(name);
  entry.value.kind = AMQP_FIELD_KIND_UTF8;
  entry.value.value.bytes = bytes(text);
  return entry;
}

}  // namespace

Connection::Connection(const BrokerSettings& settings, BrokerNode node)
    : node_(std::move(node)), state_(::amqp_new_connection()) {
  if (state_ == nullptr) throw std::bad_alloc();
  try {
    log_in(settings);
    for (const amqp_channel_t channel : {kConsuming, kPublishing, kAsking}) open_channel(channel);
  } catch (...) {
    ::amqp_destroy_connection(state_);
    throw;
  }
}

Connection::~Connection() {
  // Neither waited for nor told: when the connection is lost, the broker knows.
  const timeval at_once = time_of(milliseconds(500));
  ::amqp_set_rpc_timeout(state_, &at_once);
  ::amqp_connection_close(state_, AMQP_REPLY_SUCCESS);
  ::amqp_destroy_connection(state_);
}

void Connection::log_in(const BrokerSettings& settings) {
  amqp_socket_t* socket = nullptr;
  if (node_.is_encrypted) {
    socket = ::amqp_ssl_socket_new(state_);
    if (socket == nullptr) throw std::bad_alloc();
    ::amqp_ssl_socket_set_verify_peer(socket, 1);
    ::amqp_ssl_socket_set_verify_hostname(socket, 1);
    ::amqp_ssl_socket_set_ssl_versions(socket, AMQP_TLSv1_2, AMQP_TLSvLATEST);
    engine::read_file(settings.tls_ca, "the certificates of who vouches for the broker");
    if (::amqp_ssl_socket_set_cacert(socket, settings.tls_ca.c_str()) != AMQP_STATUS_OK) {
      throw std::runtime_error(settings.tls_ca + ": there is no certificate in it; give --tls-ca another file");
    }
    if (!settings.tls_cert.empty()) {
      engine::read_private_file(settings.tls_key, "the private key");
      if (::amqp_ssl_socket_set_key(socket, settings.tls_cert.c_str(), settings.tls_key.c_str()) != AMQP_STATUS_OK) {
        throw std::runtime_error(settings.tls_cert + ", " + settings.tls_key +
                                 ": they are no certificate with its private key");
      }
    }
  } else {
    socket = ::amqp_tcp_socket_new(state_);
    if (socket == nullptr) throw std::bad_alloc();
  }
  const timeval connect = time_of(kConnectWithin);
  const timeval answer = time_of(kAnswerWithin);
  must(::amqp_socket_open_noblock(socket, node_.host.c_str(), node_.port, &connect), "connecting");
  ::amqp_set_handshake_timeout(state_, &connect);
  ::amqp_set_rpc_timeout(state_, &answer);

  std::string password;
  if (!settings.password_file.empty()) {
    password = engine::read_private_file(settings.password_file, "the password file");
    password.resize(std::min(password.find_first_of("\r\n"), password.size()));
  }
  // With it the broker says why it refuses a login, that a consumer was ended, and that it takes no messages.
  const std::string kCapabilities = "capabilities";
  const std::string kCancelled = "consumer_cancel_notify";
  const std::string kFailure = "authentication_failure_close";
  const std::string kBlocked = "connection.blocked";
  amqp_table_entry_t can[3]{};
  can[0].key = bytes(kCancelled);
  can[1].key = bytes(kFailure);
  can[2].key = bytes(kBlocked);
  for (amqp_table_entry_t& one : can) {
    one.value.kind = AMQP_FIELD_KIND_BOOLEAN;
    one.value.value.boolean = 1;
  }
  amqp_table_entry_t properties[1]{};
  properties[0].key = bytes(kCapabilities);
  properties[0].value.kind = AMQP_FIELD_KIND_TABLE;
  properties[0].value.value.table = {.num_entries = 3, .entries = can};
  const amqp_table_t table{.num_entries = 1, .entries = properties};
  const char* const host = node_.virtual_host.c_str();
  amqp_rpc_reply_t reply{};
  if (settings.user.empty() && !settings.tls_cert.empty()) {
    reply = ::amqp_login_with_properties(state_, host, 0, kMostFrameBytes, kHeartbeat, &table,
                                         AMQP_SASL_METHOD_EXTERNAL, "");
  } else {
    const std::string user = settings.user.empty() ? "guest" : settings.user;
    if (settings.user.empty()) password = "guest";
    reply = ::amqp_login_with_properties(state_, host, 0, kMostFrameBytes, kHeartbeat, &table, AMQP_SASL_METHOD_PLAIN,
                                         user.c_str(), password.c_str());
  }
  must(reply, 0, "logging in");
}

void Connection::away(const std::string& what) const { throw BrokerAway(node_.text() + ": " + what); }

void Connection::must(int status, const std::string& what) const {
  if (status != AMQP_STATUS_OK) away(what + ": " + ::amqp_error_string2(status));
}

// Why the broker closes a channel or the connection.
struct Connection::Closing {
  std::string why;
  bool is_of_channel = false;
  std::uint16_t code = 0;
};

Connection::Closing Connection::closing_of(const amqp_method_t_& method) {
  if (method.id == AMQP_CHANNEL_CLOSE_METHOD) {
    const auto* const close = static_cast<const amqp_channel_close_t*>(method.decoded);
    return {.why = engine::printable(text_of(close->reply_text)), .is_of_channel = true, .code = close->reply_code};
  }
  if (method.id == AMQP_CONNECTION_CLOSE_METHOD) {
    const auto* const close = static_cast<const amqp_connection_close_t*>(method.decoded);
    return {.why = engine::printable(text_of(close->reply_text)), .code = close->reply_code};
  }
  return {.why = "the broker said something that was not expected"};
}

// The channel, if it was one, can be used again afterwards; what it consumed is lost with it.
void Connection::closed(const Closing& closing, std::uint16_t channel, const std::string& what) {
  const std::string text = what + ": " + closing.why;
  if (closing.is_of_channel) {
    amqp_channel_close_ok_t agreed{};
    must(::amqp_send_method(state_, channel, AMQP_CHANNEL_CLOSE_OK_METHOD, &agreed), what);
    open_channel(channel);
  }
  if (closing.code == kNotFound || closing.code == kResourceLocked) throw NotHere(node_.text() + ": " + text);
  if (is_refusal(closing.code)) throw BrokerRefuses(node_.text() + ": " + text);
  away(text);
}

void Connection::must(const amqp_rpc_reply_t_& reply, std::uint16_t channel, const std::string& what) {
  if (reply.reply_type == AMQP_RESPONSE_NORMAL) return;
  if (reply.reply_type == AMQP_RESPONSE_LIBRARY_EXCEPTION) {
    away(what + ": " + ::amqp_error_string2(reply.library_error));
  }
  closed(closing_of(reply.reply), channel, what);
}

void Connection::open_channel(std::uint16_t channel) {
  ::amqp_channel_open(state_, channel);
  const amqp_rpc_reply_t reply = ::amqp_get_rpc_reply(state_);
  if (reply.reply_type != AMQP_RESPONSE_NORMAL) away("a channel cannot be opened");
}

void Connection::declare_exchange(const std::string& name, const std::string& type) {
  ::amqp_exchange_declare(state_, kAsking, bytes(name), bytes(type), 0, 1, 0, 0, amqp_empty_table);
  must(::amqp_get_rpc_reply(state_), kAsking, "making the exchange " + name);
}

void Connection::declare_queue(const std::string& name, const std::vector<Argument>& arguments) {
  std::vector<amqp_table_entry_t> entries;
  for (const Argument& one : arguments) {
    if (one.text.empty()) {
      amqp_table_entry_t entry{};
      entry.key = bytes(one.name);
      entry.value.kind = AMQP_FIELD_KIND_BOOLEAN;
      entry.value.value.boolean = one.flag ? 1 : 0;
      entries.push_back(entry);
    } else {
      entries.push_back(text_entry(one.name, one.text));
    }
  }
  const amqp_table_t table{.num_entries = static_cast<int>(entries.size()), .entries = entries.data()};
  ::amqp_queue_declare(state_, kAsking, bytes(name), 0, 1, 0, 0, table);
  must(::amqp_get_rpc_reply(state_), kAsking, "making the queue " + name);
}

void Connection::bind_exchange(const std::string& to, const std::string& from, const std::string& routing_key) {
  ::amqp_exchange_bind(state_, kAsking, bytes(to), bytes(from), bytes(routing_key), amqp_empty_table);
  must(::amqp_get_rpc_reply(state_), kAsking, "binding the exchange " + to + " to " + from);
}

void Connection::bind_queue(const std::string& queue, const std::string& exchange, const std::string& routing_key) {
  ::amqp_queue_bind(state_, kAsking, bytes(queue), bytes(exchange), bytes(routing_key), amqp_empty_table);
  must(::amqp_get_rpc_reply(state_), kAsking, "binding the queue " + queue + " to " + exchange);
}

Connection::QueueState Connection::queue_state(const std::string& queue) {
  const auto* const found = ::amqp_queue_declare(state_, kAsking, bytes(queue), 1, 0, 0, 0, amqp_empty_table);
  must(::amqp_get_rpc_reply(state_), kAsking, "asking for the queue " + queue);
  const QueueState state{.messages = found->message_count, .consumers = found->consumer_count};
  ::amqp_maybe_release_buffers_on_channel(state_, kAsking);
  return state;
}

void Connection::must_have_exchange(const std::string& name) {
  const std::string type = "topic";
  ::amqp_exchange_declare(state_, kAsking, bytes(name), bytes(type), 1, 1, 0, 0, amqp_empty_table);
  must(::amqp_get_rpc_reply(state_), kAsking, "asking for the exchange " + name);
}

bool Connection::take_lock(const std::string& name) {
  try {
    ::amqp_queue_declare(state_, kAsking, bytes(name), 0, 0, 1, 1, amqp_empty_table);
    must(::amqp_get_rpc_reply(state_), kAsking, "making the queue " + name);
    return true;
  } catch (const NotHere&) {
    return false;
  }
}

void Connection::give_lock_back(const std::string& name) {
  ::amqp_queue_delete(state_, kAsking, bytes(name), 0, 0);
  must(::amqp_get_rpc_reply(state_), kAsking, "deleting the queue " + name);
}

void Connection::consume(const std::string& queue, const std::string& tag, std::uint16_t prefetch,
                         bool is_acknowledged) {
  const std::string what = "reading the queue " + queue;
  if (is_acknowledged) {
    ::amqp_basic_qos(state_, kConsuming, 0, prefetch, 0);
    must(::amqp_get_rpc_reply(state_), kConsuming, what);
  }
  ::amqp_basic_consume(state_, kConsuming, bytes(queue), bytes(tag), 0, is_acknowledged ? 0 : 1, 0, amqp_empty_table);
  must(::amqp_get_rpc_reply(state_), kConsuming, what);
}

void Connection::stop_consuming(const std::string& tag) {
  ::amqp_basic_cancel(state_, kConsuming, bytes(tag));
  must(::amqp_get_rpc_reply(state_), kConsuming, "ending the reading of " + tag);
}

// A frame that is no delivery: a confirm, the end of a consumer, or that of a channel or of the connection.
void Connection::read_frame(milliseconds most) {
  amqp_frame_t frame{};
  const timeval time = time_of(most);
  const int status = ::amqp_simple_wait_frame_noblock(state_, &frame, &time);
  if (status == AMQP_STATUS_TIMEOUT) return;
  must(status, "reading");
  if (frame.frame_type != AMQP_FRAME_METHOD) return;
  const amqp_method_t& method = frame.payload.method;
  if (method.id == AMQP_BASIC_ACK_METHOD) {
    const auto* const ack = static_cast<const amqp_basic_ack_t*>(method.decoded);
    const auto first = ack->multiple != 0 ? unconfirmed_.begin() : unconfirmed_.lower_bound(ack->delivery_tag);
    unconfirmed_.erase(first, unconfirmed_.upper_bound(ack->delivery_tag));
  } else if (method.id == AMQP_BASIC_NACK_METHOD) {
    away("the broker did not take a message");
  } else if (method.id == AMQP_BASIC_RETURN_METHOD) {
    const auto* const returned = static_cast<const amqp_basic_return_t*>(method.decoded);
    away("there is no queue " + engine::printable(text_of(returned->routing_key)) + ", which is made anew");
  } else if (method.id == AMQP_BASIC_CANCEL_METHOD) {
    ended_.push_back(text_of(static_cast<const amqp_basic_cancel_t*>(method.decoded)->consumer_tag));
  } else if (method.id == AMQP_CONNECTION_BLOCKED_METHOD || method.id == AMQP_CONNECTION_UNBLOCKED_METHOD) {
    is_blocked_ = method.id == AMQP_CONNECTION_BLOCKED_METHOD;
  } else if (method.id == AMQP_CHANNEL_CLOSE_METHOD || method.id == AMQP_CONNECTION_CLOSE_METHOD) {
    closed(closing_of(method), frame.channel, "the broker ended what was under way");
  }
}

std::optional<Delivery> Connection::next(milliseconds most) {
  ::amqp_maybe_release_buffers_on_channel(state_, kConsuming);
  amqp_envelope_t envelope{};
  const timeval time = time_of(most);
  const amqp_rpc_reply_t reply = ::amqp_consume_message(state_, &envelope, &time, 0);
  if (reply.reply_type == AMQP_RESPONSE_NORMAL) {
    Delivery delivery{.tag = envelope.delivery_tag,
                      .routing_key = text_of(envelope.routing_key),
                      .body = text_of(envelope.message.body)};
    ::amqp_destroy_envelope(&envelope);
    return delivery;
  }
  if (reply.reply_type != AMQP_RESPONSE_LIBRARY_EXCEPTION) must(reply, kConsuming, "reading");
  if (reply.library_error == AMQP_STATUS_TIMEOUT) return std::nullopt;
  if (reply.library_error != AMQP_STATUS_UNEXPECTED_STATE) must(reply.library_error, "reading");
  read_frame(milliseconds(0));
  return std::nullopt;
}

std::vector<std::string> Connection::ended_consumers() { return std::exchange(ended_, {}); }

void Connection::acknowledge(std::uint64_t tag) { must(::amqp_basic_ack(state_, kConsuming, tag, 1), "acknowledging"); }

void Connection::acknowledge_one(std::uint64_t tag) {
  must(::amqp_basic_ack(state_, kConsuming, tag, 0), "acknowledging");
}

void Connection::publish(const std::string& exchange, const std::string& routing_key, const std::string& body,
                         const std::vector<Header>& headers) {
  std::vector<amqp_table_entry_t> entries;
  entries.reserve(headers.size());
  for (const Header& one : headers) entries.push_back(text_entry(one.name, one.text));
  amqp_basic_properties_t properties{};
  properties._flags = AMQP_BASIC_DELIVERY_MODE_FLAG | AMQP_BASIC_HEADERS_FLAG;
  properties.delivery_mode = kPersistent;
  properties.headers = {.num_entries = static_cast<int>(entries.size()), .entries = entries.data()};
  // Without an exchange the key names a queue. A message for a queue that is not there comes back, instead of being
  // lost.
  const amqp_boolean_t is_mandatory = exchange.empty() ? 1 : 0;
  must(::amqp_basic_publish(state_, kPublishing, bytes(exchange), bytes(routing_key), is_mandatory, 0, &properties,
                            bytes(body)),
       "publishing");
  ++published_;
  if (is_confirming_) unconfirmed_.insert(published_);
}

void Connection::expect_confirms() {
  ::amqp_confirm_select(state_, kPublishing);
  must(::amqp_get_rpc_reply(state_), kPublishing, "asking for confirms");
  is_confirming_ = true;
  published_ = 0;
}

bool Connection::wait_for_confirms() {
  const auto end = std::chrono::steady_clock::now() + kAnswerWithin;
  while (!unconfirmed_.empty()) {
    if (is_blocked_) return false;
    const auto left = std::chrono::duration_cast<milliseconds>(end - std::chrono::steady_clock::now());
    if (left.count() <= 0)
      away("it has not confirmed a message within " + std::to_string(kAnswerWithin.count()) + " s");
    ::amqp_maybe_release_buffers_on_channel(state_, kPublishing);
    read_frame(left);
  }
  return true;
}

void Connection::look() {
  ::amqp_maybe_release_buffers_on_channel(state_, kPublishing);
  do {
    read_frame(milliseconds(0));
  } while (::amqp_frames_enqueued(state_) != 0 || ::amqp_data_in_buffer(state_) != 0);
}

}  // namespace polaiga::fleet
