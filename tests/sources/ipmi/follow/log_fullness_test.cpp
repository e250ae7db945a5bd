#include "follow/log_fullness.h"

#include <gtest/gtest.h>

#include "support/rows.h"

namespace polaiga::ipmi {
namespace {

LogInfo log_of(unsigned entries, unsigned capacity) {
  LogInfo info;
  info.entries = static_cast<std::uint16_t>(entries);
  info.free_bytes = static_cast<std::uint16_t>(std::min(0xFFFFU, (capacity - entries) * 16));
  return info;
}

TEST(LogFullnessTest, TheLevels) {
  struct Case {
    unsigned entries;
    unsigned capacity;
    std::uint16_t bits;
  };
  for (const Case some :
       {Case{0, 100, 0}, Case{74, 100, 0}, Case{75, 100, 0x0080}, Case{89, 100, 0x0080}, Case{90, 100, 0x0280},
        Case{99, 100, 0x0280}, Case{100, 100, 0x0A80}, Case{0, 0, 0}, Case{20000, 65000, 0}}) {
    EXPECT_EQ(fullness(log_of(some.entries, some.capacity), false).asserted, some.bits) << some.entries;
    EXPECT_EQ(fullness(log_of(some.entries, some.capacity), true).asserted, 0) << some.entries;
  }
}

TEST(LogFullnessTest, ItsRowIsBuiltInUnlessTheMappingHasOne) {
  const auto built_in = with_fullness(test::rows()).of(fullness_sensor());
  ASSERT_EQ(built_in.size(), 1U);
  EXPECT_EQ(built_in[0].target.sensor, "SEL_FULLNESS");
  EXPECT_EQ(built_in[0].target.entity, engine::find_entity("sys_board"));
  EXPECT_EQ(built_in[0].ladder->steps(0, 3), (std::vector<Step>{{117, 1}, {118, 1}, {119, 1}}));
  EXPECT_EQ(built_in[0].ladder->steps(3, 0), (std::vector<Step>{{119, 1}, {118, 1}, {117, 0}}));
  const auto own = [](const Sensor& sensor) -> std::vector<Mapped> {
    return {test::mapped("cmc", sensor, 1, test::upper())};
  };
  EXPECT_EQ(with_fullness({.of = own}).of(fullness_sensor()).at(0).target.entity, engine::find_entity("cmc"));
  // A mapping may leave it out.
  const SensorLevels::Rows none{.of = [](const Sensor&) { return std::vector<Mapped>(); },
                                .line_of = [](const Sensor&) { return std::size_t{3}; }};
  EXPECT_TRUE(with_fullness(none).of(fullness_sensor()).empty());
}

}  // namespace
}  // namespace polaiga::ipmi
