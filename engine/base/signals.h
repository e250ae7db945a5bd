// Makes signals readable from a descriptor, for a program that waits in poll(), and sees to it that the program ends
// when it is told to.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "base/descriptor.h"
#include "base/unblocked_output.h"

namespace polaiga::engine {

class Signals {
 public:
  // From now on SIGTERM, SIGINT and SIGHUP do nothing but wait for take(). Once SIGTERM or SIGINT has come, the process
  // ends after `end_within` with this status, whatever it is doing then, and writes the last line before. Both must
  // outlive this. A process has one object of this class. Throws std::system_error.
  Signals(int status, std::chrono::seconds end_within, const UnblockedOutput& output, const std::string& last_line);
  ~Signals();  // from now on they do nothing
  Signals(const Signals&) = delete;
  Signals& operator=(const Signals&) = delete;

  int fd() const { return pipe_.out.get(); }

  // Returns the number of a signal that has come, or nothing.
  std::optional<int> take() const;

 private:
  Pipe pipe_;
};

}  // namespace polaiga::engine
