#include "live/engine_link.h"

#include <chrono>
#include <exception>
#include <utility>

#include "control/control_client.h"

namespace polaiga::web {
namespace {

constexpr std::chrono::seconds kBetween{2};
constexpr std::chrono::seconds kPatience{2};

EngineSaid ask_status(const std::string& control) {
  try {
    return {.status = engine::ControlClient(control, kPatience).ask("{\"do\":\"status\"}\n"), .silence = {}};
  } catch (const std::exception& error) {
    return {.status = std::nullopt, .silence = error.what()};
  }
}

}  // namespace

EngineLink::EngineLink(std::string control)
    : control_(std::move(control)), said_(ask_status(control_)), thread_([this] { run(); }) {}

EngineLink::~EngineLink() {
  {
    const std::lock_guard lock(mutex_);
    is_over_ = true;
  }
  stops_.notify_all();
  thread_.join();
}

EngineSaid EngineLink::said() const {
  const std::lock_guard lock(mutex_);
  return said_;
}

bool EngineLink::is_running() const {
  const std::lock_guard lock(mutex_);
  return said_.status.has_value();
}

std::string EngineLink::ask(const std::string& request) const {
  return engine::ControlClient(control_).ask(request + "\n");
}

void EngineLink::run() {
  std::unique_lock lock(mutex_);
  while (!stops_.wait_for(lock, kBetween, [this] { return is_over_; })) {
    lock.unlock();
    EngineSaid now = ask_status(control_);
    lock.lock();
    const bool has_changed = now.status.has_value() != said_.status.has_value();
    said_ = std::move(now);
    lock.unlock();
    if (has_changed) changes_.notify();
    lock.lock();
  }
}

}  // namespace polaiga::web
