#include "daemon/engine_state.h"

#include <sqlite3.h>

#include <algorithm>
#include <utility>

#include "ledger/ledger_file.h"
#include "ledger/sqlite.h"

namespace polaiga::engine {

EngineState::EngineState(std::string path, const Retention& retention, const Recorder::Options& options,
                         const Clock& clock)
    : path_(std::move(path)), retention_(retention), options_(options), clock_(clock) {
  try {
    open();
  } catch (const LedgerError&) {
    // A file that could not even be opened is nothing that may be moved away.
    if (!ledger_) throw;
    replace();
  } catch (const SqlError& error) {
    if (error.code() != SQLITE_CORRUPT) throw;
    replace();
  }
}

void EngineState::open() {
  ledger_.emplace(path_, retention_, clock_.wall());
  if (set_aside_.empty()) set_aside_ = ledger_->set_aside();
  Recorder::Options options = options_;
  options.most_in_batch = std::min(options.most_in_batch, ledger_->most_inputs_in_batch());
  recorder_.emplace(options, clock_, *ledger_);
}

void EngineState::replace() {
  recorder_.reset();
  ledger_.reset();
  set_aside_ = set_ledger_aside(path_, clock_.wall());
  open();
}

}  // namespace polaiga::engine
