// polaiga-web: a page, an API, Redfish and metrics of an engine's alarms.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "access/access.h"
#include "access/passwd_command.h"
#include "api/api.h"
#include "app/application.h"
#include "app/catalog.h"
#include "app/site.h"
#include "base/messages.h"
#include "base/signals.h"
#include "base/unblocked_output.h"
#include "control/control_client.h"
#include "http/host_names.h"
#include "http/server.h"
#include "metrics/metrics.h"
#include "page/page.h"
#include "redfish/redfish.h"
#include "restconf/restconf.h"
#include "serving/serving.h"

namespace {

using namespace polaiga::web;
using polaiga::engine::Messages;
using polaiga::engine::Priority;

struct Options {
  std::string ledger;
  std::string control = polaiga::engine::kControlSocket;
  std::string program = "polaiga";
  std::size_t most_series = Metrics::kMostSeries;
  ServingOptions serving;
  // Of events that are pushed to Redfish's subscribers.
  std::string state;
  polaiga::web::PushOptions push;
  int push_retry = 30;  // seconds
};

int serve(const Options& options) {
  const Serving serving(options.serving);
  const polaiga::engine::SystemClock clock;
  Messages messages(clock);
  std::mutex saying;
  const auto say = [&](Priority priority, const std::string& text) {
    const std::lock_guard lock(saying);
    messages.say(priority, text);
  };
  const polaiga::engine::Signals signals(2, std::chrono::seconds(10), messages.output(), "");
  Listener listener(serving.address());  // before there are threads, which should not meet its umask
  LiveLedger live(options.ledger, [&](const std::string& text) { say(Priority::kWarning, text); });
  Readers readers(options.ledger);
  EngineLink engine(options.control);
  const AccessOptions who_may = serving.access();
  Access gate(who_may, clock, say);
  Catalog catalog(options.program);
  Site site{live, readers, engine, gate, options.program, options.ledger};
  Api api(site, catalog);
  Application application(gate, HostNames(options.serving.hosts));
  application.add("api", api);
  Page page(site);
  application.add("", page);
  Restconf restconf(site);
  application.add("restconf", restconf);
  HostMeta host_meta;
  application.add(".well-known", host_meta);
  Metrics metrics(site, options.most_series);
  application.add("metrics", metrics);
  Notifier waking;
  PushOptions push = options.push;
  push.retry_interval = std::chrono::seconds(options.push_retry);
  Redfish redfish(site, {.state_directory = options.state,
                         .push = push,
                         .sessions = who_may.users.empty() ? nullptr : &gate,
                         .catalog = [&catalog] { return *catalog.lines(); },
                         .tell = say,
                         .wake_streams = [&waking] { waking.notify(); }});
  application.add("redfish", redfish);
  const auto warn = [&](const std::string& text) { say(Priority::kWarning, text); };
  Server server(listener, application, serving.limits(who_may.proxy_user, warn), serving.identity(), warn);
  metrics.watch(server);
  waking.set([&server] { server.wake(); });
  live.on_change([&server, &redfish] {
    server.wake();
    redfish.wake();
  });
  engine.on_change([&server] { server.wake(); });
  serving.run(server, listener, gate, signals, clock, say);
  catalog.stop();  // before the server ends, which waits for requests that wait for the catalog
  live.on_change({});
  engine.on_change({});
  waking.set({});
  return 0;
}

bool is_for_fleet(int argc, char** argv) {
  return std::any_of(argv + std::min(argc, 1), argv + argc, [](const char* word) {
    const std::string_view text = word;
    return text == "--fleet" || text.starts_with("--fleet=");
  });
}

// The pages of a fleet are a program of its own beside this one, so that a server without one needs no library of
// databases. Throws std::runtime_error.
[[noreturn]] void run_for_fleet(char** argv) {
  const std::filesystem::path path =
      std::filesystem::read_symlink("/proc/self/exe").replace_filename("polaiga-web-fleet");
  ::execv(path.c_str(), argv);
  const int error = errno;
  throw std::runtime_error("--fleet needs the program " + path.string() +
                           ", which cannot be run: " + std::strerror(error) + ". Install it beside polaiga-web");
}

int run(int argc, char** argv) {
  if (argc > 1 && std::string_view(argv[1]) == "passwd") return passwd_command(argc - 1, argv + 1);
  CLI::App program("Shows the alarms of an engine to browsers and programs", "polaiga-web");
  program.set_version_flag("--version", "polaiga-web " POLAIGA_VERSION);
  Options options;
  program.add_option("--ledger", options.ledger, "Ledger of the engine")->required()->envname("POLAIGA_LEDGER");
  program.add_option("--control", options.control, "Control socket of the engine")->envname("POLAIGA_CONTROL");
  add_listen_options(program, options.serving);
  program.add_option("--program", options.program, "The program polaiga, which explains faults");
  program
      .add_option("--metrics-max-series", options.most_series,
                  "How many active alarms have a metric of their own at /metrics, the worst first")
      ->check(CLI::Range(0, 1'000'000))
      ->capture_default_str();
  program.add_option("--state", options.state, "Directory that subscriptions to pushed events are kept in");
  program.add_option("--push-retry", options.push_retry, "Seconds after which a push that failed is tried again")
      ->check(CLI::Range(1, 86'400));
  program.add_option("--push-attempts", options.push.retry_attempts, "How often it is, before a subscription may end")
      ->check(CLI::Range(0, 1000));
  program.add_flag("--push-local", options.push.allows_local, "Push events to addresses of this machine, too");
  add_access_options(program, options.serving);
  add_limit_options(program, options.serving);
  program.footer(
      "With --fleet DATABASE-URL it shows all controllers of a fleet; 'polaiga-web-fleet --help' tells how.\n"
      "'polaiga-web passwd --help' tells how to add users.");
  try {
    if (is_for_fleet(argc, argv)) run_for_fleet(argv);
    program.parse(argc, argv);
    return serve(options);
  } catch (const CLI::ParseError& error) {
    return program.exit(error) == 0 ? 0 : 2;
  } catch (const std::exception& error) {
    polaiga::engine::say(error.what());
    return 2;
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_IGN);
  try {
    return run(argc, argv);
  } catch (...) {  // the message of an error takes memory, too
    std::fputs("polaiga: there is no memory left\n", stderr);
  }
  return 2;
}
