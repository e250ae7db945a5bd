#include "follow/outgoing_event.h"

#include <gtest/gtest.h>

#include "intake/event_parser.h"
#include "model/entities.h"

namespace polaiga::ipmi {
namespace outgoing_event_test {

const Target kTarget{
    .entity = engine::find_entity("ps"), .sensor = "PS1_TEMP", .instance = 1, .group = 0, .entity_id = 10};

TEST(OutgoingEventTest, TheLineSaysAll) {
  EXPECT_EQ(event_line("i", kTarget, {56, 4}, 1'700'000'000),
            R"({"id":"i","time":"2023-11-14T22:13:20Z","entity":"ps","sensor":"PS1_TEMP","instance":1,"entity_id":10,)"
            R"("offset":56,"state":4})");
  Target drive{.entity = engine::find_entity("storage"), .sensor = "HDD", .instance = 3, .group = 2, .entity_id = 209};
  EXPECT_EQ(
      event_line("i", drive, {18, 1}, std::nullopt),
      R"({"id":"i","entity":"storage","sensor":"HDD","instance":3,"group":2,"entity_id":209,"offset":18,"state":1})");
}

TEST(OutgoingEventTest, TheLongestIdsAndNamesAreThoseOfAnEvent) {
  Target target = kTarget;
  // 19 bytes that are no UTF-8, as names with 8-bit characters are.
  target.sensor = "T\xB0\x01 \"1234567890123\\";
  ASSERT_EQ(target.sensor.size(), 19U);
  SelBytes record{};
  record.fill(0xAB);
  const std::string id = record_event_id(~std::uint64_t{0}, record, 99999);
  EXPECT_EQ(id, "sel:ffffffffffffffff:abababababababababababababababab/99999");
  const auto event = engine::parse_sensor_event(event_line(id, target, {1, 1}, std::nullopt));
  EXPECT_STREQ(event.event.sensor_name, "T?? \"1234567890123\\");
  const std::string now = reading_event_id(5, ~std::uint64_t{0}, 99999);
  EXPECT_EQ(now, "now:0000000000000005:18446744073709551615/99999");
  EXPECT_EQ(engine::parse_sensor_event(event_line(now, kTarget, {1, 1}, std::nullopt)).id, now);
}

}  // namespace outgoing_event_test
}  // namespace polaiga::ipmi
