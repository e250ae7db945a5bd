#include "report/progress.h"

#include <gtest/gtest.h>

#include <chrono>

#include "support/manual_clock.h"

namespace polaiga::engine {
namespace progress_test {

using namespace std::chrono_literals;

TEST(ProgressText, PartRateAndTimeLeft) {
  EXPECT_EQ(progress_text(0, 1000, 0, 2), "[--------------------]   0%  0 events/s  0 s left");
  EXPECT_EQ(progress_text(250, 1000, 400, 2), "[#####---------------]  25%  200 events/s  6 s left");
  EXPECT_EQ(progress_text(1000, 1000, 3000, 1.5), "[####################] 100%  2000 events/s  0 s left");
  EXPECT_EQ(progress_text(2000, 1000, 10, 1),
            "[####################] 100%  10 events/s  0 s left");  // the file has grown
}

std::string shown_by(std::uint64_t bytes_in_all, std::chrono::milliseconds wait) {
  test::ManualClock clock(0);
  testing::internal::CaptureStderr();
  Progress progress(bytes_in_all, clock);
  progress.update(1, 1);
  clock.pass(wait);
  progress.update(50, 10);
  clock.pass(99ms);
  progress.update(60, 20);  // too soon after the last
  progress.hide();
  return testing::internal::GetCapturedStderr();
}

TEST(Progress, ComesAfterASecondAndGoes) {
  EXPECT_EQ(shown_by(100, 0ms), "");
  EXPECT_EQ(shown_by(100, 900ms), "");
  EXPECT_EQ(shown_by(0, 1000ms), "");
  EXPECT_EQ(shown_by(100, 1000ms), "\r\x1b[K[##########----------]  50%  10 events/s  1 s left\r\x1b[K");
  // The first of the two was too soon.
  EXPECT_EQ(shown_by(100, 950ms), "\r\x1b[K[############--------]  60%  19 events/s  1 s left\r\x1b[K");
}

TEST(Progress, IsShownAnewTenTimesASecond) {
  test::ManualClock clock(0);
  testing::internal::CaptureStderr();
  Progress progress(100, clock);
  clock.pass(2000ms);
  progress.update(50, 10);
  clock.pass(100ms);
  progress.update(100, 21);
  progress.hide();
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "\r\x1b[K[##########----------]  50%  5 events/s  2 s left"
            "\r\x1b[K[####################] 100%  10 events/s  0 s left\r\x1b[K");
}

}  // namespace progress_test
}  // namespace polaiga::engine
