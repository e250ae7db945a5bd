#include "mapping/ladder.h"

#include <cstddef>

namespace polaiga::ipmi {
namespace {

bool is_on(const Rung& rung, const Bits& bits) {
  const bool is_set = ((static_cast<unsigned>(bits.asserted) >> rung.offset) & 1U) != 0;
  if (is_set != rung.is_bad_when_set) return false;
  return !rung.event_data_3 || rung.event_data_3 == bits.event_data_3;
}

}  // namespace

int Ladder::level(const Bits& bits) const {
  int level = static_cast<int>(rungs.size());
  while (level > 0 && !is_on(rungs[static_cast<std::size_t>(level) - 1], bits)) --level;
  return level;
}

std::vector<Step> Ladder::steps(int from, int to) const {
  std::vector<Step> steps;
  const auto add = [&steps](const std::vector<Step>& some) { steps.insert(steps.end(), some.begin(), some.end()); };
  for (; from < to; ++from) add(rungs[static_cast<std::size_t>(from)].up);
  for (; from > to; --from) add(rungs[static_cast<std::size_t>(from) - 1].down);
  return steps;
}

}  // namespace polaiga::ipmi
