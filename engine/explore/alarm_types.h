// The types of alarms, as RFC 8632 has them, that the faults of the filters make.
#pragma once

#include <span>

#include "explore/fault_search.h"
#include "report/rfc8632.h"

namespace polaiga::engine {

// Faults that supersede each other, directly or by others, are levels of one type.
AlarmTypes alarm_types(std::span<const FoundFilter> filters);

}  // namespace polaiga::engine
