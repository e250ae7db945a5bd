// Makes signals readable from a descriptor, for a program that waits in poll().
#pragma once

#include <optional>

#include "base/descriptor.h"

namespace polaiga::engine {

class Signals {
 public:
  // From now on SIGTERM, SIGINT and SIGHUP do nothing but wait for take().
  Signals();

  int fd() const { return fd_.get(); }

  // Returns the number of a signal that has come, or nothing.
  std::optional<int> take() const;

 private:
  Descriptor fd_;
};

}  // namespace polaiga::engine
