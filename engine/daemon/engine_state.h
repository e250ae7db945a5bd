// The ledger and the recorder of a running engine, opened together.
#pragma once

#include <string>

#include "base/clock.h"
#include "core/recorder.h"
#include "ledger/ledger.h"

namespace polaiga::engine {

class EngineState {
 public:
  // Throws LedgerError and SqlError when there is no ledger to be had.
  EngineState(const std::string& path, const Retention& retention, const Recorder::Options& options,
              const Clock& clock);

  Ledger& ledger() { return ledger_; }
  const Ledger& ledger() const { return ledger_; }
  Recorder& recorder() { return recorder_; }
  const Recorder& recorder() const { return recorder_; }

 private:
  // Batches are no larger than the ledger can take.
  static Recorder::Options fitting(Recorder::Options options, const Ledger& ledger);

  Ledger ledger_;
  Recorder recorder_;
};

}  // namespace polaiga::engine
