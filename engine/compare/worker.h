// A process that runs the filters of one build of the library. It is separate, so that
// two builds can be loaded and that a crash of one ends only its process.
#pragma once

#include <polaiga/records.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "base/descriptor.h"
#include "compare/answer.h"

namespace polaiga::engine {

// An event for a filter. Processes send it to each other byte for byte. A batch is sent
// as the number of its questions, in 32 bits, and then the questions.
struct Question {
  std::uint32_t entity;  // index in entities()
  fe_sensor_event event;
};

// The program's hidden command that runs as such a process, and the byte that it sends
// when it is ready.
inline constexpr const char* kWorkerCommand = "diff-worker";
inline constexpr char kReady = '!';

// How a process ended.
struct Ending {
  bool by_signal = false;
  int number = 0;  // the number of the signal, or the exit status
};

class Worker {
 public:
  // Throws std::runtime_error, with the file's name, if the library cannot be used.
  Worker(const std::string& library, const std::string& tables, std::int32_t platform);
  ~Worker();
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  const std::string& library() const { return library_; }  // to be shown

  // Sends questions. All answers to the last batch must have been fetched before.
  void ask(std::span<const Question> batch) const;

  // Waits for the answer to the next question. Returns nothing if the process ended at
  // that question or if this program was interrupted.
  std::optional<LibraryAnswer> answer() const;

  // Tells the process that there are no more questions and waits until it has ended.
  Ending end();

 private:
  std::string library_;
  Descriptor questions_;
  Descriptor answers_;
  int pid_ = -1;
};

}  // namespace polaiga::engine
