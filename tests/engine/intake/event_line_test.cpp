#include "intake/event_line.h"

#include <gtest/gtest.h>

#include <string>

namespace polaiga::engine {
namespace event_line_test {

using Result = LineBuffer::Result;

TEST(EventLineTest, AnEvent) {
  const auto read = read_event_line(7, Result::kLine, R"({"entity":"fan","sensor":"FAN1_TACH1","offset":3,"state":1})");
  ASSERT_TRUE(read);
  EXPECT_EQ(read->number, 7U);
  ASSERT_TRUE(read->event);
  EXPECT_STREQ(read->event->event.sensor_name, "FAN1_TACH1");
  EXPECT_EQ(read->complaint, "");
}

TEST(EventLineTest, BlankLinesArePassedOver) {
  for (const char* const blank : {"", " ", "\t", "\r", " \t \r"}) {
    EXPECT_FALSE(read_event_line(1, Result::kLine, blank)) << '"' << blank << '"';
  }
  EXPECT_TRUE(read_event_line(1, Result::kLine, "\v"));
}

TEST(EventLineTest, ComplaintsWithTheirPlace) {
  const auto bad = read_event_line(7, Result::kLine, "[]");
  ASSERT_TRUE(bad);
  EXPECT_FALSE(bad->event);
  EXPECT_EQ(bad->complaint, "not an object");
  EXPECT_EQ(bad->complaint_in("day.jsonl"), "day.jsonl:7: not an object");

  const auto too_long = read_event_line(18446744073709551615U, Result::kTooLong, "");
  ASSERT_TRUE(too_long);
  EXPECT_FALSE(too_long->event);
  EXPECT_EQ(too_long->complaint_in("<stdin>"), "<stdin>:18446744073709551615: the line is over 64 KiB long");
}

}  // namespace event_line_test
}  // namespace polaiga::engine
