// The engine, as its control socket knows it.
#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include "live/notifier.h"

namespace polaiga::web {

// What the engine said of itself when it was asked last.
struct EngineSaid {
  std::optional<std::string> status;  // a JSON object; nothing: it does not answer
  std::string silence;                // why not; a sentence without its full stop
};

// Asks the engine every other second how it is, in a thread of its own.
class EngineLink {
 public:
  explicit EngineLink(std::string control);
  ~EngineLink();
  EngineLink(const EngineLink&) = delete;
  EngineLink& operator=(const EngineLink&) = delete;

  // It never waits for the engine.
  EngineSaid said() const;
  bool is_running() const;

  // Is called, in the thread of this, when the engine begins or ceases to answer.
  void on_change(std::function<void()> call) { changes_.set(std::move(call)); }

  // The engine's answer to a request, in one line. It may take as long as the engine takes. Throws std::runtime_error
  // when there is none.
  std::string ask(const std::string& request) const;

 private:
  void run();

  std::string control_;
  mutable std::mutex mutex_;
  std::condition_variable stops_;
  EngineSaid said_;
  Notifier changes_;
  bool is_over_ = false;
  std::thread thread_;
};

}  // namespace polaiga::web
