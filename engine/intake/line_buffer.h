// Bytes in, lines out, in bounded memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace polaiga::engine {

class LineBuffer {
 public:
  static constexpr std::size_t kLongestLine = std::size_t{64} * 1024;  // without its newline

  enum class Result { kLine, kTooLong, kNone };

  LineBuffer() : buffer_(2 * kLongestLine) {}

  // The next line without its newline; it lasts until there is need of room. A
  // line that is too long is passed over as a whole. kNone: there is no whole
  // line, and then there is room.
  Result next(std::string_view& line);

  // What is left at the end of all input, where the last line may lack its newline.
  Result rest(std::string_view& line);

  // Where further bytes are put; how many were is then told.
  std::span<char> room();
  void added(std::size_t bytes) { end_ += bytes; }

  bool has_line() const { return find_newline() != std::string_view::npos; }
  std::uint64_t bytes_taken() const { return taken_; }

 private:
  std::size_t find_newline() const;
  void take(std::size_t bytes);

  std::vector<char> buffer_;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  bool too_long_ = false;  // the line that is coming
  std::uint64_t taken_ = 0;
};

}  // namespace polaiga::engine
