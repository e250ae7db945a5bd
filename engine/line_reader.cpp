#include "line_reader.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "interrupt.h"

namespace polaiga::engine {
namespace {

constexpr std::size_t kNone = std::string_view::npos;

}  // namespace

LineReader::LineReader(int fd) : fd_(fd), buffer_(2 * kLongestLine) {}

std::size_t LineReader::find_newline() const {
  return std::string_view(buffer_.data() + begin_, end_ - begin_).find('\n');
}

bool LineReader::has_line() const { return find_newline() != kNone; }

void LineReader::take(std::size_t bytes) {
  begin_ += bytes;
  taken_ += bytes;
}

LineReader::Result LineReader::next(std::string_view& line) {
  bool too_long = false;
  for (;;) {
    const std::size_t newline = find_newline();
    const std::size_t size = std::min(newline, end_ - begin_);
    too_long = too_long || size > kLongestLine;
    if (newline != kNone) {
      line = {buffer_.data() + begin_, size};
      take(size + 1);
      return too_long ? Result::kTooLong : Result::kLine;
    }
    if (too_long) take(size);
    switch (fill()) {
      case Fill::kMore:
        break;
      case Fill::kFailed:
        return Result::kFailed;
      case Fill::kInterrupted:
        return Result::kInterrupted;
      case Fill::kEnd:
        line = {buffer_.data() + begin_, end_ - begin_};
        take(line.size());
        if (too_long) return Result::kTooLong;
        return line.empty() ? Result::kEnd : Result::kLine;
    }
  }
}

LineReader::Fill LineReader::fill() {
  std::copy(buffer_.begin() + static_cast<std::ptrdiff_t>(begin_), buffer_.begin() + static_cast<std::ptrdiff_t>(end_),
            buffer_.begin());
  end_ -= begin_;
  begin_ = 0;
  for (;;) {
    std::array<pollfd, 2> waited{{{fd_, POLLIN, 0}, {interrupt_fd(), POLLIN, 0}}};
    const int ready = ::poll(waited.data(), waited.size(), -1);
    if (interrupted()) return Fill::kInterrupted;
    if (ready < 0) {
      if (errno == EINTR) continue;
      return Fill::kFailed;
    }
    const auto count = ::read(fd_, buffer_.data() + end_, buffer_.size() - end_);
    if (count > 0) {
      end_ += static_cast<std::size_t>(count);
      return Fill::kMore;
    }
    if (count == 0) return Fill::kEnd;
    if (errno != EINTR && errno != EAGAIN) return Fill::kFailed;
  }
}

}  // namespace polaiga::engine
