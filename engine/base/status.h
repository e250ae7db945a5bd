// The exit statuses of the program. Each command's help says when it returns which.
#pragma once

namespace polaiga::engine {

enum Status {
  kDone = 0,
  kBadLines = 1,  // some lines were not events; all others were handled
  kDiffers = 1,   // two builds of the library gave different answers
  kUnknown = 1,   // the ledger does not have the fault that was asked for
  kDamaged = 1,   // the ledger is not what its engine wrote
  kFailed = 2,
  kInterrupted = 130,
};

}  // namespace polaiga::engine
