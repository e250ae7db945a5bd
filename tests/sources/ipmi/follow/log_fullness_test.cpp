#include "follow/log_fullness.h"

#include <gtest/gtest.h>

#include "base/private_file.h"
#include "mapping/mapping.h"
#include "model/entities.h"

namespace polaiga::ipmi {
namespace log_fullness_test {

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

TEST(LogFullnessTest, ItsSensorHasARow) {
  const auto mapping =
      Mapping::parse(engine::read_file(POLAIGA_SOURCE_DIR "/sources/ipmi/ipmi.tsv", "the mapping"), "ipmi.tsv");
  const auto found = mapping.of(fullness_sensor());
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].target.sensor, "SEL_FULLNESS");
  EXPECT_EQ(found[0].target.entity, engine::find_entity("sys_board"));
  EXPECT_EQ(found[0].ladder->level({.asserted = 0x0080}), 1);
  EXPECT_EQ(found[0].ladder->level({.asserted = 0x0280}), 2);
  EXPECT_EQ(found[0].ladder->level({.asserted = 0x0A80}), 3);
  EXPECT_EQ(found[0].ladder->steps(0, 3), (std::vector<Step>{{117, 1}, {118, 1}, {119, 1}}));
  EXPECT_EQ(found[0].ladder->steps(3, 0), (std::vector<Step>{{119, 1}, {118, 1}, {117, 0}}));
}

}  // namespace log_fullness_test
}  // namespace polaiga::ipmi
