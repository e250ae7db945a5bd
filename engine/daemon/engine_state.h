// The ledger and the recorder of a running engine, opened together.
#pragma once

#include <optional>
#include <string>

#include "base/clock.h"
#include "core/recorder.h"
#include "ledger/ledger.h"

namespace polaiga::engine {

// A ledger whose content contradicts itself is set aside, and a new one is begun.
class EngineState {
 public:
  // Throws LedgerError and SqlError when there is no ledger to be had.
  EngineState(std::string path, const Retention& retention, const Recorder::Options& options, const Clock& clock);

  Ledger& ledger() { return *ledger_; }
  const Ledger& ledger() const { return *ledger_; }
  Recorder& recorder() { return *recorder_; }
  const Recorder& recorder() const { return *recorder_; }

  // Where a damaged ledger was moved to; empty: there was none.
  const std::string& set_aside() const { return set_aside_; }

 private:
  void open();
  void replace();

  std::string path_;
  Retention retention_;
  Recorder::Options options_;
  const Clock& clock_;
  std::string set_aside_;
  std::optional<Ledger> ledger_;
  std::optional<Recorder> recorder_;
};

}  // namespace polaiga::engine
