#include "adapter/saved_events.h"

#include <gtest/gtest.h>

#include "support/fake_controller.h"
#include "support/rows.h"

namespace polaiga::ipmi {
namespace saved_events_test {

TEST(SavedEventsTest, TheEventsOfALog) {
  FakeController fake;
  fake.clock = 1'700'000'000;
  fake.add(FakeEvent{.sensor = 1, .offset = 7});
  fake.add(FakeEvent{.sensor = 9, .offset = 7});
  fake.add(FakeEvent{.sensor = 1, .offset = 7});
  fake.next_record_id = 1;  // the controller started again
  fake.clock = 5;
  fake.add(FakeEvent{.sensor = 1, .offset = 7, .is_deasserted = true});
  std::vector<SelRecord> records;
  for (const SelBytes& bytes : fake.log()) records.push_back(parse_sel_record(bytes));
  const Sensor sensor{.key = {0x20, 0, 1},
                      .name = "TEMP1",
                      .entity_id = 7,
                      .entity_instance = 1,
                      .sensor_type = 1,
                      .reading_type = 1,
                      .is_event_only = false};
  test::Texts told;
  EXPECT_EQ(saved_events(records, {sensor}, test::rows(), [&](const std::string& text) { told.push_back(text); }),
            (test::Texts{R"({"id":"sel:0000000000000001:01000200f153652000040101010)"  // the bytes go on
                         R"(7ffff/1","time":"2023-11-14T22:13:20Z","entity":"sys_board","sensor":"TEMP1","instance":1,)"
                         R"("entity_id":7,"offset":117,"state":4})",
                         R"({"id":"sel:0000000000000002:01000205000000200004010181)"
                         R"(07ffff/1","entity":"sys_board","sensor":"TEMP1","instance":1,)"
                         R"("entity_id":7,"offset":117,"state":0})"}));
  EXPECT_EQ(told.size(), 1U);
}

}  // namespace saved_events_test
}  // namespace polaiga::ipmi
