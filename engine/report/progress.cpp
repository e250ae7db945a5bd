#include "report/progress.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>

namespace polaiga::engine {
namespace {

using namespace std::chrono_literals;

constexpr auto kPatience = 1s;
constexpr auto kPeriod = 100ms;

}  // namespace

std::string progress_text(std::uint64_t bytes_done, std::uint64_t bytes_in_all, std::uint64_t events, double seconds) {
  constexpr std::size_t kWidth = 20;
  const double part = std::min(1.0, static_cast<double>(bytes_done) / static_cast<double>(bytes_in_all));
  const double left = part > 0 ? seconds * (1 - part) / part : 0;
  std::string bar(static_cast<std::size_t>(part * kWidth), '#');
  bar.resize(kWidth, '-');
  std::array<char, 120> text{};
  std::snprintf(text.data(), text.size(), "[%s] %3.0f%%  %.0f events/s  %.0f s left", bar.c_str(), part * 100,
                static_cast<double>(events) / seconds, left);
  return text.data();
}

Progress::Progress(std::uint64_t bytes_in_all, const Clock& clock)
    : bytes_in_all_(bytes_in_all), clock_(clock), due_(start_ + kPatience) {}

void Progress::update(std::uint64_t bytes_done, std::uint64_t events) {
  if (bytes_in_all_ == 0) return;
  const Clock::Steady now = clock_.steady();
  if (now < due_) return;
  const std::chrono::duration<double> taken = now - start_;
  std::fprintf(stderr, "\r\x1b[K%s", progress_text(bytes_done, bytes_in_all_, events, taken.count()).c_str());
  shown_ = true;
  due_ = now + kPeriod;
}

void Progress::hide() {
  if (!shown_) return;
  std::fputs("\r\x1b[K", stderr);
  shown_ = false;
}

}  // namespace polaiga::engine
