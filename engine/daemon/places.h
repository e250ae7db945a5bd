// Who of the clients is served when there are more of them than places. No client, and no user with many of them, can
// keep all others out:
//   - A place that is free goes to the user who has the fewest.
//   - A user is entitled to as many places as others have, up to a quarter of all. When a client of his waits and he
//     has fewer, the user with the most places gives one up.
//   - Beyond that, a client gives its place up when it has sent no whole line for some time, and others wait.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <optional>
#include <span>

#include "base/clock.h"

namespace polaiga::engine {

// A client that has a place.
struct Served {
  uid_t user = 0;
  Clock::Steady heard{};  // when its last whole line was taken, or when it came
};

// Which of those who wait gets the next place. `waiting` has their users in the order in which they came, and is not
// empty.
std::size_t next_served(std::span<const uid_t> waiting, std::span<const Served> served);

// Which of those who are served, all places being taken, has to leave now for a client of this user; nothing: none.
std::optional<std::size_t> who_leaves(uid_t user, std::span<const Served> served, Clock::Steady now,
                                      Clock::Steady idle_within);

// Which of those who wait is turned away when too many do: the last one of the user who has the most of them.
std::size_t turned_away(std::span<const uid_t> waiting);

}  // namespace polaiga::engine
