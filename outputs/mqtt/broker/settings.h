// How a broker is reached.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "messages/broker_address.h"

namespace polaiga::mqtt {

enum class Protocol : std::uint8_t { kMqtt5, kMqtt311 };
enum class ProtocolChoice : std::uint8_t { kAny, kMqtt5, kMqtt311 };

struct Subscription {
  std::string topic;
  std::size_t most = 0;  // bytes of a message that is understood
};

struct Settings {
  BrokerAddress broker;
  std::string client_id;
  ProtocolChoice protocol = ProtocolChoice::kAny;
  bool is_session_clean = false;  // the broker forgets the subscriptions when the connection ends

  std::string user;           // empty: none
  std::string password_file;  // empty: none

  // Files; empty: none. With an authority's certificates the connection is encrypted.
  std::string tls_ca;
  std::string tls_cert;
  std::string tls_key;

  std::vector<Subscription> subscriptions;
  // Topics that this client may have subscribed to when it ran with other options; the broker is to forget that.
  std::vector<std::string> unwanted;
  std::string will_topic;
  std::string will_payload;

  bool is_encrypted() const { return !tls_ca.empty(); }
  std::string peer() const { return broker.text(is_encrypted() ? 8883 : 1883); }
};

}  // namespace polaiga::mqtt
