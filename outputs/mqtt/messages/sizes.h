// How long messages may be.
#pragma once

#include <cstddef>

namespace polaiga::mqtt {

// Of those that are sent.
inline constexpr std::size_t kMostPayloadBytes = std::size_t{64} * 1024;

}  // namespace polaiga::mqtt
