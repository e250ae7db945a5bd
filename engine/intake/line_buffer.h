// Cuts a stream of bytes into lines. The memory that it uses is bounded, however long a line is.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace polaiga::engine {

class LineBuffer {
 public:
  static constexpr std::size_t kLongestLine = std::size_t{64} * 1024;  // without its newline; unless more is allowed

  enum class Result { kLine, kTooLong, kNone };

  // The memory for lines over kLongestLine is taken when such a line comes.
  explicit LineBuffer(std::size_t longest_line = kLongestLine)
      : longest_line_(longest_line), buffer_(2 * std::min(longest_line, kLongestLine)) {}

  // Takes the next line, without its newline. `line` is valid until the next call of room().
  //   kLine     `line` is set.
  //   kTooLong  The line has more bytes than are allowed; all of them are dropped, and `line` means nothing.
  //   kNone     The buffer holds no complete line. room() is not empty then.
  Result next(std::string_view& line);

  // At the end of the input: takes what follows the last newline, since the last line may lack its own.
  Result rest(std::string_view& line);

  // Where to put more bytes. The caller then tells with added() how many it put there.
  std::span<char> room();
  void added(std::size_t bytes) { end_ += bytes; }

  // Whether next() will find a line.
  bool has_line() const { return find_newline() != std::string_view::npos; }

  // The bytes of all lines that were taken, newlines included.
  std::uint64_t bytes_taken() const { return taken_; }

 private:
  std::size_t find_newline() const;
  void take(std::size_t bytes);

  std::size_t longest_line_;
  // At most twice the longest line, so that there is room for a read of a good size behind a line that is not complete.
  std::vector<char> buffer_;
  std::size_t begin_ = 0;  // the bytes that were not taken yet are those from begin_ to end_
  std::size_t end_ = 0;
  bool too_long_ = false;  // the current line is over the limit, and what came of it is dropped
  std::uint64_t taken_ = 0;
};

}  // namespace polaiga::engine
