#include "publisher/engine_asker.h"

#include <exception>
#include <utility>

#include "control/control_client.h"

namespace polaiga::output {
namespace {

EngineAsker::Answer answer_to(const std::string& control, const std::string& request) {
  try {
    return {.is_there = true, .text = engine::ControlClient(control, EngineAsker::kPatience).ask(request + "\n")};
  } catch (const std::exception& error) {
    return {.is_there = false, .text = error.what()};
  }
}

}  // namespace

EngineAsker::EngineAsker(std::string control) : control_(std::move(control)), thread_([this] { run(); }) {}

EngineAsker::~EngineAsker() {
  {
    const std::lock_guard lock(mutex_);
    is_over_ = true;
  }
  changes_.notify_all();
  thread_.join();
}

void EngineAsker::ask(std::string request) {
  {
    const std::lock_guard lock(mutex_);
    request_ = std::move(request);
  }
  changes_.notify_all();
}

std::optional<EngineAsker::Answer> EngineAsker::take_answer() {
  const std::lock_guard lock(mutex_);
  return std::exchange(answer_, std::nullopt);
}

void EngineAsker::run() {
  std::unique_lock lock(mutex_);
  while (true) {
    changes_.wait(lock, [this] { return is_over_ || request_; });
    if (is_over_) return;
    const std::string request = *std::exchange(request_, std::nullopt);
    lock.unlock();
    Answer answer = answer_to(control_, request);
    lock.lock();
    answer_ = std::move(answer);
  }
}

}  // namespace polaiga::output
