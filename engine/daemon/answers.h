// What the engine answers at its sockets, one JSON object a line.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/recorder.h"
#include "daemon/publisher_reports.h"
#include "filter/library_build.h"
#include "ledger/ledger.h"

namespace polaiga::engine {

// {"seq":N}, with "duplicate":true for an event that was taken before, and with a
// "warning" when its fault is not tracked.
std::string acknowledgement(const Receipt& receipt);

// {"seq":N,"changes":K} of an operator's action, with "duplicate":true instead for one that was taken before.
std::string action_answer(const Receipt& receipt);

// {"error":"..."}
std::string refusal(const std::string& what);

// {"ok":true}
std::string done();

// How the engine is.
struct EngineStatus {
  std::string ledger_id;
  LibraryBuild build;
  Sequence last_sequence = 0;  // that is durable
  std::size_t unwritten = 0;   // inputs that were taken and are not durable yet
  ChangeNumber last_change = 0;
  std::size_t active_faults = 0;
  std::size_t reports = 0;       // an active fault counts once for each of its reporters
  std::size_t most_reports = 0;  // the limit of `reports`
  std::size_t chattering = 0;    // faults
  std::uint64_t not_tracked = 0;
  std::uint64_t bad_lines = 0;
  int clients = 0;          // that are served
  int waiting_clients = 0;  // for a place
  LedgerSize size;
  InputCounts counts;  // since the start
  WriteTimes times;    // since the start
  Ledger::CheckProgress check;
  std::vector<PublisherStatus> publishers;
  std::optional<std::string> problem;  // why the ledger cannot be read or written
};

std::string status_answer(const EngineStatus& status);

}  // namespace polaiga::engine
