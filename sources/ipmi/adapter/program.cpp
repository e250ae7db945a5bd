#include "adapter/program.h"

#include <poll.h>
#include <sys/random.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "adapter/adapter.h"
#include "adapter/check_report.h"
#include "adapter/command_line.h"
#include "adapter/credentials.h"
#include "adapter/mapping_file.h"
#include "adapter/options.h"
#include "adapter/printed_events.h"
#include "adapter/saved_events.h"
#include "adapter/watched_session.h"
#include "base/clock.h"
#include "base/messages.h"
#include "base/service_manager.h"
#include "base/signals.h"
#include "base/standard_output.h"
#include "base/status.h"
#include "base/tab_separated.h"
#include "controller/freeipmi_session.h"
#include "controller/saved_log.h"
#include "follow/engine_connection.h"
#include "follow/log_fullness.h"
#include "follow/state_file.h"

namespace polaiga::ipmi {
namespace {

using engine::Priority;
using std::chrono::milliseconds;

// A request may take longer than a service manager waits for the program's end.
constexpr std::chrono::seconds kEndWithin{10};

// It could not do all, or not go on. The units start it again after this status, and not after engine::kFailed.
constexpr int kUndone = 1;

// The program was asked to end amid a row of requests.
struct Stopped {};

std::uint64_t random_number() {
  std::uint64_t number = 0;
  if (::getrandom(&number, sizeof number, 0) != sizeof number) throw std::runtime_error("there are no random numbers");
  return number;
}

std::unique_ptr<Session> open_session(const Access& access, const Options& options) {
  if (!access.device.empty()) return std::make_unique<FreeIpmiSession>(access.device);
  return std::make_unique<FreeIpmiSession>(NetworkAccess{.target = access.target,
                                                         .user = access.user,
                                                         .password = access.password,
                                                         .cipher = access.cipher,
                                                         .workarounds = access.workarounds,
                                                         .pause = static_cast<unsigned>(options.poll)});
}

// For what is printed there is no need to remember anything.
class NoStore final : public StateStore {
 public:
  void save(const State& /*state*/) override {}
};

// The program while it follows a controller.
class Service {
 public:
  explicit Service(const Options& options)
      : options_(options), access_(find_access(options)), messages_(clock_), manager_(clock_) {}

  int run();

 private:
  void say(Priority priority, const std::string& text) { messages_.say(priority, text); }
  void look_after_itself();
  void take_signals();
  void reload(Adapter& adapter);
  void wait(const Adapter& adapter, const EventSink& sink);
  int follow(Adapter& adapter, const EventSink& sink);
  std::optional<int> end_of_once(const Adapter& adapter, const EventSink& sink);
  int serve(const SensorLevels::Rows& rows, EventSink& sink);

