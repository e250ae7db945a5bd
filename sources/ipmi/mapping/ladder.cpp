#include "mapping/ladder.h"

#include <algorithm>
#include <cstddef>

namespace polaiga::ipmi {
namespace {

bool holds(const Condition& condition, const Bits& bits) {
  const unsigned bit = 1U << condition.offset;
  if ((bits.known & bit) == 0) return false;
  if (((bits.asserted & bit) != 0) != condition.is_bad_when_set) return false;
  return !condition.event_data_3 || condition.event_data_3 == bits.event_data_3;
}

}  // namespace

int Ladder::level(const Bits& bits) const {
  const auto is_on = [&bits](const Rung& rung) {
    return std::ranges::any_of(rung.when, [&bits](const Condition& condition) { return holds(condition, bits); });
  };
  int level = static_cast<int>(rungs.size());
  while (level > 0 && !is_on(rungs[static_cast<std::size_t>(level) - 1])) --level;
  return level;
}

std::vector<Step> Ladder::steps(int from, int to) const {
  // A state file may have a level of a ladder that was longer.
  const int top = static_cast<int>(rungs.size());
  from = std::clamp(from, 0, top);
  to = std::clamp(to, 0, top);
  std::vector<Step> steps;
  const auto rung = [this](int level) -> const Rung& { return rungs[static_cast<std::size_t>(level) - 1]; };
  const auto add = [&steps](const std::vector<Step>& some) { steps.insert(steps.end(), some.begin(), some.end()); };
  if (is_choice && from != to) {
    add(to == 0 ? rung(from).down : rung(to).up);
    return steps;
  }
  for (; from < to; ++from) add(rung(from + 1).up);
  for (; from > to; --from) add(rung(from).down);
  return steps;
}

}  // namespace polaiga::ipmi
