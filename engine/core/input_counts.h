// How many inputs a recorder has taken, and what they did; for the status of the engine.
#pragma once

#include <array>
#include <cstdint>

#include "ledger/batch.h"
#include "model/change.h"
#include "model/operator_action.h"

namespace polaiga::engine {

struct InputCounts {
  std::uint64_t events = 0;
  std::array<std::uint64_t, kActionKinds> actions{};  // by their kinds, those of the engine itself, too
  std::uint64_t duplicates = 0;                       // that came under an id that was taken before; none of the others
  std::array<std::uint64_t, kChangeKinds> changes{};  // by their kinds

  void add(const RecordedInput& input) {
    ++(input.action ? actions.at(static_cast<std::size_t>(input.action->kind)) : events);
    for (const Change& change : input.changes) ++changes.at(static_cast<std::size_t>(change.kind));
  }
};

}  // namespace polaiga::engine
