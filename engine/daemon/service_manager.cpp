#include "daemon/service_manager.h"

#include <systemd/sd-daemon.h>

#include <algorithm>
#include <cstdint>
#include <ctime>

namespace polaiga::engine {
namespace {

using namespace std::chrono_literals;

constexpr auto kBetween = 1s;  // from one status to the next

void notify(const std::string& state) { ::sd_notify(0, state.c_str()); }

std::string monotonic_usec() {
  std::timespec now = {};
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  return std::to_string(std::int64_t{now.tv_sec} * 1'000'000 + now.tv_nsec / 1000);
}

}  // namespace

ServiceManager::ServiceManager() {
  std::uint64_t usec = 0;
  if (::sd_watchdog_enabled(0, &usec) > 0) period_ = std::chrono::microseconds(usec / 2);
  due_ = Clock::now();
}

void ServiceManager::ready(const std::string& status) {
  notify("READY=1\nSTATUS=" + status);
  told_ = status;
  told_at_ = Clock::now();
}

void ServiceManager::reloading() { notify("RELOADING=1\nMONOTONIC_USEC=" + monotonic_usec()); }

void ServiceManager::stopping() { notify("STOPPING=1"); }

void ServiceManager::status(const std::string& status) {
  const auto now = Clock::now();
  late_ = status != told_ && now < told_at_ + kBetween;
  if (late_ || status == told_) return;
  notify("STATUS=" + status);
  told_ = status;
  told_at_ = now;
}

void ServiceManager::tick() {
  if (!period_ || Clock::now() < due_) return;
  notify("WATCHDOG=1");
  due_ = Clock::now() + *period_;
}

std::optional<std::chrono::milliseconds> ServiceManager::until_tick() const {
  auto next = Clock::time_point::max();
  if (period_) next = due_;
  if (late_) next = std::min(next, told_at_ + kBetween);
  if (next == Clock::time_point::max()) return std::nullopt;
  return std::max(0ms, std::chrono::ceil<std::chrono::milliseconds>(next - Clock::now()));
}

}  // namespace polaiga::engine
