#include "intake/line_buffer.h"

#include <algorithm>
#include <utility>

namespace polaiga::engine {

std::size_t LineBuffer::find_newline() const {
  return std::string_view(buffer_.data() + begin_, end_ - begin_).find('\n');
}

void LineBuffer::take(std::size_t bytes) {
  begin_ += bytes;
  taken_ += bytes;
}

LineBuffer::Result LineBuffer::next(std::string_view& line) {
  const std::size_t newline = find_newline();
  const std::size_t size = std::min(newline, end_ - begin_);
  too_long_ = too_long_ || size > longest_line_;
  if (newline == std::string_view::npos) {
    if (too_long_) take(size);
    return Result::kNone;
  }
  line = {buffer_.data() + begin_, size};
  take(size + 1);
  return std::exchange(too_long_, false) ? Result::kTooLong : Result::kLine;
}

LineBuffer::Result LineBuffer::rest(std::string_view& line) {
  line = {buffer_.data() + begin_, end_ - begin_};
  take(line.size());
  if (std::exchange(too_long_, false)) return Result::kTooLong;
  return line.empty() ? Result::kNone : Result::kLine;
}

std::span<char> LineBuffer::room() {
  if (begin_ > 0) {
    std::copy(buffer_.begin() + static_cast<std::ptrdiff_t>(begin_),
              buffer_.begin() + static_cast<std::ptrdiff_t>(end_), buffer_.begin());
    end_ -= begin_;
    begin_ = 0;
  }
  if (end_ > buffer_.size() / 2 && buffer_.size() < 2 * longest_line_) {
    buffer_.resize(std::min(2 * buffer_.size(), 2 * longest_line_));
  }
  return std::span(buffer_).subspan(end_);
}

}  // namespace polaiga::engine
