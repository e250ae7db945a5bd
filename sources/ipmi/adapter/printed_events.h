// Events as JSON Lines on standard output, in place of an engine.
#pragma once

#include "base/standard_output.h"
#include "follow/event_sink.h"

namespace polaiga::ipmi {

class PrintedEvents final : public EventSink {
 public:
  explicit PrintedEvents(engine::StandardOutput& output) : output_(output) {}

  // Throws engine::WriteError.
  std::size_t deliver(const std::deque<std::string>& lines, std::size_t sendable) override {
    for (std::size_t i = 0; i < sendable; ++i) output_.write(lines[i] + "\n");
    output_.flush();
    return sendable;
  }

 private:
  engine::StandardOutput& output_;
};

}  // namespace polaiga::ipmi
