// Alarms in few bytes, for the page's own scripts: ten thousand of them are fetched again with each change. Whoever
// writes a program asks /api/v1, which has all of them.
#pragma once

#include <string>

#include "ledger/reader.h"

namespace polaiga::web {

// {"ledger_id","change","is_readable","counts","missed","maintenance","columns":[...],"rows":[[...],...]}: a row has a
// value for each column, and a time is a number of seconds since 1970. `is_readable` says whether the ledger can still
// be read; otherwise this is what was read last.
std::string compact_active(const engine::Overview& overview, bool is_readable);

// The latest alarms, the oldest first, in the same form. A step of an alarm is [since, severity].
std::string compact_history(const std::string& ledger_id, const std::vector<engine::StoredAlarm>& alarms,
                            std::size_t most);

}  // namespace polaiga::web
