// What is wrong now, as metrics.
#pragma once

#include <cstddef>

#include "ledger/reader.h"
#include "metrics/families.h"

namespace polaiga::web {

// Adds the active alarms, counts of them, missed alarms and objects that are out of service. At most `most_series`
// alarms have a series of their own: the worst, and of these the oldest. Another family tells how many have none.
void add_alarm_families(const engine::Overview& now, std::size_t most_series, Families& families);

}  // namespace polaiga::web
