#include "telling/actions.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

#include "base/printable.h"

namespace polaiga::mqtt {
namespace {

using nlohmann::json;
using std::chrono::milliseconds;

constexpr milliseconds kIdle{1000};

// Why the engine has not done what it was asked for; nothing: it has, now or before.
std::optional<std::string> refusal_in(const std::string& line) {
  const json told = json::parse(line, nullptr, false);
  if (told.is_object()) {
    const auto error = told.find("error");
    if (error != told.end() && error->is_string()) return engine::printable(error->get<std::string>());
    if (told.contains("seq")) return std::nullopt;
  }
  return "The engine's answer is not understood, so it is not known whether the action was done; look at the alarms";
}

}  // namespace

void Actions::take(std::string_view payload) {
  if (waiting_.size() + answers_.size() >= kMostAnswers) {
    throw BadMessage("There are " + std::to_string(kMostAnswers) +
                     " actions whose answers the broker has not confirmed; send it again later");
  }
  Action action;
  try {
    action = parse_action(payload);
  } catch (const BadMessage& error) {
    if (error.id().empty()) throw;
    answer(error.id(), error.what());
    return;
  }
  if (const auto found = remembered_.find(action.id); found != remembered_.end()) {
    answer(action.id, Why(found->second));
    return;
  }
  const auto is_it = [&action](const Waiting& one) { return one.action.id == action.id; };
  if (std::ranges::any_of(waiting_, is_it)) return;
  if (action.expires <= tools_.clock.wall()) {
    answer(action.id, "It came after it had expired, by the clock of this controller");
  } else if (waiting_.size() >= kMostWaiting) {
    answer(action.id, std::to_string(kMostWaiting) + " actions wait for the engine already; do it again later");
  } else {
    waiting_.push_back({.action = std::move(action)});
  }
}

void Actions::answer(const std::string& id, const Why& why) {
  answers_.push_back({.payload = acted_payload(origin_, id, why)});
  if (!remembered_.insert_or_assign(id, why).second) return;
  order_.push_back(id);
  if (order_.size() <= kMostRemembered) return;
  remembered_.erase(order_.front());
  order_.pop_front();
}

void Actions::take(const Answer& answered) {
  is_asked_ = false;
  if (!answered.is_there) {
    silence_ = engine::printable(answered.text);
    ask_at_ = tools_.clock.steady() + kAgainAfter;
    return;
  }
  silence_.clear();
  answer(waiting_.front().action.id, refusal_in(answered.text));
  waiting_.pop_front();
}

// What the engine is being asked is not given up before its answer.
void Actions::drop_expired() {
  const engine::Moment now = tools_.clock.wall();
  auto kept = waiting_.begin() + (is_asked_ ? 1 : 0);
  for (auto at = kept; at != waiting_.end(); ++at) {
    if (at->action.expires > now) {
      if (kept != at) *kept = std::move(*at);
      ++kept;
      continue;
    }
    std::string why = "It expired before the engine answered";
    if (!silence_.empty()) why += " (" + silence_ + ")";
    if (at->was_asked) why += "; it is not known whether it was done";
    answer(at->action.id, why);
  }
  waiting_.erase(kept, waiting_.end());
}

void Actions::go_on() {
  if (is_asked_) {
    if (const auto answered = tools_.take_answer()) take(*answered);
  }
  drop_expired();
  if (is_asked_ || waiting_.empty() || tools_.clock.steady() < ask_at_) return;
  is_asked_ = true;
  waiting_.front().was_asked = true;
  tools_.ask(waiting_.front().action.request);
}

milliseconds Actions::until_next() const { return is_asked_ ? kLook : kIdle; }

void Actions::tell() {
  for (Unconfirmed& one : answers_) {
    if (one.id == 0) one.id = tools_.send({.topic = topic_, .payload = one.payload, .is_retained = false});
  }
}

bool Actions::confirmed(MessageId id) {
  const auto found = std::ranges::find(answers_, id, &Unconfirmed::id);
  if (found == answers_.end()) return false;
  answers_.erase(found);
  return true;
}

void Actions::again() {
  for (Unconfirmed& one : answers_) one.id = 0;
}

}  // namespace polaiga::mqtt
