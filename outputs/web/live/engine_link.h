// The engine, as its control socket knows it.
#pragma once

#include <chrono>
#include <mutex>
#include <optional>
#include <string>

#include "control/action_request.h"

namespace polaiga::web {

class EngineLink {
 public:
  explicit EngineLink(std::string control) : control_(std::move(control)) {}

  // What the engine says of how it is, as JSON; asked at most once a second. Nothing: it does not answer.
  std::optional<std::string> status();

  // Why it does not; a sentence.
  std::string silence() const;

  // Throws std::runtime_error with the reason when the action is refused or the engine cannot be reached.
  engine::ActionDone act(const engine::ActionRequestLine& action) const { return action.send(control_); }

 private:
  std::string control_;
  mutable std::mutex mutex_;
  std::chrono::steady_clock::time_point asked_{};
  std::optional<std::string> status_;
  std::string silence_;
};

}  // namespace polaiga::web
