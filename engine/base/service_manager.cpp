#include "base/service_manager.h"

#include <systemd/sd-daemon.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <string_view>
#include <utility>

namespace polaiga::engine {
namespace {

using namespace std::chrono_literals;

constexpr auto kBetween = 1s;   // from one status to the next
constexpr auto kAgain = 100ms;  // until what was not taken is told again

std::string monotonic_usec() {
  std::timespec now = {};
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  return std::to_string(std::int64_t{now.tv_sec} * 1'000'000 + now.tv_nsec / 1000);
}

}  // namespace

// sd_notify(3) itself waits while the manager's queue is full, so its datagrams are sent here.
ServiceManager::ServiceManager(const Clock& clock) : clock_(clock), due_(clock.steady()) {
  const char* const path = std::getenv("NOTIFY_SOCKET");
  const std::string_view name = path != nullptr ? path : "";
  const bool is_path = name.starts_with('/') || name.starts_with('@');
  if (is_path && name.size() < sizeof address_.sun_path) {
    address_.sun_family = AF_UNIX;
    name.copy(address_.sun_path, name.size());
    if (name.starts_with('@')) address_.sun_path[0] = '\0';  // a name that is no file
    address_size_ = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
    socket_ = Descriptor(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  }
  std::uint64_t usec = 0;
  if (::sd_watchdog_enabled(0, &usec) > 0) period_ = std::chrono::microseconds(usec / 2);
}

// What cannot be sent for another reason than a full queue is of no use later.
bool ServiceManager::send(const std::string& text) {
  if (!socket_.is_open()) return true;
  const auto* const address = reinterpret_cast<const sockaddr*>(&address_);
  const auto sent =
      ::sendto(socket_.get(), text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT, address, address_size_);
  return sent >= 0 || (errno != EAGAIN && errno != EINTR && errno != ENOBUFS);
}

// Only what must not be lost is told with this. The last of them says how it is.
void ServiceManager::tell(const std::string& text) {
  untold_ = text;
  if (send(untold_)) untold_.clear();
}

void ServiceManager::ready(const std::string& status) {
  tell("READY=1\nSTATUS=" + status);
  told_ = status;
  told_at_ = clock_.steady();
}

void ServiceManager::reloading() { tell("RELOADING=1\nMONOTONIC_USEC=" + monotonic_usec()); }

void ServiceManager::stopping() { tell("STOPPING=1"); }

void ServiceManager::status(const std::string& status) {
  const auto now = clock_.steady();
  late_ = status != told_ && now < told_at_ + kBetween;
  if (late_ || status == told_) return;
  told_at_ = now;
  if (send("STATUS=" + status)) {
    told_ = status;
  } else {
    late_ = true;
  }
}

void ServiceManager::tick() {
  if (!untold_.empty() && send(untold_)) untold_.clear();
  if (!period_ || clock_.steady() < due_) return;
  due_ = clock_.steady() + (send("WATCHDOG=1") ? *period_ : std::min<std::chrono::microseconds>(*period_, kAgain));
}

std::optional<std::chrono::milliseconds> ServiceManager::until_tick() const {
  auto next = Clock::Steady::max();
  if (period_) next = due_;
  if (late_) next = std::min(next, told_at_ + kBetween);
  if (!untold_.empty()) next = std::min(next, clock_.steady() + kAgain);
  if (next == Clock::Steady::max()) return std::nullopt;
  return std::max(0ms, std::chrono::ceil<std::chrono::milliseconds>(next - clock_.steady()));
}

}  // namespace polaiga::engine
