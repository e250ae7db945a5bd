// One controller and one engine: asks the first, saves what is to be told, and tells the second.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "base/clock.h"
#include "base/messages.h"
#include "controller/controller.h"
#include "controller/session.h"
#include "follow/event_sink.h"
#include "follow/following.h"
#include "follow/state.h"
#include "follow/state_file.h"

namespace polaiga::ipmi {

class Adapter {
 public:
  // While so many events wait for the engine, the controller is not asked: its log keeps what comes.
  static constexpr std::size_t kMostPending = 1500;
  static constexpr std::chrono::seconds kStatesWithin{60};
  static constexpr std::chrono::seconds kFirstPause{1};
  static constexpr std::chrono::seconds kLongestPause{60};
  static constexpr std::chrono::seconds kSaveAgain{1};

  struct Parts {
    // Begins a session. Throws ControllerGone and ControllerRefuses.
    std::function<std::unique_ptr<Session>()> open;
    StateStore& store;
    EventSink& sink;
    const engine::Clock& clock;
    Following::Tell tell;
    std::function<std::uint64_t()> random;
  };
  struct How {
    std::chrono::seconds poll{2};
    bool with_history = false;
  };

  // The parts must outlive this.
  Adapter(State state, Parts parts, How how);
  Adapter(const Adapter&) = delete;
  Adapter& operator=(const Adapter&) = delete;

  // Which rows take a sensor, from now on.
  void use_rows(const SensorLevels::Rows& rows);

  // Does what is due. Throws ControllerRefuses.
  void go_on();
  // Saves what is not saved yet, as far as that is possible.
  void end() { save(); }
  // Until something is due. The sink's descriptor is to be polled, too.
  std::chrono::milliseconds until_next() const;

  // The log was read to its end, and all states were; and the engine has acknowledged all that came of it.
  bool is_done() const;
  // The controller cannot be asked.
  bool has_lost_controller() const { return is_gone_told_; }
  // There is nothing to do but to save, or to tell the engine.
  bool waits_for_engine() const;
  std::size_t waiting() const { return state_.pending.size(); }  // events
  std::string status() const;

  const State& state() const { return state_; }

 private:
  using Steady = engine::Clock::Steady;

  bool must_save() const;
  bool save();
  void deliver();
  void ask_controller();
  void connect();
  void lose(const std::string& why);
  void read();
  void read_states();

  State state_;
  State saved_;
  Parts parts_;
  How how_;
  Following following_;
  std::size_t sendable_;  // so many of the first events that wait are saved

  std::unique_ptr<Session> session_;
  std::optional<Controller> controller_;
  Steady connect_at_{};
  std::chrono::milliseconds pause_{0};
  bool is_gone_told_ = false;
  Steady read_at_{};
  Steady check_sensors_at_{};
  bool has_more_ = false;  // the log was not read to its end

  bool is_changed_ = false;  // since it was saved, by more than acknowledgements
  bool is_full_told_ = false;
  Steady save_at_{};
};

}  // namespace polaiga::ipmi
