// Decision tables: rules as data, searched for the one that an event falls
// under, and proofs that the compiler makes about every table.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>

namespace polaiga {

// Event offsets: one, or a range. A range that ends before it begins wraps, and
// is all offsets but those between.
struct Offsets {
  std::int32_t first;
  std::uint32_t others;  // how many follow the first

  constexpr Offsets(std::int32_t only) : Offsets(only, only) {}
  constexpr Offsets(std::int32_t from, std::int32_t to)
      : first(from), others(static_cast<std::uint32_t>(to) - static_cast<std::uint32_t>(from)) {}
  constexpr bool hold(std::int32_t offset) const { return distance(offset) <= others; }
  constexpr bool operator==(const Offsets&) const = default;
  constexpr std::int32_t after() const {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(first) + others + 1);
  }
  constexpr bool hold(const Offsets& other) const {
    return std::uint64_t{distance(other.first)} + other.others <= others;
  }

 private:
  constexpr std::uint32_t distance(std::int32_t to) const {
    return static_cast<std::uint32_t>(to) - static_cast<std::uint32_t>(first);
  }
};
inline constexpr Offsets kAnyOffset{std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()};
constexpr Offsets outside(std::int32_t first, std::int32_t last) {  // a range that is not all
  return {static_cast<std::int32_t>(static_cast<std::uint32_t>(last) + 1),
          static_cast<std::int32_t>(static_cast<std::uint32_t>(first) - 1)};
}

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

// The same of a table that decides all: what no other rule holds for falls to the last.
template <class Rule>
constexpr const Rule& decide_any(std::span<const Rule> rules, const Situation& now) {
  for (const Rule& rule : rules.first(rules.size() - 1)) {
    if (rule.when.holds(now)) return rule;
  }
  return rules.back();
}

// Whether two conditions can hold at once. Ranges of offsets that meet do so
// where one of them begins.
constexpr bool meet(const Condition& a, const Condition& b) {
  return (a.offsets.hold(b.offsets.first) || b.offsets.hold(a.offsets.first)) && (a.states & b.states) != 0 &&
         (a.sensors & b.sensors) != 0 && (a.all_of & b.none_of) == 0 && (b.all_of & a.none_of) == 0;
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

// Whether the rules decide every event of an offset: in each state and with each
// memory of three bits, more than which no such table asks for, they hold for
// all groups of sensors together.
template <class Rule, std::size_t N>
constexpr bool decides_all_at(const Rule (&rules)[N], std::int32_t offset) {
  for (Memory memory = 0; memory < 8; ++memory) {
    for (std::int32_t state = 0; state <= 7; ++state) {
      Sensors decided = 0;
      for (const Rule& rule : rules) {
        if (rule.when.holds({offset, state, kAnySensor, memory})) decided |= rule.when.sensors;
      }
      if (decided != kAnySensor) return false;
    }
  }
  return true;
}

// Proof that every event falls under a rule, at each offset where a range begins
// or has ended and so at all others.
template <class Rule, std::size_t N>
constexpr bool decides_all(const Rule (&rules)[N]) {
  for (std::size_t i = 0; i < N; ++i) {
    const Offsets& range = rules[i].when.offsets;
    if (i > 0 && rules[i - 1].when.offsets == range) continue;
    if (!decides_all_at(rules, range.first) || !decides_all_at(rules, range.after())) return false;
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
      if (before.offsets.hold(after.offsets) && (after.states & ~before.states) == 0 &&
          (after.sensors & ~before.sensors) == 0 && (before.all_of | before.none_of) == 0) {
        return false;
      }
    }
  }
  return true;
}

}  // namespace polaiga
