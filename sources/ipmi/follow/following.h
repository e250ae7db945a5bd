// Follows one controller: reads its log and its sensors, and makes the events that the engine is to be told.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "base/clock.h"
#include "base/messages.h"
#include "controller/controller.h"
#include "follow/log_follower.h"
#include "follow/sensor_levels.h"
#include "follow/state.h"

namespace polaiga::ipmi {

class Following {
 public:
  using Tell = std::function<void(engine::Priority, const std::string&)>;

  static constexpr std::size_t kMostAtOnce = 256;  // records

  struct Outside {
    const engine::Clock& clock;
    LogFollower::NewEpoch new_epoch;
    Tell tell;
  };

  // The state and the clock must outlive this. Events are added to what is pending in the state.
  Following(State& state, Outside outside, bool with_history);

  void use_rows(const SensorLevels::Rows& rows);

  // A session has begun. Looks whether it is the same controller, with the same sensors.
  void begin(Controller& controller);
  // Reads on in the log. Answers whether there is more to read at once.
  bool read_log(Controller& controller);
  // Looks whether the SDR repository has changed, and reads it anew if so.
  void check_sensors(Controller& controller);
  // Reads the present state of so many sensors, on from where it ended before. Answers whether that was the last one.
  bool read_states(Controller& controller, std::size_t count);
  std::size_t readable() const { return levels_.readable().size(); }

  // Whether all states should be read now, and not a few at a time: at the start, and after a gap in the log.
  bool wants_all_states() const { return wants_all_states_; }

  const SensorLevels& levels() const { return levels_; }

 private:
  SensorLevels::Send send_reading();
  void add(const std::string& id, const Target& target, const Step& step, std::optional<engine::Moment> time);
  void apply(const NewRecord& record);
  std::optional<engine::Moment> believable(std::optional<engine::Moment> time) const;
  void watch_fullness(const LogInfo& info, const LogBatch& batch);
  void read_sensors(Controller& controller, const RepositoryInfo& repository);

  State& state_;
  Outside outside_;
  bool with_history_;
  LogFollower log_;
  SensorLevels levels_;
  std::optional<RepositoryInfo> repository_;
  std::size_t next_state_ = 0;
  bool wants_all_states_ = true;
  bool was_full_ = false;  // the log, when it had been read to its end
};

}  // namespace polaiga::ipmi
