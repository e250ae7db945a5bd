// What all parts of the server ask.
#pragma once

#include <string>

#include "access/gate.h"
#include "live/engine_link.h"
#include "live/live_ledger.h"
#include "live/readers.h"

namespace polaiga::web {

struct Site {
  LiveLedger& live;
  Readers& readers;
  EngineLink& engine;
  Gate& gate;
  std::string program;  // path of the program `polaiga`, which explains faults: filters never run in this process
  std::string ledger;   // path
};

}  // namespace polaiga::web
