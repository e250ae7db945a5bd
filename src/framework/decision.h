// Decision tables: rules as data, searched for the one that an event falls
// under, and proofs that the compiler makes about every table.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>

namespace polaiga {

// Event offsets: one, a range, or all outside a range.
struct Offsets {
  std::int32_t first;
  std::int32_t last;
  bool inside = true;

  constexpr Offsets(std::int32_t only) : first(only), last(only) {}
  constexpr Offsets(std::int32_t from, std::int32_t to, bool within = true) : first(from), last(to), inside(within) {}
  constexpr bool hold(std::int32_t offset) const { return (first <= offset && offset <= last) == inside; }
};
inline constexpr Offsets kAnyOffset{std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()};
constexpr Offsets outside(std::int32_t first, std::int32_t last) { return {first, last, false}; }

// Event states as a set: a bit for each of 0 to 6, one for all others.
using States = std::uint8_t;
constexpr States state_bit(std::int32_t state) {
  return static_cast<States>(1U << (state >= 0 && state <= 6 ? state : 7));
}
template <class... S>
constexpr States only(S... states) {
  return static_cast<States>((state_bit(states) | ...));
}
template <class... S>
constexpr States except(S... states) {
  return static_cast<States>(~only(states...));
}
inline constexpr States kDeasserted = only(0);
inline constexpr States kAsserted = except(0);
inline constexpr States kAnyState = 0xFF;

// Groups of sensors as a set; each filter names its own bits.
using Sensors = std::uint8_t;
inline constexpr Sensors kAnySensor = 0xFF;
constexpr Sensors all_but(Sensors groups) { return static_cast<Sensors>(~unsigned{groups}); }

// Bits that a filter remembers; each filter names its own.
using Memory = std::uint16_t;

// What a rule is chosen by.
struct Situation {
  std::int32_t offset;
  std::int32_t state;
  Sensors sensors = kAnySensor;  // the groups that the sensor belongs to
  Memory memory = 0;
};

// The condition that every kind of rule begins with.
struct Condition {
  Offsets offsets = kAnyOffset;
  States states = kAnyState;
  Sensors sensors = kAnySensor;
  Memory all_of = 0;   // bits that must be remembered
  Memory none_of = 0;  // bits that must not be

  constexpr bool holds(const Situation& now) const {
    return offsets.hold(now.offset) && (states & state_bit(now.state)) != 0 && (sensors & now.sensors) != 0 &&
           (now.memory & all_of) == all_of && (now.memory & none_of) == 0;
  }
};

// The first rule that holds; null when the event is of no interest.
template <class Rule>
constexpr const Rule* decide(std::span<const Rule> rules, const Situation& now) {
  for (const Rule& rule : rules) {
    if (rule.when.holds(now)) return &rule;
  }
  return nullptr;
}

template <class Rule, std::size_t N>
constexpr const Rule* decide(const Rule (&rules)[N], const Situation& now) {
  return decide(std::span<const Rule>(rules), now);
}

// Whether two conditions can hold at once.
constexpr bool meet(const Condition& a, const Condition& b) {
  if ((a.states & b.states) == 0 || (a.sensors & b.sensors) == 0) return false;
  if ((a.all_of & b.none_of) != 0 || (b.all_of & a.none_of) != 0) return false;
  // Ranges that meet share one of their ends or a neighbour of one.
  for (const Offsets& range : {a.offsets, b.offsets}) {
    for (const std::int32_t end : {range.first, range.last}) {
      for (std::int64_t offset = std::int64_t{end} - 1; offset <= std::int64_t{end} + 1; ++offset) {
        if (offset != static_cast<std::int32_t>(offset)) continue;
        const auto at = static_cast<std::int32_t>(offset);
        if (a.offsets.hold(at) && b.offsets.hold(at)) return true;
      }
    }
  }
  return false;
}

// Proof that no event falls under two rules, so that their order means nothing.
template <class Rule, std::size_t N>
constexpr bool decides_once(const Rule (&rules)[N]) {
  for (std::size_t i = 0; i < N; ++i) {
    for (std::size_t j = i + 1; j < N; ++j) {
      if (meet(rules[i].when, rules[j].when)) return false;
    }
  }
  return true;
}

// Proof, for tables in which the first rule that holds counts, that no rule
// stands wholly behind one before it.
template <class Rule, std::size_t N>
constexpr bool each_can_hold(const Rule (&rules)[N]) {
  for (std::size_t i = 0; i < N; ++i) {
    for (std::size_t j = i + 1; j < N; ++j) {
      const Condition& before = rules[i].when;
      const Condition& after = rules[j].when;
      const bool wider = before.offsets.hold(after.offsets.first) && before.offsets.hold(after.offsets.last) &&
                         after.offsets.inside && before.offsets.inside;
      if (wider && (after.states & ~before.states) == 0 && (after.sensors & ~before.sensors) == 0 &&
          (before.all_of | before.none_of) == 0) {
        return false;
      }
    }
  }
  return true;
}

}  // namespace polaiga
