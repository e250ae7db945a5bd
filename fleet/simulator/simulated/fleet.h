// All the simulated controllers, and the connections of all of them in one thread.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "base/clock.h"
#include "base/descriptor.h"
#include "simulated/latencies.h"
#include "simulated/line.h"
#include "simulated/teller.h"

namespace polaiga::fleet {

class SimulatedFleet {
 public:
  struct Shape {
    std::vector<mqtt::BrokerAddress> brokers;
    mqtt::Settings settings;  // user, certificates and the kind of session
    std::size_t controllers = 0;
    std::size_t sites = 1;
    std::chrono::seconds heartbeat{30};
    engine::ChangeNumber kept = 0;
    double connect_rate = 0;  // a second
    std::uint64_t seed = 0;
  };

  struct Sums {
    SimulatedTeller::Counts counts;
    std::size_t online = 0;
    std::size_t waiting = 0;  // changes that were not acknowledged
    std::uint64_t reconnects = 0;
    std::size_t never_online = 0;
  };

  // The recording and the clock must outlive it.
  SimulatedFleet(const Recording& recording, const engine::Clock& clock, const Shape& shape);

  std::size_t size() const { return controllers_.size(); }
  const SimulatedTeller& teller(std::size_t controller) const { return controllers_[controller]->teller; }

  void make_change(std::size_t index);  // of a controller
  // Does what there is to do, and waits for more as long as this at most.
  void go_on(std::chrono::milliseconds most);
  void say_goodbye();
  // Whether nothing is on its way to a broker.
  bool is_quiet() const;
  void end();

  Sums sums() const;
  std::string last_problem() const;  // of one of them; empty: there was none
  // Is told of each change that was acknowledged, how long that took.
  std::function<void(std::chrono::nanoseconds)> on_latency = [](std::chrono::nanoseconds) {};

 private:
  struct Controller {
    Controller(SimulatedTeller::Name name, SimulatedLedger ledger, Line the_line, std::chrono::seconds heartbeat);

    Line line;
    SimulatedTeller teller;
    int watched = -1;  // the descriptor that epoll watches
    bool is_watched_to_write = false;
    bool is_due = false;  // it is to go on
  };

  SimulatedTeller::Now now() const;
  void connect_some();
  void take_time();
  void go_on_with(Controller& controller) const;
  void watch(std::size_t index);

  const engine::Clock& clock_;
  std::vector<std::unique_ptr<Controller>> controllers_;  // a line must stay where it is
  engine::Descriptor epoll_;
  double connect_rate_;
  engine::Clock::Steady began_;
  std::uint64_t attempts_ = 0;
  std::size_t next_to_connect_ = 0;
  engine::Clock::Steady ticked_{};
  std::vector<std::size_t> due_;
};

}  // namespace polaiga::fleet
