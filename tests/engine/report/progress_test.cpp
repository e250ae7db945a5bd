#include "report/progress.h"

#include <gtest/gtest.h>

#include <thread>

namespace polaiga::engine {
namespace {

using namespace std::chrono_literals;

TEST(ProgressText, PartRateAndTimeLeft) {
  EXPECT_EQ(progress_text(0, 1000, 0, 2), "[--------------------]   0%  0 events/s  0 s left");
  EXPECT_EQ(progress_text(250, 1000, 400, 2), "[#####---------------]  25%  200 events/s  6 s left");
  EXPECT_EQ(progress_text(1000, 1000, 3000, 1.5), "[####################] 100%  2000 events/s  0 s left");
  EXPECT_EQ(progress_text(2000, 1000, 10, 1),
            "[####################] 100%  10 events/s  0 s left");  // the file has grown
}

std::string shown_by(std::uint64_t bytes_in_all, std::chrono::milliseconds wait, bool hide) {
  testing::internal::CaptureStderr();
  Progress progress(bytes_in_all);
  progress.update(1, 1);
  std::this_thread::sleep_for(wait);
  progress.update(50, 10);
  progress.update(60, 20);  // too soon after the last
  if (hide) progress.hide();
  return testing::internal::GetCapturedStderr();
}

TEST(Progress, ComesAfterASecondAndGoes) {
  EXPECT_EQ(shown_by(100, 0ms, true), "");
  EXPECT_EQ(shown_by(0, 1100ms, true), "");
  const std::string shown = shown_by(100, 1100ms, true);
  EXPECT_EQ(shown.substr(0, 4 + 22), "\r\x1b[K[##########----------]");
  EXPECT_EQ(shown.find("[##", 4 + 22), std::string::npos);
  ASSERT_GT(shown.size(), 30U);
  EXPECT_EQ(shown.substr(shown.size() - 4), "\r\x1b[K");
}

}  // namespace
}  // namespace polaiga::engine
