// `polaiga run`: the engine as a service. It takes events as they come, keeps what
// came of them in the ledger, and acknowledges an event once it is durable.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/clock.h"
#include "base/standard_output.h"
#include "base/status.h"
#include "filter/services.h"
#include "ledger/ledger.h"

namespace polaiga::engine {

struct RunOptions {
  std::string ledger;
  std::string socket;                   // path; empty: events come from standard input alone
  std::string control;                  // path; empty: there is no control socket
  std::optional<gid_t> control_group;   // who may connect to the control socket beside the engine's own group
  std::vector<uid_t> gateways;          // users who may act on behalf of others
  std::vector<uid_t> publishers;        // users who may move cursors, and may not act on alarms
  bool renew_acknowledgements = false;  // take an acknowledgement back when the alarm gets worse
  std::optional<ChatteringLimit> chattering = ChatteringLimit{};  // when a fault is chattering; nothing: none is
  std::string tables;                                             // directory; empty: the program's own
  std::int32_t platform = 0;
  Log log = Log::kOff;
  Retention retention;
  std::size_t most_active = Alarms::kMostReports;  // see Alarms
  std::chrono::milliseconds commit_within{0};      // how long an event may wait for others to share its write
  std::chrono::milliseconds idle_within{30'000};   // a client that is silent for so long leaves if others wait
  std::chrono::milliseconds retry{1000};           // until a ledger that could not be used is tried again
  std::chrono::seconds memory_within{10};          // then the engine stops if there is no memory to use the ledger
  std::chrono::milliseconds drain{4000};           // for what is under way when the engine is told to stop
  std::chrono::seconds end_within{5};              // then it ends, whatever holds it up
};

// Serves until it is told to stop or the input is over. What goes wrong is told on
// standard error, and the status is kFailed.
Status run(const RunOptions& options, StandardOutput& output, const Clock& clock);

}  // namespace polaiga::engine
