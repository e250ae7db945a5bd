// What a publisher says of itself beside its cursor.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "model/moment.h"

namespace polaiga::engine {

// What a publisher has not said is left out.
struct PublisherReport {
  std::optional<std::string> peer = std::nullopt;     // whom it tells
  std::optional<bool> connected = std::nullopt;       // whether its peer can be told something now
  std::optional<std::uint64_t> told = std::nullopt;   // changes that the peer has taken, since the publisher's start
  std::optional<std::uint64_t> lost = std::nullopt;   // changes that were gone before they could be told
  std::optional<std::uint64_t> cut = std::nullopt;    // messages in which something had to be shortened
  std::optional<Moment> last_success = std::nullopt;  // when the peer took something last
  std::optional<std::string> last_error = std::nullopt;
  std::optional<Moment> last_error_at = std::nullopt;

  bool operator==(const PublisherReport&) const = default;
};

}  // namespace polaiga::engine
