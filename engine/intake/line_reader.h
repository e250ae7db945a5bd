// Lines of a file descriptor, in bounded memory.
#pragma once

#include <cstdint>
#include <string_view>

#include "intake/line_buffer.h"

namespace polaiga::engine {

class LineReader {
 public:
  static constexpr std::size_t kLongestLine = LineBuffer::kLongestLine;

  enum class Result { kLine, kTooLong, kEnd, kFailed, kInterrupted };

  explicit LineReader(int fd) : fd_(fd) {}

  // A line without its newline, which lasts until the next call. A line that is
  // too long is passed over as a whole. After kFailed, errno says why.
  Result next(std::string_view& line);

  // Whether the next line is here in full, so that it will not be waited for.
  bool has_line() const { return lines_.has_line(); }

  std::uint64_t bytes_taken() const { return lines_.bytes_taken(); }

 private:
  enum class Fill { kMore, kEnd, kFailed, kInterrupted };
  Fill fill();

  int fd_;
  LineBuffer lines_;
};

}  // namespace polaiga::engine
