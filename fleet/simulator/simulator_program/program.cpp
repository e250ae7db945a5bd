#include "simulator_program/program.h"

#include <signal.h>
#include <sys/resource.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <exception>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>
#include <string>

#include "base/clock.h"
#include "base/messages.h"
#include "base/status.h"
#include "recorded/recording.h"
#include "report/json_object.h"
#include "simulated/fleet.h"
#include "simulated/latencies.h"
#include "simulated/pace.h"
#include "simulator_program/command_line.h"
#include "simulator_program/record.h"

namespace polaiga::fleet {
namespace {

using engine::JsonObject;
using std::chrono::duration;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr int kNotAcknowledged = 1;
constexpr milliseconds kAtMost{5};  // between two looks at who is to make a change
constexpr seconds kGoodbyeWithin{10};
constexpr milliseconds kSoon{2000};

volatile std::sig_atomic_t signals = 0;
extern "C" void count_signal(int /*signal*/) { signals = signals + 1; }

void take_signals() {
  struct sigaction action = {};
  action.sa_handler = count_signal;  // epoll_wait is to return, so without SA_RESTART
  ::sigaction(SIGTERM, &action, nullptr);
  ::sigaction(SIGINT, &action, nullptr);
  ::signal(SIGPIPE, SIG_IGN);
}

// Each connection has a descriptor, and its library uses two more.
void allow_descriptors() {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  ::setrlimit(RLIMIT_NOFILE, &limit);
}

std::string text_of_file(const std::string& path) {
  std::ifstream file(path);
  std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  if (!file) throw std::runtime_error("cannot read '" + path + "'");
  return text;
}

mqtt::Settings settings_of(const SimulatorOptions& options) {
  mqtt::Settings settings = options.settings;
  settings.is_session_clean = options.is_session_clean;
  return settings;
}

class Program {
 public:
  explicit Program(const SimulatorOptions& options)
      : options_(options),
        seed_(options.seed != 0 ? options.seed : std::random_device()()),
        recording_(text_of_file(options.recording)),
        pace_(options.controllers, options.rate, options.has_bursts, seed_),
        fleet_(recording_, clock_,
               {.brokers = options.brokers,
                .settings = settings_of(options),
                .controllers = options.controllers,
                .sites = options.sites,
                .heartbeat = seconds(options.heartbeat),
                .kept = options.kept,
                .connect_rate = options.connect_rate,
                .seed = seed_}) {
    fleet_.on_latency = [this](std::chrono::nanoseconds latency) {
      latencies_.add(latency);
      latencies_now_.add(latency);
    };
  }

  int run();

 private:
  double since(engine::Clock::Steady then) const { return duration<double>(clock_.steady() - then).count(); }
  void go_on();
  void tell_figures();
  JsonObject figures(const SimulatedFleet::Sums& sums, const Latencies& latencies) const;
  void make_changes();
  void wait_for_acknowledgements();
  void say_goodbye();

  const SimulatorOptions& options_;
  std::uint64_t seed_;
  engine::SystemClock clock_;
  Recording recording_;
  Pace pace_;
  SimulatedFleet fleet_;
  Latencies latencies_;
  Latencies latencies_now_;  // of this second
  engine::Clock::Steady began_ = clock_.steady();
  engine::Clock::Steady told_ = began_;
  double seconds_of_changes_ = 0;  // for which changes were made
};

JsonObject Program::figures(const SimulatedFleet::Sums& sums, const Latencies& latencies) const {
  JsonObject object;
  object.add("seconds", static_cast<std::int64_t>(since(began_)))
      .add("online", sums.online)
      .add("made", sums.counts.made)
      .add("acked", sums.counts.acked)
      .add("waiting", sums.waiting)
      .add("p50_ms", latencies.percentile(50))
      .add("p99_ms", latencies.percentile(99))
      .add("told", sums.counts.told)
      .add("told_again", sums.counts.told_again)
      .add("reconnects", sums.reconnects)
      .add("replays", sums.counts.replays)
      .add("lists", sums.counts.lists)
      .add("refused", sums.counts.refused);
  return object;
}

// One line each second.
void Program::tell_figures() {
  if (clock_.steady() - told_ < seconds(1)) return;
  told_ += seconds(1);
  JsonObject object = figures(fleet_.sums(), latencies_now_);
  if (const std::string problem = fleet_.last_problem(); !problem.empty()) object.add("problem", problem);
  std::fputs(object.line().c_str(), stdout);
  std::fflush(stdout);
  latencies_now_.clear();
}

void Program::go_on() {
  fleet_.go_on(kAtMost);
  tell_figures();
}

void Program::make_changes() {
  const auto began = clock_.steady();
  while (signals == 0 && (options_.duration == 0 || since(began) < options_.duration)) {
    for (const std::size_t controller : pace_.due(since(began))) fleet_.make_change(controller);
    go_on();
  }
  seconds_of_changes_ = since(began);
}

void Program::wait_for_acknowledgements() {
  const int before = signals;
  const auto began = clock_.steady();
  while (signals == before && fleet_.sums().waiting != 0 && since(began) < options_.wait) go_on();
}

void Program::say_goodbye() {
  fleet_.say_goodbye();
  const auto began = clock_.steady();
  while (!fleet_.is_quiet() && clock_.steady() - began < kGoodbyeWithin) go_on();
  fleet_.end();
}

int Program::run() {
  while (signals == 0 && fleet_.sums().never_online != 0) go_on();
  make_changes();
  wait_for_acknowledgements();
  say_goodbye();
  if (!options_.record.empty()) write_record(options_.record, fleet_);
  const SimulatedFleet::Sums sums = fleet_.sums();
  JsonObject end;
  end.add("end", true)
      .add_members_of(figures(sums, latencies_))
      .add("seconds_of_changes", static_cast<std::int64_t>(seconds_of_changes_))
      .add("acked_within_2_s", latencies_.within(kSoon))
      .add("seed", seed_);
  std::fputs(end.line().c_str(), stdout);
  return sums.waiting == 0 ? engine::kDone : kNotAcknowledged;
}

}  // namespace

int run_simulator(int argc, const char* const* argv) {
  int status = engine::kDone;
  try {
    const auto options = read_simulator_options(argc, argv, status);
    if (!options) return status;
    take_signals();
    allow_descriptors();
    return Program(*options).run();
  } catch (const std::exception& error) {
    engine::say(error.what());
  }
  return engine::kFailed;
}

}  // namespace polaiga::fleet
