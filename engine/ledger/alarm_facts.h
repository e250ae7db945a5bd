// The alarms of a ledger as plain facts, for measures.
#pragma once

#include <functional>
#include <string>

#include "alarms/measures.h"
#include "ledger/stored_rows.h"

namespace polaiga::engine {

// Calls `take` for each alarm of which a fault has this DN or lies below it (all for an empty one), in the order in
// which they were raised. Damaged ones are left out, as `rows` notes. However many alarms there are, it takes no more
// memory.
void for_each_alarm(const Database& db, StoredRows& rows, const std::string& under,
                    const std::function<void(const AlarmFact& fact)>& take);

}  // namespace polaiga::engine
