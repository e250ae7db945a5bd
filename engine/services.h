// The services that the library asks of its host; see polaiga/services.h.
#pragma once

#include <cstdint>

#include "active_faults.h"

namespace polaiga::engine {

inline constexpr std::int32_t kPlatforms = 18;

enum class Log { kOff, kDebug };

// Binds the services to the faults that they withdraw from. `faults` must last
// as long as events are given to filters.
void provide_services(ActiveFaults& faults, std::int32_t platform, Log log);

}  // namespace polaiga::engine
