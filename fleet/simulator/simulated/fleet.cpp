#include "simulated/fleet.h"

#include <poll.h>
#include <sys/epoll.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <system_error>
#include <utility>

namespace polaiga::fleet {
namespace {

constexpr std::chrono::seconds kTick{1};

SimulatedTeller::Name name_of(std::size_t controller, std::size_t sites) {
  std::array<char, 64> site{};
  std::array<char, 64> rack{};
  std::snprintf(site.data(), site.size(), "hall-%zu", controller % sites + 1);
  std::snprintf(rack.data(), rack.size(), "rack-%05zu", controller + 1);
  return {.site = site.data(), .controller = rack.data()};
}

std::string ledger_id(std::mt19937_64& random) {
  std::array<char, 33> text{};
  std::snprintf(text.data(), text.size(), "%016llx%016llx", static_cast<unsigned long long>(random()),
                static_cast<unsigned long long>(random()));
  return text.data();
}

// Of a message that comes down: an action is the longest.
constexpr std::size_t kMostDownBytes = 8192;

mqtt::Settings settings_of(mqtt::Settings settings, const SimulatedTeller::Name& name) {
  const std::string below = "polaiga/v1/" + name.site + "/" + name.controller + "/";
  settings.client_id = "polaiga-" + name.site + "-" + name.controller;
  settings.will_topic = below + "status";
  settings.will_payload = SimulatedTeller::will(name);
  for (const char* const topic : {"ack", "replay", "action"}) {
    settings.subscriptions.push_back({.topic = below + topic, .most = kMostDownBytes});
  }
  return settings;
}

}  // namespace

SimulatedFleet::Controller::Controller(SimulatedTeller::Name name, SimulatedLedger ledger, Line the_line,
                                       std::chrono::seconds heartbeat)
    : line(std::move(the_line)), teller(std::move(name), std::move(ledger), line, heartbeat) {
  line.set_listener(teller);
}

SimulatedFleet::SimulatedFleet(const Recording& recording, const engine::Clock& clock, const Shape& shape)
    : clock_(clock), epoll_(::epoll_create1(EPOLL_CLOEXEC)), connect_rate_(shape.connect_rate), began_(clock.steady()) {
  if (!epoll_.is_open()) throw std::system_error(errno, std::generic_category(), "epoll_create1");
  std::mt19937_64 random(shape.seed);
  const std::vector<engine::ChangeNumber>& beginnings = recording.beginnings();
  for (std::size_t i = 0; i < shape.controllers; ++i) {
    const auto name = name_of(i, shape.sites);
    SimulatedLedger ledger(recording, ledger_id(random), beginnings[random() % beginnings.size()], shape.kept);
    controllers_.push_back(std::make_unique<Controller>(
        name, std::move(ledger), Line(settings_of(shape.settings, name), shape.brokers, random()), shape.heartbeat));
  }
}

SimulatedTeller::Now SimulatedFleet::now() const { return {.steady = clock_.steady(), .wall = clock_.wall()}; }

void SimulatedFleet::make_change(std::size_t index) {
  Controller& controller = *controllers_[index];
  controller.teller.set_now(now());
  controller.teller.make_change();
  if (!std::exchange(controller.is_due, true)) due_.push_back(index);
}

// Those whose time has come, not more a second than allowed.
void SimulatedFleet::connect_some() {
  const auto steady = clock_.steady();
  const auto allowed =
      static_cast<std::uint64_t>(std::chrono::duration<double>(steady - began_).count() * connect_rate_) + 1;
  for (std::size_t looked = 0; looked < size() && attempts_ < allowed; ++looked) {
    const std::size_t index = std::exchange(next_to_connect_, (next_to_connect_ + 1) % size());
    Line& line = controllers_[index]->line;
    if (!line.may_connect(steady)) continue;
    line.connect(steady);
    ++attempts_;
    watch(index);
  }
  // What was not used is not saved up.
  if (attempts_ < allowed) attempts_ = allowed;
}

void SimulatedFleet::go_on_with(Controller& controller) const {
  controller.teller.go_on();
  for (const auto latency : controller.teller.take_latencies()) on_latency(latency);
}

void SimulatedFleet::take_time() {
  const auto at = now();
  if (at.steady - ticked_ < kTick) return;
  ticked_ = at.steady;
  for (std::size_t i = 0; i < size(); ++i) {
    Controller& controller = *controllers_[i];
    controller.teller.set_now(at);
    controller.line.tick(at.steady);
    go_on_with(controller);
    watch(i);
  }
}

void SimulatedFleet::go_on(std::chrono::milliseconds most) {
  connect_some();
  take_time();
  for (const std::size_t index : std::exchange(due_, {})) {
    controllers_[index]->is_due = false;
    go_on_with(*controllers_[index]);
    watch(index);
  }
  std::array<epoll_event, 256> events{};
  const int count =
      ::epoll_wait(epoll_.get(), events.data(), static_cast<int>(events.size()), static_cast<int>(most.count()));
  if (count < 0 && errno != EINTR) throw std::system_error(errno, std::generic_category(), "epoll_wait");
  for (int i = 0; i < count; ++i) {
    const std::size_t index = events[static_cast<std::size_t>(i)].data.u64;
    Controller& controller = *controllers_[index];
    controller.teller.set_now(now());
    controller.line.go_on((events[static_cast<std::size_t>(i)].events & ~std::uint32_t{EPOLLOUT}) != 0 ? POLLIN : 0);
    go_on_with(controller);
    watch(index);
  }
}

// A descriptor that was closed is watched no more, and the one of the next connection may have its number.
void SimulatedFleet::watch(std::size_t index) {
  Controller& controller = *controllers_[index];
  const int fd = controller.line.fd();
  if (fd < 0) {
    controller.watched = -1;
    return;
  }
  const bool to_write = controller.line.wants_to_write();
  if (fd == controller.watched && to_write == controller.is_watched_to_write) return;
  epoll_event event{};
  event.events = EPOLLIN | (to_write ? EPOLLOUT : 0U);
  event.data.u64 = index;
  int result = ::epoll_ctl(epoll_.get(), EPOLL_CTL_MOD, fd, &event);
  if (result != 0 && errno == ENOENT) result = ::epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, fd, &event);
  if (result != 0) throw std::system_error(errno, std::generic_category(), "epoll_ctl");
  controller.watched = fd;
  controller.is_watched_to_write = to_write;
}

