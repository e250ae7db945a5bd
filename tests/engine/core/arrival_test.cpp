#include "core/arrival.h"

#include <gtest/gtest.h>

#include "support/manual_clock.h"

namespace polaiga::engine {
namespace arrival_test {

using test::kToday;
using test::ManualClock;

constexpr std::int64_t kDay = 86'400;

void expect(const Arrival& arrival, Moment received, Moment arrived, std::int64_t age) {
  EXPECT_EQ(arrival.received, received);
  EXPECT_EQ(arrival.arrived, arrived);
  EXPECT_EQ(arrival.age, age);
}

TEST(Arrivals, CountTheSecondsOfANewLedger) {
  ManualClock clock(kToday);
  Arrivals arrivals(clock, {});
  expect(arrivals.now(), kToday, kToday, 0);
  clock.pass(10);
  expect(arrivals.now(), kToday + 10, kToday + 10, 10);
}

TEST(Arrivals, GoOnAfterARestartWithThePauseCounted) {
  ManualClock clock(kToday + 3 * kDay);
  Arrivals arrivals(clock, {kToday, kToday, 1000});
  expect(arrivals.now(), kToday + 3 * kDay, kToday + 3 * kDay, 1000 + 3 * kDay);
}

TEST(Arrivals, AJumpWhileTheEngineRunsIsNoTime) {
  ManualClock clock(kToday);
  Arrivals arrivals(clock, {});
  clock.set(kToday + 3650 * kDay);
  clock.pass(5);
  expect(arrivals.now(), kToday + 3650 * kDay + 5, kToday + 3650 * kDay + 5, 5);
  clock.set(kToday - kDay);
  clock.pass(5);
  expect(arrivals.now(), kToday - kDay + 5, kToday - kDay + 5, 10);
}

// Ten years ahead for one start, and right again for the next.
TEST(Arrivals, OneStartAddsAMonthAtMost) {
  ManualClock wrong(kToday + 3650 * kDay);
  Arrivals ahead(wrong, {kToday, kToday, 1000});
  const Arrival last = ahead.now();
  EXPECT_EQ(last.age, 1000 + 31 * kDay);
  ManualClock right(kToday + kDay);
  Arrivals again(right, last);
  expect(again.now(), kToday + kDay, kToday + kDay, 1000 + 31 * kDay);
}

// A boot in 1970, until the clock is set from the network.
TEST(Arrivals, AClockThatIsNotSetGivesNoTimeOfArrival) {
  ManualClock clock(12);
  Arrivals arrivals(clock, {kToday, kToday, 1000});
  expect(arrivals.now(), 12, kToday, 1000);
  clock.pass(30);
  expect(arrivals.now(), 42, kToday + 30, 1030);
  clock.set(kToday + 2 * kDay);
  clock.pass(1);
  expect(arrivals.now(), kToday + 2 * kDay + 1, kToday + 2 * kDay + 1, 1031);
}

TEST(Arrivals, ThePauseAfterAClockThatWasNotSetIsNotCounted) {
  ManualClock clock(kToday);
  Arrivals arrivals(clock, {40, 40, 40});
  expect(arrivals.now(), kToday, kToday, 40);
}

TEST(Arrivals, PartsOfASecondAddUp) {
  class Halves final : public Clock {
   public:
    std::int64_t wall() const override { return kToday; }
    Steady steady() const override { return std::chrono::milliseconds(500 * calls_++); }

   private:
    mutable int calls_ = 0;
  };
  const Halves clock;
  Arrivals arrivals(clock, {});
  for (int i = 1; i <= 10; ++i) EXPECT_EQ(arrivals.now().age, i / 2);
}

}  // namespace arrival_test
}  // namespace polaiga::engine
