// How the engine is, as metrics.
#pragma once

#include <optional>
#include <string>

#include "metrics/families.h"

namespace polaiga::web {

// Adds whether the engine answers and what it says: `status` is its answer at the control socket, as JSON; nothing:
// there is none. What it does not tell, because it is of an earlier version, is left out.
void add_engine_families(const std::optional<std::string>& status, Families& families);

}  // namespace polaiga::web
