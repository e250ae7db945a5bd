// Ends a connection on which an answer does not come in time. libpq itself waits without an end for a server that keeps
// the connection and says nothing.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace polaiga::fleet {

class AnswerDeadline {
 public:
  AnswerDeadline() = default;
  AnswerDeadline(const AnswerDeadline&) = delete;
  AnswerDeadline& operator=(const AnswerDeadline&) = delete;
  ~AnswerDeadline();

  // As long as it lives, the socket is watched. After `within` it is shut down, so that whoever waits for it goes on
  // with an error.
  class Watch {
   public:
    Watch(AnswerDeadline& deadline, int socket, std::chrono::seconds within) : deadline_(deadline) {
      deadline_.begin(socket, within);
    }
    ~Watch() { deadline_.end(); }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

   private:
    AnswerDeadline& deadline_;
  };

  // Whether the watch that began last came to its end.
  bool is_over() const;

 private:
  void begin(int socket, std::chrono::seconds within);
  void end();
  void run();

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::thread thread_;  // runs from the first watch on
  int socket_ = -1;     // -1: none is watched
  std::chrono::steady_clock::time_point until_;
  bool is_over_ = false;
  bool is_ending_ = false;
};

}  // namespace polaiga::fleet
