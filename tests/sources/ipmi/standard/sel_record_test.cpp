// Bytes are written by hand after table 32-1 of IPMI 2.0: id (2), type, time (4), generator (2), format of the event,
// sensor type, sensor number, direction and event/reading type, event data (3).
#include "standard/sel_record.h"

#include <gtest/gtest.h>

namespace polaiga::ipmi {
namespace sel_record_test {

TEST(SelRecord, TellsOfASensor) {
  const SelBytes bytes = {0x34, 0x12, 0x02, 0x80, 0x43, 0x6D, 0x38, 0x20,
                          0x00, 0x04, 0x04, 0x31, 0x81, 0x57, 0x1A, 0x2B};
  const auto record = parse_sel_record(bytes);
  EXPECT_EQ(record.bytes, bytes);
  EXPECT_EQ(record.id, 0x1234);
  EXPECT_EQ(record.type, 0x02);
  EXPECT_EQ(record.time, 0x386D4380);  // 2000-01-01T00:00:00Z
  const SelEvent event{.key = {.owner = 0x20, .lun = 0, .number = 0x31},
                       .sensor_type = 0x04,
                       .reading_type = 0x01,
                       .is_deasserted = true,
                       .offset = 7,
                       .data = {0x57, 0x1A, 0x2B}};
  EXPECT_EQ(record.event, event);
}

SelBytes with(std::size_t at, std::uint8_t value) {
  SelBytes bytes = {0x01, 0x00, 0x02, 0x80, 0x43, 0x6D, 0x38, 0x20, 0x00, 0x04, 0x0C, 0x08, 0x6F, 0xA1, 0x00, 0x03};
  bytes[at] = value;
  return bytes;
}

TEST(SelRecord, ReadsDirectionTypeAndOffsetFromTheirBits) {
  EXPECT_FALSE(parse_sel_record(with(12, 0x6F)).event->is_deasserted);
  EXPECT_EQ(parse_sel_record(with(12, 0x6F)).event->reading_type, 0x6F);
  EXPECT_TRUE(parse_sel_record(with(12, 0xEF)).event->is_deasserted);
  EXPECT_EQ(parse_sel_record(with(12, 0xEF)).event->reading_type, 0x6F);
  EXPECT_EQ(parse_sel_record(with(13, 0xA1)).event->offset, 1);
  EXPECT_EQ(parse_sel_record(with(13, 0x0F)).event->offset, 15);
  EXPECT_EQ(parse_sel_record(with(13, 0xA1)).event->data[0], 0xA1);
}

TEST(SelRecord, ReadsTheGenerator) {
  // The channel, in the upper half of the byte of the LUN, is no part of a sensor's key.
  EXPECT_EQ(parse_sel_record(with(8, 0x63)).event->key.lun, 3);
  EXPECT_EQ(parse_sel_record(with(7, 0x41)).event->key.owner, 0x41);
}

TEST(SelRecord, KnowsTimesThatWereNotSet) {
  const auto time = [](std::uint32_t seconds) {
    auto bytes = with(0, 1);
    for (std::size_t i = 0; i < 4; ++i) bytes[3 + i] = static_cast<std::uint8_t>(seconds >> (8 * i) & 0xFFU);
    return parse_sel_record(bytes).time;
  };
  EXPECT_EQ(time(0), std::nullopt);
  EXPECT_EQ(time(2047), std::nullopt);
  EXPECT_EQ(time(0x20000000), std::nullopt);
  EXPECT_EQ(time(0x20000001), 0x20000001);
  EXPECT_EQ(time(0x80000000), 0x80000000LL);  // in 2038: not a negative number
  EXPECT_EQ(time(0xFFFFFFFE), 0xFFFFFFFELL);
  EXPECT_EQ(time(0xFFFFFFFF), std::nullopt);
}

TEST(SelRecord, TellsOfASensorOnlyInRecordsOfEvents) {
  for (const int type : {0x00, 0x01, 0x03, 0x7F, 0xBF, 0xC0, 0xDF, 0xE0, 0xFF}) {
    const auto record = parse_sel_record(with(2, static_cast<std::uint8_t>(type)));
    EXPECT_EQ(record.event, std::nullopt) << type;
    EXPECT_EQ(record.type, type);
    // OEM records from C0h to DFh have a time at the same place; others have none, or what it is is not known.
    EXPECT_EQ(record.time.has_value(), type == 0xC0 || type == 0xDF) << type;
  }
}

TEST(SelRecord, KnowsTwoFormatsOfEvents) {
  EXPECT_TRUE(parse_sel_record(with(9, 0x04)).event);
  EXPECT_TRUE(parse_sel_record(with(9, 0x03)).event);
  EXPECT_FALSE(parse_sel_record(with(9, 0x02)).event);
  EXPECT_FALSE(parse_sel_record(with(9, 0x05)).event);
  EXPECT_TRUE(parse_sel_record(with(9, 0x05)).time);
}

TEST(SelRecord, IsWrittenInHexadecimal) {
  EXPECT_EQ(
      hexadecimal({0x34, 0x12, 0x02, 0x80, 0x43, 0x6D, 0x38, 0x20, 0x00, 0x04, 0x04, 0x31, 0x81, 0x57, 0x1A, 0xFF}),
      "3412028043"
      "6d382000"
      "04043181571aff");
}

}  // namespace sel_record_test
}  // namespace polaiga::ipmi
