#include "collecting/pace.h"

#include <algorithm>

namespace polaiga::fleet {

double Pace::left_at(const Part& part, Steady now) {
  const std::chrono::duration<double> passed = now - part.at;
  return std::min(kBurst, part.left + passed.count() * kEachSecond);
}

void Pace::forget_whole(Steady now) {
  std::erase_if(known_,
                [now](const auto& one) { return left_at(one.second, now) >= kBurst && one.second.rests_until <= now; });
}

void Pace::rest(const Sender& sender, std::chrono::seconds how_long) {
  const Steady now = clock_.steady();
  known_.try_emplace(sender, Part{.at = now}).first->second.rests_until = now + how_long;
}

bool Pace::rests(const Sender& sender) const {
  const auto part = known_.find(sender);
  return part != known_.end() && clock_.steady() < part->second.rests_until;
}

bool Pace::takes(const Sender& sender) {
  const Steady now = clock_.steady();
  if (known_.size() >= kMostKnown && !known_.contains(sender)) forget_whole(now);
  Part& part = known_.try_emplace(sender, Part{.at = now}).first->second;
  part.left = left_at(part, now);
  part.at = now;
  if (part.left < 1 || now < part.rests_until) return false;
  part.left -= 1;
  return true;
}

}  // namespace polaiga::fleet
