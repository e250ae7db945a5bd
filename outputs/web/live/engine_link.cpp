#include "live/engine_link.h"

#include <exception>

#include "control/control_client.h"

namespace polaiga::web {
namespace {

constexpr std::chrono::seconds kFresh{1};
constexpr std::chrono::seconds kPatience{2};

}  // namespace

std::optional<std::string> EngineLink::status() {
  const std::lock_guard lock(mutex_);
  const auto now = std::chrono::steady_clock::now();
  if (asked_ != std::chrono::steady_clock::time_point() && now - asked_ < kFresh) return status_;
  try {
    status_ = engine::ControlClient(control_, kPatience).ask("{\"do\":\"status\"}\n");
    silence_.clear();
  } catch (const std::exception& error) {
    status_.reset();
    silence_ = error.what();
  }
  asked_ = std::chrono::steady_clock::now();
  return status_;
}

std::string EngineLink::silence() const {
  const std::lock_guard lock(mutex_);
  return silence_;
}

}  // namespace polaiga::web
