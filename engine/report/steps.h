// How the faults of an alarm follow each other.
#pragma once

#include <string>
#include <vector>

#include "ledger/stored.h"

namespace polaiga::engine {

// The step that took the place of another; null when it was not superseded, or
// when its successor is no longer known.
const StoredFault* superseded_by(const StoredAlarm& alarm, const StoredFault& step);

// The steps whose place this one took.
std::vector<const StoredFault*> superseded(const StoredAlarm& alarm, const StoredFault& step);

// How a step ended, in the words that people read: "superseded by F0396"; empty
// while it is active.
std::string ending_text(const StoredAlarm& alarm, const StoredFault& step);

}  // namespace polaiga::engine
