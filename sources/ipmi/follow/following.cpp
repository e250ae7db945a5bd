#include "follow/following.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "base/printable.h"
#include "follow/log_fullness.h"
#include "follow/outgoing_event.h"

namespace polaiga::ipmi {
namespace {

using engine::Priority;

}  // namespace

Following::Following(State& state, Outside outside, bool with_history)
    : state_(state),
      outside_(std::move(outside)),
      with_history_(with_history),
      log_(state.position, outside_.new_epoch,
           [this](const std::string& text) { outside_.tell(Priority::kWarning, text); }),
      levels_(state, [this](const std::string& text) { outside_.tell(Priority::kNotice, text); }) {
  levels_.add_own(fullness_sensor());
}

void Following::add(const std::string& id, const Target& target, const Step& step, std::optional<engine::Moment> time) {
  state_.pending.push_back(event_line(id, target, step, time));
}

// For what no record of the log says. All that is sent with one such function has one number.
SensorLevels::Send Following::send_reading() {
  return [this, number = std::uint64_t{0}, step_number = 0](const Target& target, const Step& step) mutable {
    if (number == 0) number = ++state_.readings;
    const std::string id = reading_event_id(state_.position.epoch, number, ++step_number);
    add(id, target, step, std::nullopt);
  };
}

void Following::use_rows(const SensorLevels::Rows& rows) {
  levels_.use_rows(rows, send_reading());
  next_state_ = 0;
  wants_all_states_ = true;
}

void Following::begin(Controller& controller) {
  const auto guid = controller.guid();
  // Until the place in the log is known there is no epoch, which ids of events need.
  if (!log_.has_begun()) log_.begin(controller, with_history_);
  if (guid && state_.guid && *guid != *state_.guid) {
    outside_.tell(
        Priority::kWarning,
        "another controller answers, as its GUID says; its log and all its sensors are read anew. Faults of which only "
        "log records tell stay until a record ends them, or until you close them (polaiga close)");
    log_.distrust();
    repository_.reset();
    state_.log_wraps = false;
  }
  if (guid) state_.guid = guid;
  check_sensors(controller);
  next_state_ = 0;
  wants_all_states_ = true;
}

void Following::check_sensors(Controller& controller) {
  const RepositoryInfo now = controller.repository_info();
  if (repository_ != now) read_sensors(controller, now);
}

void Following::read_sensors(Controller& controller, const RepositoryInfo& repository) {
  std::size_t complaints = 0;
  auto sensors = controller.sensors([&](const std::string& complaint) {
    ++complaints;
    outside_.tell(Priority::kWarning, complaint);
  });
  const bool has_changed = repository_.has_value();
  repository_ = repository;
  next_state_ = 0;
  wants_all_states_ = true;
  if (sensors.empty() && !levels_.described().empty()) {
    outside_.tell(
        Priority::kWarning,
        "the controller's SDR repository has no sensors any more; those of before are kept until it has some");
    return;
  }
  levels_.use_sensors(std::move(sensors), complaints == 0, send_reading());
  const std::size_t all = levels_.described().size();
  const std::size_t without = levels_.without_row();
  outside_.tell(Priority::kInfo, std::string(has_changed ? "the SDR repository has changed: " : "") +
                                     "the controller has " + std::to_string(all) +
                                     " sensors, and the mapping has rows for " + std::to_string(all - without) +
                                     (without > 0 ? "; --check lists the others" : ""));
}

bool Following::read_log(Controller& controller) {
  const LogInfo info = controller.log_info();
  const LogBatch batch = log_.read(controller, info, kMostAtOnce);
  for (const NewRecord& record : batch.records) apply(record);
  watch_fullness(info, batch);
  if (batch.has_gap || batch.has_restarted) {
    next_state_ = 0;
    wants_all_states_ = true;
  }
  return batch.has_more;
}

// A clock that is ahead would give the history times that are yet to come. A day is left for time zones: many
// controllers count local time.
std::optional<engine::Moment> Following::believable(std::optional<engine::Moment> time) const {
  constexpr engine::Moment kDay = 86'400;
  return time && *time <= outside_.clock.wall() + kDay ? time : std::nullopt;
}

void Following::apply(const NewRecord& record) {
  if (!record.record.event) return;
  const auto time = believable(record.record.time);
  int number = 0;
  levels_.record(*record.record.event, [&](const Target& target, const Step& step) {
    add(record_event_id(record.epoch, record.record.bytes, ++number), target, step, time);
  });
}

void Following::watch_fullness(const LogInfo& info, const LogBatch& batch) {
  // A log that takes records although it was full when it had been read to its end is a ring.
  const bool is_full_now = is_full(info) && !info.has_overflowed;
  if (is_full_now && was_full_ && !batch.records.empty()) state_.log_wraps = true;
  if (!is_full(info)) state_.log_wraps = false;
  was_full_ = is_full_now && !batch.has_more;
  levels_.reading(fullness_sensor(), fullness(info, state_.log_wraps), send_reading());
}

bool Following::read_states(Controller& controller, std::size_t count) {
  const auto send = send_reading();
  const auto& sensors = levels_.readable();
  for (; count > 0 && next_state_ < sensors.size(); --count, ++next_state_) {
    const Sensor& sensor = sensors[next_state_];
    if (const auto state = controller.state(sensor)) levels_.reading(sensor, *state, send);
  }
  if (next_state_ < sensors.size()) return false;
  next_state_ = 0;
  wants_all_states_ = false;
  return true;
}

}  // namespace polaiga::ipmi