  const Options& options_;
  engine::SystemClock clock_;
  Access access_;
  engine::Messages messages_;
  engine::ServiceManager manager_;
  const std::string last_line_{std::string(messages_.prefix(Priority::kError)) +
                               "A request to the controller did not end within " + std::to_string(kEndWithin.count()) +
                               " s, so the program ended without its answer.\n"};
  std::optional<engine::Signals> signals_;
  bool must_stop_ = false;
  bool must_reload_ = false;
  // Of --once: how many events waited when there was progress last, and when that was.
  std::size_t waiting_ = 0;
  engine::Clock::Steady progress_{};
};

void Service::take_signals() {
  while (const auto signal = signals_->take()) {
    must_reload_ = must_reload_ || *signal == SIGHUP;
    must_stop_ = must_stop_ || *signal != SIGHUP;
  }
}

void Service::look_after_itself() {
  manager_.tick();
  messages_.tick();
  take_signals();
  if (must_stop_) throw Stopped();
}

void Service::reload(Adapter& adapter) {
  must_reload_ = false;
  manager_.reloading();
  try {
    adapter.use_rows(read_rows_of(mapping_file(options_.map)));
    say(Priority::kInfo, "the mapping was read anew");
  } catch (const engine::TableError& error) {
    say(Priority::kWarning,
        std::string(error.what()) + "; the mapping that was read before goes on. Mend the file, and send SIGHUP again");
  }
  manager_.ready(adapter.status());
}

void Service::wait(const Adapter& adapter, const EventSink& sink) {
  auto until = adapter.until_next();
  for (const auto& other : {manager_.until_tick(), messages_.until_tick()}) {
    if (other) until = std::min(until, *other);
  }
  std::array<pollfd, 3> polled{{{.fd = signals_->fd(), .events = POLLIN, .revents = 0},
                                {.fd = sink.fd(), .events = sink.poll_events(), .revents = 0},
                                {.fd = messages_.waits_for(), .events = POLLOUT, .revents = 0}}};
  ::poll(polled.data(), polled.size(), static_cast<int>(std::min<std::int64_t>(until.count(), 3'600'000)));
}

// Nothing: it goes on.
std::optional<int> Service::end_of_once(const Adapter& adapter, const EventSink& sink) {
  constexpr std::chrono::seconds kPatience{10};
  if (adapter.is_done()) return sink.refused() == 0 ? engine::kDone : kUndone;
  if (adapter.has_lost_controller()) return kUndone;
  const auto now = clock_.steady();
  if (adapter.waiting() != waiting_ || !adapter.waits_for_engine()) {
    waiting_ = adapter.waiting();
    progress_ = now;
  }
  if (now - progress_ < kPatience) return std::nullopt;
  say(Priority::kError, std::to_string(adapter.waiting()) + " events could not be told; the next run tells them");
  return kUndone;
}

int Service::follow(Adapter& adapter, const EventSink& sink) {
  progress_ = clock_.steady();
  manager_.ready(adapter.status());
  try {
    while (!must_stop_) {
      adapter.go_on();
      manager_.status(adapter.status());
      if (options_.once) {
        if (const auto status = end_of_once(adapter, sink)) return *status;
      }
      wait(adapter, sink);
      manager_.tick();
      messages_.tick();
      take_signals();
      if (must_reload_) reload(adapter);
    }
  } catch (const Stopped&) {
    // What was not saved is read again after the next start.
  } catch (const ControllerRefuses& error) {
    say(Priority::kError, std::string(error.what()) +
                              "; the program ends, since another try could lock the user out. Start it again when this "
                              "is mended");
    manager_.stopping();
    adapter.end();
    return engine::kFailed;
  }
  manager_.stopping();
  adapter.end();
  return engine::kDone;
}

int Service::serve(const SensorLevels::Rows& rows, EventSink& sink) {
  NoStore no_store;
  std::optional<StateFile> file;
  State state;
  if (!options_.state.empty()) {
    file.emplace(options_.state);
    state = file->load([&](const std::string& text) { say(Priority::kWarning, text); });
  }
  const auto open = [this]() -> std::unique_ptr<Session> {
    look_after_itself();
    return std::make_unique<WatchedSession>(open_session(access_, options_), [this] { look_after_itself(); });
  };
  StateStore* store = &no_store;
  if (file) store = &*file;
  const auto tell = [this](Priority priority, const std::string& text) { say(priority, text); };
  Adapter adapter(std::move(state), {open, *store, sink, clock_, tell, random_number},
                  {.poll = std::chrono::seconds(options_.poll), .with_history = options_.with_history});
  adapter.use_rows(rows);
  say(Priority::kInfo, "ready: following the controller " + access_.name());
  return follow(adapter, sink);
}

// What is wrong with the arguments or the mapping does not mend by itself, and a user whom the controller refuses must
// not be tried again. All else, as a full disk or a lack of memory, may be over when the service is started again.
int Service::run() {
  signals_.emplace(engine::kFailed, kEndWithin, messages_.output(), last_line_);
  const SensorLevels::Rows rows = read_rows_of(mapping_file(options_.map));
  std::optional<engine::StandardOutput> output;
  std::unique_ptr<EventSink> sink;
  if (options_.print) {
    sink = std::make_unique<PrintedEvents>(output.emplace());
  } else {
    sink = std::make_unique<EngineConnection>(
        options_.socket, clock_, [this](Priority priority, const std::string& text) { say(priority, text); });
  }
  try {
    return serve(rows, *sink);
  } catch (const ControllerRefuses&) {
    throw;
  } catch (const engine::WriteError&) {
    throw;
  } catch (const std::exception& error) {
    say(Priority::kError, error.what());
    return kUndone;
  }
}

int list_sensors(const Options& options) {
  const SensorLevels::Rows rows = read_rows_of(mapping_file(options.map));
  std::unique_ptr<Session> session;
  std::optional<Controller> controller;
  std::vector<Sensor> sensors;
  if (options.sdr.empty()) {
    session = open_session(find_access(options), options);
    controller.emplace(*session);
    sensors = controller->sensors([](const std::string& text) { engine::say(text); });
    sensors.push_back(fullness_sensor());
  } else {
    sensors = parse_saved_sensors(read_saved_file(options.sdr), options.sdr,
                                  [](const std::string& text) { engine::complain(text); });
  }
  const auto state = [&](const Sensor& sensor) -> std::optional<SensorState> {
    if (!controller) return std::nullopt;
    return sensor.key == fullness_sensor().key ? fullness(controller->log_info(), false) : controller->state(sensor);
  };
  engine::StandardOutput output;
  for (const std::string& line : check_report(sensors, rows, state)) output.write(line + "\n");
  output.flush();
  return engine::kDone;
}

int print_saved(const Options& options) {
  const SensorLevels::Rows rows = read_rows_of(mapping_file(options.map));
  int status = engine::kDone;
  const auto complain = [&](const std::string& text) {
    status = engine::kBadLines;
    engine::complain(text);
  };
  std::vector<Sensor> sensors;
  if (!options.sdr.empty()) sensors = parse_saved_sensors(read_saved_file(options.sdr), options.sdr, complain);
  engine::StandardOutput output;
  for (const std::string& line :
       saved_events(parse_saved_log(read_saved_file(options.sel), options.sel, sensors, complain), sensors, rows,
                    [](const std::string& text) { engine::say(text); })) {
    output.write(line + "\n");
  }
  output.flush();
  return status;
}

}  // namespace

int run_program(int argc, const char* const* argv) {
  int status = engine::kDone;
  try {
    const auto options = read_command_line(argc, argv, status);
    if (!options) return status;
    std::signal(SIGPIPE, SIG_IGN);
    if (!options->sel.empty()) return print_saved(*options);
    if (options->check) return list_sensors(*options);
    return Service(*options).run();
  } catch (const engine::WriteError& error) {
    if (error.code().value() == EPIPE) return engine::kDone;
    engine::say(error.what());
  } catch (const std::exception& error) {
    engine::say(error.what());
  }
  return engine::kFailed;
}

}  // namespace polaiga::ipmi