void SimulatedFleet::say_goodbye() {
  for (std::size_t i = 0; i < size(); ++i) {
    controllers_[i]->teller.set_now(now());
    controllers_[i]->teller.say_goodbye();
    watch(i);
  }
}

bool SimulatedFleet::is_quiet() const {
  for (const auto& controller : controllers_) {
    if (controller->line.is_up() && controller->teller.in_flight() != 0) return false;
  }
  return true;
}

void SimulatedFleet::end() {
  for (const auto& controller : controllers_) controller->line.say_goodbye();
}

SimulatedFleet::Sums SimulatedFleet::sums() const {
  Sums sums;
  for (const auto& controller : controllers_) {
    const SimulatedTeller::Counts& counts = controller->teller.counts();
    sums.counts.made += counts.made;
    sums.counts.acked += counts.acked;
    sums.counts.told += counts.told;
    sums.counts.told_again += counts.told_again;
    sums.counts.replays += counts.replays;
    sums.counts.lists += counts.lists;
    sums.counts.refused += counts.refused;
    sums.online += controller->line.is_up();
    sums.waiting += controller->teller.waiting();
    const std::uint64_t times_up = controller->line.times_up();
    sums.reconnects += times_up > 1 ? times_up - 1 : 0;
    sums.never_online += times_up == 0;
  }
  return sums;
}

std::string SimulatedFleet::last_problem() const {
  for (const auto& controller : controllers_) {
    if (!controller->line.is_up() && !controller->line.last_problem().empty()) return controller->line.last_problem();
  }
  return {};
}

}  // namespace polaiga::fleet
