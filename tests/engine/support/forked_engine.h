// An engine that the test's own process forks: its options and its clock may be such as no command line can set.
#pragma once

#include <csignal>
#include <functional>

#include "daemon/run.h"

namespace polaiga::engine::test {

// What a Child is to run. The clock must outlive it.
inline std::function<int()> forked_engine(const RunOptions& options, const Clock& clock) {
  return [options, &clock] {
    for (const int signal : {SIGPIPE, SIGXFSZ}) std::signal(signal, SIG_IGN);  // as the program does
    StandardOutput output;
    return static_cast<int>(run(options, output, clock));
  };
}

// By the machine's clock.
inline std::function<int()> forked_engine(const RunOptions& options) {
  static const SystemClock clock;
  return forked_engine(options, clock);
}

}  // namespace polaiga::engine::test
