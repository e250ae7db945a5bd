// A subscription to pushed events (EventDestination): what a client may ask for, and what is told of it.
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "redfish/events.h"

namespace polaiga::web {

// What becomes of a subscription to which an event cannot be delivered as often as EventService says.
enum class RetryPolicy : std::uint8_t {
  kTerminateAfterRetries,
  kSuspendRetries,
  kRetryForever,
  kRetryForeverWithBackoff
};

std::string_view policy_word(RetryPolicy policy);

struct Subscription {
  static constexpr std::size_t kMostText = 1024;  // bytes of a text in it
  static constexpr std::size_t kMostItems = 32;   // of a list in it

  std::string id;
  std::string destination;  // http or https
  std::string context;
  std::vector<std::pair<std::string, std::string>> headers;  // that are sent with each event; never told
  std::vector<std::string> registry_prefixes;                // events of these alone; empty: of any
  std::vector<std::string> message_ids;                      // the same
  std::vector<std::string> severities;                       // the same: OK, Warning, Critical
  RetryPolicy policy = RetryPolicy::kRetryForeverWithBackoff;
  bool verifies_certificate = true;

  // Where it is.
  EventCursor cursor;
  bool is_suspended = false;

  bool wants(const EventRecord& event) const;
};

// Reads the body of a request for a new subscription; it has no id then. Throws Refusal.
Subscription parse_subscription(std::string_view body);

// The host of an address that events may be pushed to: http or https, without a name and a password. An address in
// numbers comes as it is usually written, whatever way it was written. Nothing: events cannot be pushed there.
std::optional<std::string> destination_host(const std::string& text);

// As the state file keeps it, with its secrets. Reading throws std::runtime_error for what is not right.
nlohmann::json stored_form(const Subscription& of);
Subscription read_stored(const nlohmann::json& form);

}  // namespace polaiga::web
