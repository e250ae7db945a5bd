// Requests to a controller for what is missing.
#pragma once

#include <cstdint>
#include <optional>

#include "database/intake.h"
#include "state/controller_state.h"

namespace polaiga::fleet {

// The request that is to be made now, which `progress` then names as the one that is under way. Nothing: nothing is
// missing, or the request before it may still be answered. `now` is in microseconds, and makes its id.
std::optional<Answer> ask_for_missing(const Sender& sender, bool was_asked_lately, std::int64_t now,
                                      LedgerProgress& progress);

}  // namespace polaiga::fleet
