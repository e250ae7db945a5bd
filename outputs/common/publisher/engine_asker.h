// Asks the engine one thing at a time, in a thread of its own, so that nobody waits for the engine.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace polaiga::output {

class EngineAsker {
 public:
  static constexpr std::chrono::seconds kPatience{2};  // for an answer

  struct Answer {
    bool is_there = false;  // the engine has answered
    std::string text;       // its line or, if it has not, why there is none: a sentence without its full stop
  };

  // `control` is the path of the engine's control socket.
  explicit EngineAsker(std::string control);
  // Waits for the answer that is under way, up to the patience.
  ~EngineAsker();
  EngineAsker(const EngineAsker&) = delete;
  EngineAsker& operator=(const EngineAsker&) = delete;

  // Sends a request of one line, given without its end. The answer to the one before must have been taken.
  void ask(std::string request);
  // Nothing: there is none yet.
  std::optional<Answer> take_answer();

 private:
  void run();

  std::string control_;
  std::mutex mutex_;
  std::condition_variable changes_;
  std::optional<std::string> request_;
  std::optional<Answer> answer_;
  bool is_over_ = false;
  std::thread thread_;
};

}  // namespace polaiga::output
