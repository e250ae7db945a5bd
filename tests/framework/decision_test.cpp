#include "framework/decision.h"

#include <gtest/gtest.h>

namespace polaiga {
namespace decision_test {

constexpr std::int32_t kLeast = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();

constexpr bool holds(const Offsets& offsets, std::int32_t offset) { return offsets.hold(offset); }

TEST(Offsets, One) {
  EXPECT_TRUE(holds(114, 114));
  for (const std::int32_t offset : {113, 115, 0, -114, kLeast, kMost}) EXPECT_FALSE(holds(114, offset)) << offset;
  EXPECT_TRUE(holds(kLeast, kLeast));
  EXPECT_FALSE(holds(kLeast, kMost));
}

TEST(Offsets, Range) {
  const Offsets range{114, 119};
  for (const std::int32_t offset : {114, 115, 118, 119}) EXPECT_TRUE(range.hold(offset)) << offset;
  for (const std::int32_t offset : {113, 120, 0, -115, kLeast, kMost}) EXPECT_FALSE(range.hold(offset)) << offset;
}

TEST(Offsets, Outside) {
  const Offsets range = outside(114, 119);
  for (const std::int32_t offset : {114, 115, 118, 119}) EXPECT_FALSE(range.hold(offset)) << offset;
  for (const std::int32_t offset : {113, 120, 0, -115, kLeast, kMost}) EXPECT_TRUE(range.hold(offset)) << offset;
}

TEST(Offsets, Any) {
  for (const std::int32_t offset : {kLeast, -1, 0, 1, kMost}) EXPECT_TRUE(kAnyOffset.hold(offset)) << offset;
}

bool contains(States states, std::int32_t state) { return (states & state_bit(state)) != 0; }

TEST(States, EachOfTheFirstSevenIsTold) {
  for (std::int32_t a = 0; a <= 6; ++a) {
    for (std::int32_t b = 0; b <= 6; ++b) EXPECT_EQ(contains(only(a), b), a == b) << a << " " << b;
    for (const std::int32_t other : {-1, 7, 8, 100, 256, kLeast, kMost}) {
      EXPECT_FALSE(contains(only(a), other)) << other;
      EXPECT_TRUE(contains(except(a), other)) << other;
    }
  }
}

TEST(States, Sets) {
  for (std::int32_t state = -2; state <= 9; ++state) {
    EXPECT_EQ(contains(kDeasserted, state), state == 0) << state;
    EXPECT_EQ(contains(kAsserted, state), state != 0) << state;
    EXPECT_TRUE(contains(kAnyState, state)) << state;
    EXPECT_EQ(contains(only(0, 5), state), state == 0 || state == 5) << state;
    EXPECT_EQ(contains(except(0, 1, 5), state), state != 0 && state != 1 && state != 5) << state;
    EXPECT_EQ(contains(only(1, 2, 3), state), state >= 1 && state <= 3) << state;
  }
}

TEST(Sensors, AllBut) {
  EXPECT_EQ(all_but(1), 0xFE);
  EXPECT_EQ(all_but(0x81), 0x7E);
  EXPECT_EQ(all_but(kAnySensor), 0);
}

TEST(Condition, HoldsForEverythingByDefault) {
  const Condition any{};
  EXPECT_TRUE(any.holds({.offset = 0, .state = 0}));
  EXPECT_TRUE(any.holds({.offset = kLeast, .state = kMost, .sensors = 4, .memory = 0xFFFF}));
}

TEST(Condition, EveryPartMustHold) {
  const Condition when{.offsets = {5, 6}, .states = only(1, 4), .sensors = 0b0110, .all_of = 0x8001, .none_of = 0x0100};
  const struct {
    Situation now;
    bool holds;
  } cases[] = {
      {{.offset = 5, .state = 1, .sensors = 0b0010, .memory = 0x8001}, true},
      {{.offset = 6, .state = 4, .sensors = 0b1100, .memory = 0x8003}, true},
      {{.offset = 4, .state = 1, .sensors = 0b0010, .memory = 0x8001}, false},
      {{.offset = 7, .state = 1, .sensors = 0b0010, .memory = 0x8001}, false},
      {{.offset = 5, .state = 0, .sensors = 0b0010, .memory = 0x8001}, false},
      {{.offset = 5, .state = 5, .sensors = 0b0010, .memory = 0x8001}, false},
      {{.offset = 5, .state = 1, .sensors = 0b1001, .memory = 0x8001}, false},
      {{.offset = 5, .state = 1, .sensors = 0, .memory = 0x8001}, false},
      {{.offset = 5, .state = 1, .sensors = 0b0010, .memory = 0x8000}, false},
      {{.offset = 5, .state = 1, .sensors = 0b0010, .memory = 0x0001}, false},
      {{.offset = 5, .state = 1, .sensors = 0b0010, .memory = 0}, false},
      {{.offset = 5, .state = 1, .sensors = 0b0010, .memory = 0x8101}, false},
  };
  for (const auto& c : cases) EXPECT_EQ(when.holds(c.now), c.holds) << c.now.offset << " " << c.now.state;
}

struct Rule {
  Condition when;
  int number;
};

constexpr Rule kOverlapping[] = {
    {{.offsets = 1, .states = kAsserted}, 1},
    {{.offsets = {1, 3}}, 2},
    {{.states = only(4)}, 3},
};

constexpr int decided(std::int32_t offset, std::int32_t state) {
  const Rule* rule = decide(kOverlapping, {.offset = offset, .state = state});
  return rule != nullptr ? rule->number : 0;
}

TEST(Decide, TakesTheFirstRuleThatHolds) {
  EXPECT_EQ(decided(1, 1), 1);
  EXPECT_EQ(decided(1, 0), 2);
  EXPECT_EQ(decided(3, 4), 2);
  EXPECT_EQ(decided(4, 4), 3);
  EXPECT_EQ(decided(4, 3), 0);
  EXPECT_EQ(decide(std::span<const Rule>(), {.offset = 1, .state = 1}), nullptr);
}

constexpr bool meeting(const Condition& a, const Condition& b) {
  const Rule rules[] = {{a, 1}, {b, 2}};
  const Rule turned[] = {{b, 1}, {a, 2}};
  return !decides_once(rules) && !decides_once(turned);
}

constexpr bool apart(const Condition& a, const Condition& b) {
  const Rule rules[] = {{a, 1}, {b, 2}};
  const Rule turned[] = {{b, 1}, {a, 2}};
  return decides_once(rules) && decides_once(turned);
}

static_assert(meeting({}, {}));
static_assert(meeting({.offsets = 1}, {}));
static_assert(meeting({.offsets = 1}, {.offsets = 1}));
static_assert(apart({.offsets = 1}, {.offsets = 2}));
static_assert(apart({.offsets = {1, 3}}, {.offsets = {4, 6}}));
static_assert(meeting({.offsets = {1, 4}}, {.offsets = {4, 6}}));
static_assert(meeting({.offsets = {1, 100}}, {.offsets = 50}));
static_assert(meeting({.offsets = {1, 100}}, {.offsets = {40, 60}}));
static_assert(apart({.offsets = outside(114, 119)}, {.offsets = 114}));
static_assert(apart({.offsets = outside(114, 119)}, {.offsets = {114, 119}}));
static_assert(meeting({.offsets = outside(114, 119)}, {.offsets = {114, 120}}));
static_assert(meeting({.offsets = outside(114, 119)}, {.offsets = {0, 1000}}));
static_assert(meeting({.offsets = outside(1, 2)}, {.offsets = outside(3, 4)}));
static_assert(meeting({.offsets = outside(1, 2)}, {.offsets = kAnyOffset}));
static_assert(apart({.offsets = outside(kLeast, 10)}, {.offsets = outside(5, kMost)}));
static_assert(meeting({.offsets = outside(kLeast, 10)}, {.offsets = outside(20, kMost)}));
static_assert(meeting({.offsets = outside(10, kMost)}, {.offsets = outside(5, kMost)}));
static_assert(apart({.offsets = outside(5, 10)}, {.offsets = {6, 9}}));
static_assert(meeting({.offsets = kLeast}, {.offsets = {kLeast, 0}}));
static_assert(meeting({.offsets = kMost}, {.offsets = {0, kMost}}));

static_assert(apart({.states = kAsserted}, {.states = kDeasserted}));
static_assert(apart({.states = only(4)}, {.states = except(4, 5)}));
static_assert(meeting({.states = only(4)}, {.states = except(5)}));
static_assert(apart({.sensors = 0b0001}, {.sensors = all_but(0b0001)}));
static_assert(meeting({.sensors = 0b0011}, {.sensors = 0b0110}));
static_assert(apart({.all_of = 1}, {.none_of = 1}));
static_assert(apart({.all_of = 3}, {.none_of = 2}));
static_assert(meeting({.all_of = 1}, {.none_of = 2}));
static_assert(meeting({.all_of = 1}, {.all_of = 2}));
static_assert(meeting({.none_of = 1}, {.none_of = 1}));

constexpr Rule kAll[] = {{{.offsets = 5, .states = kAsserted}, 1},
                         {{.offsets = 5, .states = kDeasserted, .all_of = 2}, 2},
                         {{.offsets = 5, .states = kDeasserted, .none_of = 2}, 3},
                         {{.offsets = outside(5, 5), .sensors = 1}, 4},
                         {{.offsets = outside(5, 5), .sensors = all_but(1)}, 5}};
static_assert(decides_all(kAll));
constexpr Rule kNotAllOffsets[] = {{{.offsets = {5, 7}}, 1}, {{.offsets = outside(5, 8)}, 2}};
static_assert(!decides_all(kNotAllOffsets));
constexpr Rule kNotAllStates[] = {{{.states = except(3)}, 1}};
static_assert(!decides_all(kNotAllStates));
constexpr Rule kNotAllSensors[] = {{{.sensors = all_but(4)}, 1}};
static_assert(!decides_all(kNotAllSensors));
constexpr Rule kNotAllMemory[] = {{{.none_of = 1}, 1}, {{.all_of = 3}, 2}};
static_assert(!decides_all(kNotAllMemory));

constexpr Rule kOnce[] = {
    {{.offsets = 1, .states = kAsserted}, 1}, {{.offsets = 1, .states = kDeasserted}, 2}, {{.offsets = {2, 9}}, 3}};
static_assert(decides_once(kOnce));
constexpr Rule kLastTwice[] = {
    {{.offsets = 1, .states = kAsserted}, 1}, {{.offsets = 1, .states = kDeasserted}, 2}, {{.offsets = {1, 9}}, 3}};
static_assert(!decides_once(kLastTwice));

// Whether the first rule takes every event that the second one holds for.
constexpr bool hidden(const Condition& before, const Condition& after) {
  const Rule rules[] = {{before, 1}, {after, 2}};
  return !each_can_hold(rules);
}

static_assert(each_can_hold(kOverlapping));
static_assert(hidden({}, {}));
static_assert(hidden({}, {.offsets = 1, .states = only(4)}));
static_assert(hidden({.offsets = {1, 9}}, {.offsets = {1, 9}, .states = only(4)}));
static_assert(hidden({.offsets = {1, 9}, .states = only(4, 5)}, {.offsets = 5, .states = only(5)}));
static_assert(hidden({.offsets = 5}, {.offsets = 5, .all_of = 1}));
static_assert(hidden({.sensors = 0b011}, {.sensors = 0b001}));
static_assert(!hidden({.offsets = 5}, {.offsets = {5, 6}}));
static_assert(!hidden({.offsets = {5, 6}}, {.offsets = {4, 6}}));
static_assert(!hidden({.offsets = 5}, {}));
static_assert(!hidden({.states = only(4)}, {.states = only(4, 5)}));
static_assert(!hidden({.sensors = 0b001}, {.sensors = 0b011}));
static_assert(!hidden({.all_of = 1}, {}));
static_assert(!hidden({.none_of = 1}, {}));
static_assert(!hidden({.offsets = {1, 9}}, {.offsets = outside(1, 9)}));

constexpr Rule kThirdHidden[] = {{{.offsets = 1}, 1}, {{.states = only(4)}, 2}, {{.offsets = 1, .states = only(5)}, 3}};
static_assert(!each_can_hold(kThirdHidden));

}  // namespace decision_test
}  // namespace polaiga
