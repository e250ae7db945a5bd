// Decision tables. A filter's rules are rows of data, and an event is decided by
// the first row whose condition holds. The functions at the end of this file let
// the compiler prove that a table is complete and free of contradictions.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>

namespace polaiga {

// A set of event offsets: a single offset, or a range that includes both of its
// ends. A range may end before it begins. It then holds all offsets except those
// that lie between its end and its beginning.
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

// All offsets except those from `first` to `last`, which must not be all there are.
constexpr Offsets outside(std::int32_t first, std::int32_t last) {
  return {static_cast<std::int32_t>(static_cast<std::uint32_t>(last) + 1),
          static_cast<std::int32_t>(static_cast<std::uint32_t>(first) - 1)};
}

// A set of event states: one bit for each of the states 0 to 6, and one bit for
// all other states together.
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

// A set of groups of sensors. Each filter defines which group each bit stands for.
using Sensors = std::uint8_t;
inline constexpr Sensors kAnySensor = 0xFF;
constexpr Sensors all_but(Sensors groups) { return static_cast<Sensors>(~unsigned{groups}); }

// What a filter remembers of a unit from one event to the next. Each filter
// defines what each bit stands for.
using Memory = std::uint16_t;

// What decides which rule an event falls under.
struct Situation {
  std::int32_t offset;
  std::int32_t state;
  Sensors sensors = kAnySensor;  // the groups that the sensor belongs to
  Memory memory = 0;
};

// The condition under which a rule holds. Every kind of rule begins with one.
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

// Returns the first rule that holds, or null when none does: then the event is of
// no interest to the filter.
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

// The same for a table in which some rule always holds, as decides_all() proves.
// When no rule before the last one holds, the last one does.
template <class Rule>
constexpr const Rule& decide_any(std::span<const Rule> rules, const Situation& now) {
  for (const Rule& rule : rules.first(rules.size() - 1)) {
    if (rule.when.holds(now)) return rule;
  }
  return rules.back();
}

// Whether some event fulfils both conditions. Two ranges of offsets have an offset
// in common exactly when one of them holds the first offset of the other.
constexpr bool meet(const Condition& a, const Condition& b) {
  return (a.offsets.hold(b.offsets.first) || b.offsets.hold(a.offsets.first)) && (a.states & b.states) != 0 &&
         (a.sensors & b.sensors) != 0 && (a.all_of & b.none_of) == 0 && (b.all_of & a.none_of) == 0;
}

// Proves that no event falls under two rules, so that the order of the rules does
// not matter.
template <class Rule, std::size_t N>
constexpr bool decides_once(const Rule (&rules)[N]) {
  for (std::size_t i = 0; i < N; ++i) {
    for (std::size_t j = i + 1; j < N; ++j) {
      if (meet(rules[i].when, rules[j].when)) return false;
    }
  }
  return true;
}

// Whether every event with this offset falls under a rule. All states are tried,
// and all memories of three bits, since no table of this kind asks for more bits.
// For each of them the rules that hold must together cover all groups of sensors.
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

// Proves that every event falls under a rule. Which rules hold can change only at
// an offset where a range begins, or right behind one where a range ends. When all
// these offsets are decided, the offsets between them are decided, too.
template <class Rule, std::size_t N>
constexpr bool decides_all(const Rule (&rules)[N]) {
  for (std::size_t i = 0; i < N; ++i) {
    const Offsets& range = rules[i].when.offsets;
    if (i > 0 && rules[i - 1].when.offsets == range) continue;
    if (!decides_all_at(rules, range.first) || !decides_all_at(rules, range.after())) return false;
  }
  return true;
}

// Proves, for tables in which the first rule that holds counts, that every rule can
// be reached: no rule holds only for events that one before it already takes.
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
