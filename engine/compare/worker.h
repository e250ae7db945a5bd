// A process of its own that runs the filters of one build of the library.
#pragma once

#include <polaiga/records.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "base/descriptor.h"
#include "compare/answer.h"

namespace polaiga::engine {

// An event for a filter, passed between processes as it is. A batch of them is
// their number, in 32 bits, and then they themselves.
struct Question {
  std::uint32_t entity;  // index in entities()
  fe_sensor_event event;
};

// The command of the program that is such a process, hidden from its users, and
// what it says when it is ready.
inline constexpr const char* kWorkerCommand = "diff-worker";
inline constexpr char kReady = '!';

// How a process ended.
struct Ending {
  bool by_signal = false;
  int number = 0;  // of the signal, or the exit status
};

class Worker {
 public:
  // Throws std::runtime_error, with the file's name, when it cannot be used.
  Worker(const std::string& library, const std::string& tables, std::int32_t platform);
  ~Worker();
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  const std::string& library() const { return library_; }  // for people

  // All answers must have been fetched before the next batch.
  void ask(std::span<const Question> batch) const;

  // In the order of the questions, each as soon as it is known. Nothing when the
  // process has ended at that question, or this program was interrupted.
  std::optional<LibraryAnswer> answer() const;

  // No more questions; waits until it has ended.
  Ending end();

 private:
  std::string library_;
  Descriptor questions_;
  Descriptor answers_;
  int pid_ = -1;
};

}  // namespace polaiga::engine
