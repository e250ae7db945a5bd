// Lines of a file descriptor, in bounded memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace polaiga::engine {

class LineReader {
 public:
  static constexpr std::size_t kLongestLine = std::size_t{64} * 1024;  // without its newline

  enum class Result { kLine, kTooLong, kEnd, kFailed, kInterrupted };

  explicit LineReader(int fd);

  // A line without its newline, which lasts until the next call. A line that is
  // too long is passed over as a whole. After kFailed, errno says why.
  Result next(std::string_view& line);

  // Whether the next line is here in full, so that it will not be waited for.
  bool has_line() const;

  std::uint64_t bytes_taken() const { return taken_; }

 private:
  enum class Fill { kMore, kEnd, kFailed, kInterrupted };
  Fill fill();
  std::size_t find_newline() const;
  void take(std::size_t bytes);

  int fd_;
  std::vector<char> buffer_;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  std::uint64_t taken_ = 0;
};

}  // namespace polaiga::engine
