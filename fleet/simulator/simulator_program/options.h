#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "broker/settings.h"
#include "messages/broker_address.h"

namespace polaiga::fleet {

struct SimulatorOptions {
  std::vector<mqtt::BrokerAddress> brokers;
  mqtt::Settings settings;  // user and certificates
  std::string recording;
  std::size_t controllers = 100;
  std::size_t sites = 1;
  double rate = 10;  // changes a second, of all controllers
  bool has_bursts = false;
  bool is_session_clean = false;  // the broker keeps nothing for a controller that is away
  double duration = 0;            // seconds; 0: until it is ended
  double wait = 60;               // seconds, for what was not acknowledged at the end
  std::string record;             // empty: none
  double connect_rate = 200;      // a second
  std::uint64_t seed = 0;         // 0: at random
  int heartbeat = 30;             // seconds
  std::int64_t kept = 20'000;
};

}  // namespace polaiga::fleet
