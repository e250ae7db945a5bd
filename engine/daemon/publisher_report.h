// What a publisher says of itself beside its cursor.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "model/moment.h"

namespace polaiga::engine {

// What a publisher has not said is left out.
struct PublisherReport {
  std::optional<std::string> peer;     // whom it tells
  std::optional<bool> connected;       // whether its peer can be told something now
  std::optional<std::uint64_t> told;   // changes that the peer has taken, since the publisher's start
  std::optional<std::uint64_t> lost;   // changes that were gone before they could be told
  std::optional<std::uint64_t> cut;    // messages in which something had to be shortened
  std::optional<Moment> last_success;  // when the peer took something last
  std::optional<std::string> last_error;
  std::optional<Moment> last_error_at;

  bool operator==(const PublisherReport&) const = default;
};

}  // namespace polaiga::engine
