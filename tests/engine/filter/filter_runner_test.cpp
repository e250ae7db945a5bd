#include "filter/filter_runner.h"

#include <gtest/gtest.h>

#include <cstring>

#include "filter/library_build.h"
#include "model/entities.h"
#include "support/program.h"

namespace polaiga::engine {
namespace filter_runner_test {

SensorEvent event_of(const char* entity, std::int32_t offset, std::int32_t state) {
  SensorEvent event;
  event.entity = find_entity(entity);
  event.event.entity_id = event.entity->entity_id;
  event.event.entity_instance = 1;
  event.event.event_offset = offset;
  event.event.event_state = state;
  std::strcpy(event.event.sensor_name, "SENSOR");
  return event;
}

class FilterRunnerTest : public ::testing::Test {
 protected:
  FilterRunner runner_{0, Log::kOff};
};

TEST_F(FilterRunnerTest, TellsWhetherAFaultIsReported) {
  const Filtered slow = runner_.run(event_of("fan", 3, 1));
  EXPECT_TRUE(slow.reported);
  EXPECT_STREQ(slow.record.fault_dn, "sys/rack-unit-1/fan-module-1-1/fan-1/fault-F0395");
  EXPECT_FALSE(runner_.run(event_of("fan", 77, 1)).reported);
}

TEST_F(FilterRunnerTest, AFilterWritesIntoACopyOfTheEvent) {
  const SensorEvent event = event_of("fan", 3, 1);
  const fe_sensor_event before = event.event;
  runner_.run(event);
  EXPECT_EQ(std::memcmp(&event.event, &before, sizeof before), 0);
}

// The library says through its host that a failed self test is over.
TEST_F(FilterRunnerTest, TellsWhatTheLibraryWithdrew) {
  const Filtered over = runner_.run(event_of("fw_bios_post", 103, 0));
  ASSERT_EQ(over.withdrawn.size(), 1U);
  EXPECT_TRUE(over.withdrawn[0].ends_with("/fault-F0517")) << over.withdrawn[0];
  EXPECT_TRUE(runner_.run(event_of("fan", 3, 1)).withdrawn.empty());
}

// As `readelf -n` of the file tells it.
TEST(LibraryBuildTest, IsThatOfTheLoadedFile) {
  const LibraryBuild build = library_build();
  const test::Ended told =
      test::Shell().run("readelf -n '" POLAIGA_LIBRARY "' | sed -n 's/ *Build ID: //p' | tr -d '\\n'");
  ASSERT_EQ(told.status, 0);
  ASSERT_EQ(told.out.size(), 40U);
  EXPECT_EQ(build.build_id, told.out);
  EXPECT_EQ(build.version, POLAIGA_VERSION);
}

}  // namespace filter_runner_test
}  // namespace polaiga::engine
