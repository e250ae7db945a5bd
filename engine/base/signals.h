// Signals as something to read, for a program that waits in poll().
#pragma once

#include <optional>

#include "base/descriptor.h"

namespace polaiga::engine {

class Signals {
 public:
  // From now on SIGTERM, SIGINT and SIGHUP come by take() alone.
  Signals();

  int fd() const { return fd_.get(); }

  // The number of one that came.
  std::optional<int> take() const;

 private:
  Descriptor fd_;
};

}  // namespace polaiga::engine
