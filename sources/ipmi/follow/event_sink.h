// Where events go.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>

namespace polaiga::ipmi {

class EventSink {
 public:
  virtual ~EventSink() = default;

  // Goes on sending, and never waits. `lines` are all events that are not acknowledged, in order; only the first
  // `sendable` of them may be sent. Returns how many of the first lines were acknowledged or refused since the last
  // call; the caller drops these.
  virtual std::size_t deliver(const std::deque<std::string>& lines, std::size_t sendable) = 0;

  // How many events were refused, and dropped.
  virtual std::uint64_t refused() const { return 0; }

  // What to poll, and for what, before deliver() is called again; -1: nothing.
  virtual int fd() const { return -1; }
  virtual short poll_events() const { return 0; }
  // After which time deliver() should be called in any case; nothing: no need.
  virtual std::optional<std::chrono::milliseconds> until_next() const { return std::nullopt; }
};

}  // namespace polaiga::ipmi
