#include "adapter/adapter.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace polaiga::ipmi {
namespace {

using engine::Priority;
using std::chrono::milliseconds;

// How many states are read at once, before what came of them is saved and sent.
constexpr std::size_t kStatesAtOnce = 32;

std::string counted(std::size_t number, const std::string& what) {
  return std::to_string(number) + " " + what + (number == 1 ? "" : "s");
}

}  // namespace

Adapter::Adapter(State state, Parts parts, How how)
    : state_(std::move(state)),
      saved_(state_),
      parts_(std::move(parts)),
      how_(how),
      following_(state_,
                 {.clock = parts_.clock, .new_epoch = [this] { return parts_.random() | 1U; }, .tell = parts_.tell},
                 how.with_history),
      sendable_(state_.pending.size()),
      connect_at_(parts_.clock.steady()) {}

void Adapter::use_rows(const SensorLevels::Rows& rows) {
  following_.use_rows(rows);
  is_changed_ = true;
}

// When no event waits any more, the acknowledgements are saved, too. Until then a sudden end only has the events sent
// again, and the engine recognises them by their ids.
bool Adapter::must_save() const {
  const bool has_acknowledged_all = state_.pending.empty() && !saved_.pending.empty();
  return has_acknowledged_all || (is_changed_ && state_ != saved_);
}

// Answers whether all that is known is saved. An event is sent only after it was saved: else, after a sudden end, it
// would be sent again under another id.
bool Adapter::save() {
  if (!must_save()) {
    is_changed_ = false;
    return true;
  }
  if (parts_.clock.steady() < save_at_) return false;
  try {
    parts_.store.save(state_);
  } catch (const std::runtime_error& error) {
    save_at_ = parts_.clock.steady() + kSaveAgain;
    if (!std::exchange(is_full_told_, true)) {
      parts_.tell(Priority::kError, std::string("the state cannot be saved: ") + error.what() +
                                        "; nothing new is sent and the controller is not asked until it can be, which "
                                        "is tried every second");
    }
    return false;
  }
  if (std::exchange(is_full_told_, false)) parts_.tell(Priority::kInfo, "the state is saved again");
  saved_ = state_;
  sendable_ = state_.pending.size();
  is_changed_ = false;
  return true;
}

void Adapter::deliver() {
  while (const std::size_t done = parts_.sink.deliver(state_.pending, sendable_)) {
    state_.pending.erase(state_.pending.begin(), state_.pending.begin() + static_cast<std::ptrdiff_t>(done));
    sendable_ -= done;
  }
}

void Adapter::go_on() {
  if (!save()) {
    deliver();
    return;
  }
  deliver();
  if (state_.pending.size() < kMostPending) ask_controller();
  if (save()) deliver();
  save();
}

void Adapter::lose(const std::string& why) {
  controller_.reset();
  session_.reset();
  has_more_ = false;
  pause_ = pause_.count() == 0 ? milliseconds(kFirstPause) : std::min(2 * pause_, milliseconds(kLongestPause));
  // Many adapters should not come back to a network at once.
  const auto jitter = milliseconds(static_cast<std::int64_t>(parts_.random() % 256U) * pause_.count() / 1024);
  connect_at_ = parts_.clock.steady() + pause_ - jitter;
  if (std::exchange(is_gone_told_, true)) return;
  parts_.tell(Priority::kWarning, "the controller cannot be asked: " + why +
                                      "; it is tried again, at least every minute. Its faults stay as they are");
}

void Adapter::connect() {
  session_ = parts_.open();
  controller_.emplace(*session_);
  following_.begin(*controller_);
  read_at_ = parts_.clock.steady();
  check_sensors_at_ = read_at_ + kStatesWithin;
}

void Adapter::ask_controller() {
  if (parts_.clock.steady() < (controller_ ? read_at_ : connect_at_)) return;
  is_changed_ = true;
  try {
    if (!controller_) connect();
    read();
  } catch (const ControllerGone& error) {
    lose(error.what());
  }
}

void Adapter::read_states() {
  if (following_.wants_all_states()) {
    following_.read_states(*controller_, kStatesAtOnce);
    return;
  }
  const auto steps = std::max<std::int64_t>(1, kStatesWithin / how_.poll);
  const auto count = (following_.readable() + static_cast<std::size_t>(steps) - 1) / static_cast<std::size_t>(steps);
  following_.read_states(*controller_, count);
}

void Adapter::read() {
  const Steady now = parts_.clock.steady();
  if (now >= check_sensors_at_) {
    following_.check_sensors(*controller_);
    check_sensors_at_ = now + kStatesWithin;
  }
  has_more_ = following_.read_log(*controller_);
  // The states are those of now, so all records come before them.
  if (!has_more_) read_states();
  const bool is_in_haste = has_more_ || following_.wants_all_states();
  read_at_ = is_in_haste ? now : now + how_.poll;
  pause_ = milliseconds(0);
  if (std::exchange(is_gone_told_, false)) parts_.tell(Priority::kInfo, "the controller answers again");
}

milliseconds Adapter::until_next() const {
  const Steady now = parts_.clock.steady();
  const bool needs_saving = must_save();
  Steady next = needs_saving ? save_at_ : controller_ ? read_at_ : connect_at_;
  if (!needs_saving && state_.pending.size() >= kMostPending) next = now + std::chrono::hours(1);
  auto until = std::max(milliseconds(0), std::chrono::ceil<milliseconds>(next - now));
  if (const auto sink = parts_.sink.until_next()) until = std::min(until, *sink);
  return until;
}

bool Adapter::is_done() const {
  return controller_ && !has_more_ && !following_.wants_all_states() && state_.pending.empty() && saved_ == state_;
}

bool Adapter::waits_for_engine() const {
  const bool is_read = controller_ && !has_more_ && !following_.wants_all_states();
  return is_read || saved_ != state_ || state_.pending.size() >= kMostPending;
}

std::string Adapter::status() const {
  std::string text = is_full_told_   ? "the state cannot be saved"
                     : is_gone_told_ ? "the controller cannot be asked"
                     : controller_   ? "following " + counted(following_.levels().described().size(), "sensor")
                                     : "connecting to the controller";
  if (!state_.pending.empty()) text += "; " + counted(state_.pending.size(), "event") + " to be told to the engine";
  return text;
}

}  // namespace polaiga::ipmi
