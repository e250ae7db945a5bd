// Writes to a descriptor that other processes may share, and never waits for whoever reads it.
#pragma once

#include <sys/types.h>

#include <string_view>

#include "base/descriptor.h"

namespace polaiga::engine {

class UnblockedOutput {
 public:
  // The descriptor must stay open as long as this lives.
  explicit UnblockedOutput(int fd);

  // To be polled for POLLOUT after a write has failed with EAGAIN.
  int fd() const { return own_.is_open() ? own_.get() : fd_; }

  // Writes as write(2) does, but at most PIPE_BUF bytes. Returns -1 with EAGAIN in errno where write(2) would wait.
  // May be called in a signal handler.
  ssize_t write(std::string_view text) const noexcept;

 private:
  enum class Kind { kFile, kSocket, kStream };

  int fd_;
  Kind kind_;
  Descriptor own_;
};

// Opens what a descriptor of a pipe or a terminal stands for once more, for writing without waiting. The result is
// closed if the descriptor is of another kind, or if this user may not open it.
Descriptor reopened_without_waiting(int fd);

}  // namespace polaiga::engine
