// How controllers, and the topics of their messages, are named on a broker of AMQP 0-9-1.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace polaiga::fleet {

// Who sends. Both names have 1 to 64 letters, digits, '_' and '-'. A '.' is not allowed, though polaiga-mqtt takes one:
// a broker that translates topics to routing keys makes a '.' of each '/', so two controllers could have the same keys.
struct Sender {
  std::string site;
  std::string controller;

  bool operator==(const Sender&) const = default;
  auto operator<=>(const Sender&) const = default;  // NOLINT(modernize-use-nullptr): no pointer is meant
};

bool is_fleet_name(std::string_view name);

// What a message is about, by the last part of its topic. Controllers send the first four, and read the others.
enum class Kind { kChange, kStatus, kReplayed, kActed, kAck, kReplay, kAction };

// change, status, replayed, acted, ack, replay, action.
std::string_view kind_word(Kind kind);

// polaiga.v1.SITE.CONTROLLER.KIND
std::string routing_key(const Sender& sender, Kind kind);

// Nothing: it is not the key of a message of a controller.
struct Route {
  Sender sender;
  Kind kind = Kind::kChange;
};
std::optional<Route> parse_routing_key(std::string_view key);

}  // namespace polaiga::fleet
