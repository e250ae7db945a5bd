// What a publisher says of itself to the engine: its cursor, and how it goes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "model/change.h"
#include "model/moment.h"

namespace polaiga::output {

struct Report {
  std::string publisher = {};        // its name: 1 to 32 of the characters a-z, 0-9, "-", "_" and "."
  std::string peer = {};             // whom it tells, as "mqtt.example:8883"; without credentials
  std::string ledger_id = {};        // of the ledger whose changes it tells
  engine::ChangeNumber through = 0;  // the cursor: no change up to this one is needed again
  bool is_connected = false;
  std::uint64_t told = 0;                           // changes that the peer has taken, since the program's start
  std::uint64_t lost = 0;                           // changes that were gone before they could be told
  std::uint64_t cut = 0;                            // messages in which a text or a list had to be shortened
  std::optional<engine::Moment> last_success = {};  // when the peer took something last
  std::optional<engine::Moment> last_error_at = {};
  std::string last_error = {};  // a sentence without its full stop; "": there was none

  bool operator==(const Report&) const = default;
};

// The request to the control socket, as one line.
std::string report_request(const Report& report);

}  // namespace polaiga::output
