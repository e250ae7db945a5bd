#include "daemon/places.h"

#include <algorithm>

namespace polaiga::engine {
namespace {

constexpr std::size_t kShare = 4;  // a user is entitled to a fourth of the places

std::size_t places_of(uid_t user, std::span<const Served> served) {
  return static_cast<std::size_t>(std::ranges::count(served, user, &Served::user));
}

std::size_t waiting_of(uid_t user, std::span<const uid_t> waiting) {
  return static_cast<std::size_t>(std::ranges::count(waiting, user));
}

// Of those that may leave, the one that has been silent for the longest time.
template <class May>
std::optional<std::size_t> most_silent(std::span<const Served> served, May may_leave) {
  std::optional<std::size_t> found;
  for (std::size_t i = 0; i < served.size(); ++i) {
    if (may_leave(served[i]) && (!found || served[i].heard < served[*found].heard)) found = i;
  }
  return found;
}

}  // namespace

std::size_t next_served(std::span<const uid_t> waiting, std::span<const Served> served) {
  const auto places = [&](uid_t user) { return places_of(user, served); };
  return static_cast<std::size_t>(std::ranges::min_element(waiting, {}, places) - waiting.begin());
}

std::optional<std::size_t> who_leaves(uid_t user, std::span<const Served> served, Clock::Steady now,
                                      Clock::Steady idle_within) {
  if (served.empty()) return std::nullopt;
  const auto places = [&](const Served& client) { return places_of(client.user, served); };
  const std::size_t own = places_of(user, served);
  const std::size_t most = places(*std::ranges::max_element(served, {}, places));
  if (own < std::max<std::size_t>(served.size() / kShare, 1) && most > own + 1) {
    return most_silent(served, [&](const Served& client) { return places(client) == most; });
  }
  // Nobody gives a place up for a user who has more of them already.
  return most_silent(served, [&](const Served& client) {
    return client.heard + idle_within <= now && (client.user == user || places(client) >= own);
  });
}

std::size_t turned_away(std::span<const uid_t> waiting) {
  const auto others = [&](uid_t user) { return waiting_of(user, waiting); };
  const auto last = std::ranges::max_element(waiting.rbegin(), waiting.rend(), {}, others);
  return static_cast<std::size_t>(waiting.rend() - last) - 1;
}

}  // namespace polaiga::engine
