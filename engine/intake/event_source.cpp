#include "intake/event_source.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include "base/interrupt.h"

namespace polaiga::engine {

EventSource::Result EventSource::next(EventLine& line) {
  std::string_view text;
  auto found = lines_.next(text);
  while (found == LineBuffer::Result::kNone) {
    switch (fill()) {
      case Fill::kMore:
        found = lines_.next(text);
        break;
      case Fill::kEnd:
        found = lines_.rest(text);
        if (found == LineBuffer::Result::kNone) return Result::kEnd;
        break;
      case Fill::kFailed:
        return Result::kFailed;
      case Fill::kInterrupted:
        return Result::kInterrupted;
    }
  }
  auto read = read_event_line(++number_, found, text);
  if (!read) return Result::kBlank;
  line = std::move(*read);
  return Result::kLine;
}

std::string EventSource::failure() const { return input_.name() + ": cannot read: " + std::strerror(error_); }

EventSource::Fill EventSource::fill() {
  const std::span<char> room = lines_.room();
  for (;;) {
    std::array<pollfd, 2> waited{{{input_.fd(), POLLIN, 0}, {interrupt_fd(), POLLIN, 0}}};
    const int ready = ::poll(waited.data(), waited.size(), -1);
    if (interrupted()) return Fill::kInterrupted;
    if (ready < 0 && errno == EINTR) continue;
    const auto count = ready < 0 ? -1 : ::read(input_.fd(), room.data(), room.size());
    if (count > 0) {
      lines_.added(static_cast<std::size_t>(count));
      return Fill::kMore;
    }
    if (count == 0) return Fill::kEnd;
    if (errno != EINTR && errno != EAGAIN) {
      error_ = errno;
      return Fill::kFailed;
    }
  }
}

}  // namespace polaiga::engine
