// polaiga-web: a page, an API, Redfish and metrics of an engine's alarms.
#include <poll.h>

#include <CLI/CLI.hpp>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <mutex>
#include <string>

#include "access/gate.h"
#include "api/api.h"
#include "app/application.h"
#include "app/program.h"
#include "app/site.h"
#include "base/messages.h"
#include "base/signals.h"
#include "base/unblocked_output.h"
#include "control/control_client.h"
#include "http/server.h"
#include "redfish/redfish.h"

namespace {

using namespace polaiga::web;
using polaiga::engine::Messages;
using polaiga::engine::Priority;

struct Options {
  std::string ledger;
  std::string control = polaiga::engine::kControlSocket;
  std::string listen;
  std::string program = "polaiga";
  // Of events that are pushed to Redfish's subscribers.
  std::string state;
  polaiga::web::PushOptions push;
  int push_retry = 30;  // seconds
};

// What `polaiga catalog --json` prints.
std::string catalog_of(const std::string& program) {
  ProgramAnswer answer = run_program({program, "catalog", "--json"});
  if (answer.status != 0) throw ProgramFailed(program + " says: " + answer.complaint);
  return std::move(answer.output);
}

int serve(const Options& options) {
  const auto address = parse_listen_address(options.listen);
  if (!address) {
    throw std::runtime_error("--listen is '" + options.listen +
                             "'; it may be unix:PATH, 127.0.0.1:PORT or [::1]:PORT, and with TLS any address of this "
                             "machine");
  }
  if (!address->is_local()) throw std::runtime_error("Without TLS the server listens at this machine alone");
  const polaiga::engine::SystemClock clock;
  Messages messages(clock);
  std::mutex saying;
  const auto say = [&](Priority priority, const std::string& text) {
    const std::lock_guard lock(saying);
    messages.say(priority, text);
  };
  const polaiga::engine::Signals signals(2, std::chrono::seconds(10), messages.output(), "");
  LiveLedger live(options.ledger, [&](const std::string& text) { say(Priority::kWarning, text); });
  Readers readers(options.ledger);
  EngineLink engine(options.control);
  Site site{live, readers, engine, options.program, options.ledger};
  Api api(site);
  OpenGate gate;
  Application application(gate);
  application.add("api", api);
  std::atomic<Server*> serving = nullptr;
  PushOptions push = options.push;
  push.retry_interval = std::chrono::seconds(options.push_retry);
  Redfish redfish(site, {.state_directory = options.state,
                         .push = push,
                         .sessions = nullptr,
                         .catalog = [&options] { return catalog_of(options.program); },
                         .tell = [&](const std::string& text) { say(Priority::kWarning, text); },
                         .wake_streams =
                             [&serving] {
                               if (Server* const now = serving) now->wake();
                             }});
  application.add("redfish", redfish);
  Listener listener(*address);
  Server server(listener, application, {}, std::nullopt,
                [&](const std::string& text) { say(Priority::kWarning, text); });
  serving = &server;
  live.on_change([&server, &redfish] {
    server.wake();
    redfish.wake();
  });
  engine.on_change([&server] { server.wake(); });
  say(Priority::kInfo, "ready: " + listener.address().text(false));
  pollfd waiting{.fd = signals.fd(), .events = POLLIN, .revents = 0};
  for (bool is_over = false; !is_over;) {
    ::poll(&waiting, 1, -1);
    while (const auto signal = signals.take()) is_over = is_over || *signal != SIGHUP;
  }
  live.on_change({});
  engine.on_change({});
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_IGN);
  CLI::App program("Shows the alarms of an engine to browsers and programs", "polaiga-web");
  Options options;
  program.add_option("--ledger", options.ledger, "Ledger of the engine")->required()->envname("POLAIGA_LEDGER");
  program.add_option("--control", options.control, "Control socket of the engine")->envname("POLAIGA_CONTROL");
  program.add_option("--listen", options.listen, "Where to listen: unix:PATH, 127.0.0.1:PORT or [::1]:PORT")
      ->required();
  program.add_option("--program", options.program, "The program polaiga, which explains faults");
  program.add_option("--state", options.state, "Directory that subscriptions to pushed events are kept in");
  program.add_option("--push-retry", options.push_retry, "Seconds after which a push that failed is tried again")
      ->check(CLI::Range(1, 86'400));
  program.add_option("--push-attempts", options.push.retry_attempts, "How often it is, before a subscription may end")
      ->check(CLI::Range(0, 1000));
  program.add_flag("--push-local", options.push.allows_local, "Push events to addresses of this machine, too");
  try {
    program.parse(argc, argv);
    return serve(options);
  } catch (const CLI::ParseError& error) {
    return program.exit(error) == 0 ? 0 : 2;
  } catch (const std::exception& error) {
    polaiga::engine::say(error.what());
    return 2;
  }
}
