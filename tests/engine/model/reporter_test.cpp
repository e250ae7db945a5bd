#include "model/reporter.h"

#include <gtest/gtest.h>

#include <cstring>

#include "support/record.h"

namespace polaiga::engine {
namespace reporter_test {

SensorEvent event_of(const char* entity, const char* sensor, std::int32_t instance) {
  SensorEvent event;
  event.entity = find_entity(entity);
  test::fill(event.event.sensor_name, sensor);
  event.event.entity_instance = instance;
  return event;
}

TEST(Reporter, IsWhatTheEventSays) {
  const Reporter reporter = reporter_of(event_of("sys_board", "RISER1_INLET_TMP", -1));
  EXPECT_EQ(reporter.entity, find_entity("sys_board"));
  EXPECT_EQ(reporter.sensor, "RISER1_INLET_TMP");
  EXPECT_EQ(reporter.instance, -1);
  EXPECT_EQ(reporter_of(event_of("fan", "", 0)).sensor, "");
}

TEST(Reporter, IsToldByThreeThings) {
  const Reporter reporter = reporter_of(event_of("fan", "A", 1));
  EXPECT_EQ(reporter, reporter_of(event_of("fan", "A", 1)));
  EXPECT_NE(reporter, reporter_of(event_of("ps", "A", 1)));
  EXPECT_NE(reporter, reporter_of(event_of("fan", "a", 1)));
  EXPECT_NE(reporter, reporter_of(event_of("fan", "A", 2)));
  EXPECT_LT(reporter, reporter_of(event_of("fan", "A", 2)));
  EXPECT_LT(reporter, reporter_of(event_of("fan", "B", 0)));
}

// What else an event says does not make another reporter of it.
TEST(Reporter, TheRestDoesNotCount) {
  SensorEvent event = event_of("storage", "DISK", 1);
  const Reporter reporter = reporter_of(event);
  event.event.entity_id = 209;
  event.event.entity_subtype = 2;
  event.event.group_instance = 3;
  event.event.event_offset = 14;
  event.event.event_state = 1;
  event.event.reading_type = 1;
  event.time = 5;
  event.id = "id";
  EXPECT_EQ(reporter_of(event), reporter);
}

}  // namespace reporter_test
}  // namespace polaiga::engine
