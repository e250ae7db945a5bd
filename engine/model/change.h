// The numbers of inputs, and what an input can do to a fault.
#pragma once

#include <cstdint>
#include <string_view>

namespace polaiga::engine {

using Sequence = std::int64_t;  // the number of an input; the first is 1

// What a record did to its own fault.
enum class Change {
  kRaised,        // it is active from now on
  kRefreshed,     // it was active and still is
  kCleared,       // it is no longer active
  kAlreadyClear,  // it was not active and still is not
};

// The word that reports show: raised, refreshed, cleared or already_clear.
std::string_view change_word(Change change);

}  // namespace polaiga::engine
