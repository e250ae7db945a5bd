#include "daemon/publisher_reports.h"

#include <gtest/gtest.h>

#include "support/manual_clock.h"

namespace polaiga::engine {
namespace publisher_reports_test {

using namespace std::chrono_literals;

constexpr Moment kNow = 1'800'000'000;

TEST(PublisherReports, ACursorIsWrittenWhenItMovesOrIsOld) {
  const PublisherCursor written{.publisher = "a", .through = 17, .updated = kNow};
  EXPECT_TRUE(PublisherReports::is_written(written, 17, kNow));
  EXPECT_TRUE(PublisherReports::is_written(written, 17, kNow + 59));
  EXPECT_FALSE(PublisherReports::is_written(written, 17, kNow + 60));
  EXPECT_FALSE(PublisherReports::is_written(written, 17, kNow - 1)) << "the clock went back";
  EXPECT_FALSE(PublisherReports::is_written(written, 18, kNow));
  EXPECT_FALSE(PublisherReports::is_written(written, 16, kNow));
}

TEST(PublisherReports, TheLatestReportIsTold) {
  test::ManualClock clock(kNow);
  PublisherReports reports;
  const PublisherCursor cursor{.publisher = "a", .through = 17, .updated = kNow - 50};
  EXPECT_FALSE(reports.knows("a"));
  PublisherStatus status = reports.status(cursor, clock);
  EXPECT_EQ(status.silent, std::nullopt);
  EXPECT_EQ(status.cursor.updated, kNow - 50);
  EXPECT_EQ(status.report, PublisherReport{});

  reports.keep("a", {.peer = "first", .connected = true}, clock);
  clock.pass(5);
  reports.keep("a", {.peer = "second"}, clock);
  clock.pass(7);
  clock.pass(900ms);
  EXPECT_TRUE(reports.knows("a"));
  status = reports.status(cursor, clock);
  EXPECT_EQ(status.silent, 7s);
  EXPECT_EQ(status.cursor.updated, kNow + 5);
  EXPECT_EQ(status.cursor.through, 17);
  EXPECT_EQ(status.report, PublisherReport{.peer = "second"});

  reports.forget("a");
  EXPECT_FALSE(reports.knows("a"));
  EXPECT_EQ(reports.status(cursor, clock).silent, std::nullopt);
}

// How long a publisher has been silent does not follow the jumps of the clock of the day.
TEST(PublisherReports, TheClockOfTheDayMayJump) {
  test::ManualClock clock(kNow);
  PublisherReports reports;
  reports.keep("a", {}, clock);
  clock.set(0);
  EXPECT_EQ(reports.status({.publisher = "a", .through = 0, .updated = 0}, clock).silent, 0s);
}

}  // namespace publisher_reports_test
}  // namespace polaiga::engine
