// Exit statuses of the program. Each command's help tells what they mean to it.
#pragma once

namespace polaiga::engine {

enum Status {
  kDone = 0,
  kBadLines = 1,  // some lines were not events; the others were replayed
  kDiffers = 1,   // of a comparison
  kUnknown = 1,   // a fault that the ledger does not know
  kFailed = 2,
  kInterrupted = 130,
};

}  // namespace polaiga::engine
