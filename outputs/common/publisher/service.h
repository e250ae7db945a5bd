// The frame of a publisher: signals, messages, the service manager, and the one place where it waits.
#pragma once

#include <poll.h>

#include <chrono>
#include <mutex>
#include <span>
#include <string>

#include "base/clock.h"
#include "base/messages.h"
#include "base/service_manager.h"
#include "base/signals.h"

namespace polaiga::output {

class Service {
 public:
  // `name` is the program's, as "polaiga-mqtt". A process has one object of this class. Throws std::system_error.
  explicit Service(const std::string& name);
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  const engine::Clock& clock() const { return clock_; }

  // A message for people. Any thread may say one.
  void say(engine::Priority priority, const std::string& text);

  // Tells the service manager that the program runs, and how it goes.
  void ready(const std::string& status);
  void status(const std::string& status) { manager_.status(status); }
  void reloading() { manager_.reloading(); }
  void stopping() { manager_.stopping(); }

  // Waits for a signal, for one of the descriptors, or until the time has passed. Those of `polled` are polled in
  // place.
  void wait(std::span<pollfd> polled, std::chrono::milliseconds until);

  // The program was asked to end, by SIGTERM or SIGINT. It has ten seconds for that.
  bool must_stop() const { return must_stop_; }
  // SIGHUP has come since the last call.
  bool take_reload();

 private:
  engine::SystemClock clock_;
  std::mutex saying_;
  engine::Messages messages_;
  engine::ServiceManager manager_;
  const std::string last_line_;
  engine::Signals signals_;
  bool must_stop_ = false;
  bool must_reload_ = false;
};

}  // namespace polaiga::output
