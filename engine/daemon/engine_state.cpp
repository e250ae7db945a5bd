#include "daemon/engine_state.h"

#include <algorithm>

namespace polaiga::engine {

EngineState::EngineState(const std::string& path, const Retention& retention, const Recorder::Options& options,
                         const Clock& clock)
    : ledger_(path, retention, clock.wall()), recorder_(fitting(options, ledger_), clock, ledger_) {}

Recorder::Options EngineState::fitting(Recorder::Options options, const Ledger& ledger) {
  options.most_in_batch = std::min(options.most_in_batch, ledger.most_inputs_in_batch());
  return options;
}

}  // namespace polaiga::engine
