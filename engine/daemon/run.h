// `polaiga run`: the engine that stays. It takes events as they come, keeps what
// came of them in the ledger, and acknowledges an event once it is durable.
#pragma once

#include <string>

#include "base/standard_output.h"
#include "base/status.h"
#include "filter/services.h"
#include "ledger/ledger.h"

namespace polaiga::engine {

struct RunOptions {
  std::string ledger;
  std::string socket;  // path; empty: standard input alone
  std::string tables;  // directory; empty: the program's own
  std::int32_t platform = 0;
  Log log = Log::kOff;
  Retention retention;
};

// Throws what its parts throw when it cannot begin.
Status run(const RunOptions& options, StandardOutput& output);

}  // namespace polaiga::engine
