// What a service manager is told, as sd_notify(3) describes it; without one, nobody is told. The engine does not wait
// for a manager that is slow to listen: what it does not take at once is told again later.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <chrono>
#include <optional>
#include <string>

#include "base/clock.h"
#include "base/descriptor.h"

namespace polaiga::engine {

class ServiceManager {
 public:
  // The clock must outlive this.
  explicit ServiceManager(const Clock& clock);

  void ready(const std::string& status);
  void reloading();
  void stopping();
  void status(const std::string& status);  // passed on when it is new, once a second at most

  // Tells that the program is alive when it is time to, and what was not taken before.
  void tick();
  // Until there is something to tell; none when nobody watches and all is told.
  std::optional<std::chrono::milliseconds> until_tick() const;

 private:
  bool send(const std::string& text);
  void tell(const std::string& text);

  const Clock& clock_;
  Descriptor socket_;  // closed: there is no service manager
  sockaddr_un address_ = {};
  socklen_t address_size_ = 0;
  std::string untold_;  // which it did not take yet
  std::optional<std::chrono::microseconds> period_;
  Clock::Steady due_;
  std::string told_;
  Clock::Steady told_at_{};
  bool late_ = false;  // a status waits for its time
};

}  // namespace polaiga::engine
