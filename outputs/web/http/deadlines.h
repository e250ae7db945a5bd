// Ends connections that take too long over a request.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <unordered_map>

namespace polaiga::web {

// A thread that shuts down sockets whose time is over. Whoever serves them notices it as if the peer had hung up.
class Deadlines {
 public:
  using Time = std::chrono::steady_clock::time_point;

  Deadlines();
  ~Deadlines();
  Deadlines(const Deadlines&) = delete;
  Deadlines& operator=(const Deadlines&) = delete;

  // The connection has this long from now on, whatever it had before. The descriptor must stay open until forget().
  void set(int fd, std::chrono::milliseconds time);
  // The connection has no deadline until the next set().
  void lift(int fd);
  void forget(int fd);

 private:
  void run();

  std::mutex mutex_;
  std::condition_variable changed_;
  std::unordered_map<int, Time> times_;  // Time::max(): none
  bool is_over_ = false;
  std::thread thread_;
};

}  // namespace polaiga::web
