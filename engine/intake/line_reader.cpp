#include "intake/line_reader.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "base/interrupt.h"

namespace polaiga::engine {

LineReader::Result LineReader::next(std::string_view& line) {
  const auto result_of = [](LineBuffer::Result found) {
    return found == LineBuffer::Result::kTooLong ? Result::kTooLong : Result::kLine;
  };
  for (;;) {
    if (const auto found = lines_.next(line); found != LineBuffer::Result::kNone) return result_of(found);
    switch (fill()) {
      case Fill::kMore:
        break;
      case Fill::kFailed:
        return Result::kFailed;
      case Fill::kInterrupted:
        return Result::kInterrupted;
      case Fill::kEnd:
        const auto found = lines_.rest(line);
        return found == LineBuffer::Result::kNone ? Result::kEnd : result_of(found);
    }
  }
}

LineReader::Fill LineReader::fill() {
  const std::span<char> room = lines_.room();
  for (;;) {
    std::array<pollfd, 2> waited{{{fd_, POLLIN, 0}, {interrupt_fd(), POLLIN, 0}}};
    const int ready = ::poll(waited.data(), waited.size(), -1);
    if (interrupted()) return Fill::kInterrupted;
    if (ready < 0) {
      if (errno == EINTR) continue;
      return Fill::kFailed;
    }
    const auto count = ::read(fd_, room.data(), room.size());
    if (count > 0) {
      lines_.added(static_cast<std::size_t>(count));
      return Fill::kMore;
    }
    if (count == 0) return Fill::kEnd;
    if (errno != EINTR && errno != EAGAIN) return Fill::kFailed;
  }
}

}  // namespace polaiga::engine
