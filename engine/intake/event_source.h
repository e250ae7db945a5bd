// Reads the events of a file or of standard input, line by line.
#pragma once

#include <cstdint>
#include <string>

#include "base/input.h"
#include "intake/event_line.h"
#include "intake/line_buffer.h"

namespace polaiga::engine {

class EventSource {
 public:
  enum class Result { kLine, kBlank, kEnd, kFailed, kInterrupted };

  // `input` must outlive the source.
  explicit EventSource(const Input& input) : input_(input) {}

  // Reads one line, and waits for it if the input is a pipe or a terminal; an interrupt (base/interrupt.h) ends the
  // wait. kLine sets `line`; after kBlank the caller just goes on.
  Result next(EventLine& line);

  // Whether next() might have to wait, so that output should be flushed first. Never true for a regular file.
  bool may_wait() const { return !input_.is_regular() && !lines_.has_line(); }

  // After kFailed: "INPUT: cannot read: the reason".
  std::string failure() const;

  // Bytes of all lines so far, the blank ones included.
  std::uint64_t bytes_taken() const { return lines_.bytes_taken(); }

 private:
  enum class Fill { kMore, kEnd, kFailed, kInterrupted };
  Fill fill();

  const Input& input_;
  LineBuffer lines_;
  std::uint64_t number_ = 0;  // of the last line
  int error_ = 0;             // errno of kFailed
};

}  // namespace polaiga::engine
