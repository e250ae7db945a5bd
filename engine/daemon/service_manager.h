// What a service manager is told, by sd_notify(3); without one, nobody is told.
#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace polaiga::engine {

class ServiceManager {
 public:
  using Clock = std::chrono::steady_clock;

  ServiceManager();

  void ready(const std::string& status);
  static void reloading();
  static void stopping();
  void status(const std::string& status);  // passed on when it is new, once a second at most

  // Tells that the program is alive when it is time to.
  void tick();
  // Until there is something to tell; none when nobody watches and all is told.
  std::optional<std::chrono::milliseconds> until_tick() const;

 private:
  std::optional<std::chrono::microseconds> period_;
  Clock::time_point due_;
  std::string told_;
  Clock::time_point told_at_;
  bool late_ = false;  // a status waits for its time
};

}  // namespace polaiga::engine
