// How much of the past a ledger keeps.
#pragma once

#include <cstdint>

namespace polaiga::engine {

// 0 sets no limit. What active alarms and the filters' state need is kept in any
// case.
struct Retention {
  std::int64_t events = 1'000'000;
  std::int64_t days = 365;                              // counted by RecordedInput::age
  std::int64_t bytes = std::int64_t{64} * 1024 * 1024;  // of the database's file and its log together
  std::int64_t held_changes = 100'000;                  // most that a publisher which is behind holds back
};

}  // namespace polaiga::engine
