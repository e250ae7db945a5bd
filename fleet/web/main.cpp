// polaiga-web-fleet: a page, an API and metrics of all controllers of a fleet, from its database. `polaiga-web --fleet`
// runs it.
#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <exception>
#include <mutex>
#include <string>

#include "access/access.h"
#include "app/application.h"
#include "base/messages.h"
#include "base/signals.h"
#include "base/unblocked_output.h"
#include "database/schema.h"
#include "fleet_api/fleet_api.h"
#include "fleet_metrics/fleet_metrics.h"
#include "fleet_page/fleet_page.h"
#include "fleet_picture/fleet_site.h"
#include "http/host_names.h"
#include "http/server.h"
#include "questions/asking.h"
#include "serving/serving.h"

namespace {

using namespace polaiga::web;
using polaiga::engine::Priority;

constexpr const char* kName = "polaiga-web-fleet";

struct Options {
  std::string database;
  ServingOptions serving;
};

// A database that is away may come back, but one with another schema is a mistake that somebody has to mend.
void check_schema(const std::string& url, const Say& say) {
  polaiga::fleet::Database database(url, kName);
  try {
    const std::string problem = polaiga::fleet::schema_problem(database);
    if (!problem.empty()) throw std::runtime_error(problem);
  } catch (const polaiga::fleet::DatabaseAway& away) {
    say(Priority::kWarning, std::string(away.what()) + "; what needs it is answered with status 503 until it is back");
  }
}

int serve(const Options& options) {
  const Serving serving(options.serving);
  const polaiga::engine::SystemClock clock;
  polaiga::engine::Messages messages(clock);
  std::mutex saying;
  const auto say = [&](Priority priority, const std::string& text) {
    const std::lock_guard lock(saying);
    messages.say(priority, text);
  };
  const polaiga::engine::Signals signals(2, std::chrono::seconds(10), messages.output(), "");
  Listener listener(serving.address());  // before there are threads, which should not meet its umask
  polaiga::fleet::Asking asking(options.database, kName);
  check_schema(options.database, say);
  const AccessOptions who_may = serving.access();
  Access gate(who_may, clock, say);
  Picture picture(asking);
  FleetSite site{asking, picture, gate};
  Application application(gate, HostNames(options.serving.hosts));
  FleetApi api(site);
  application.add("api", api);
  FleetMetrics metrics(site);
  application.add("metrics", metrics);
  FleetPage page(site);
  application.add("", page);
  const auto warn = [&](const std::string& text) { say(Priority::kWarning, text); };
  Server server(listener, application, serving.limits(who_may.proxy_user, warn), serving.identity(), warn);
  serving.run(server, listener, gate, signals, clock, say);
  return 0;
}

int run(int argc, char** argv) {
  CLI::App program("Shows all controllers of a fleet to browsers and programs", kName);
  program.set_version_flag("--version", "polaiga-web-fleet " POLAIGA_VERSION);
  Options options;
  program
      .add_option("--fleet", options.database,
                  "Database of the fleet, as in postgresql://polaiga_operator@HOST/polaiga?passfile=FILE; a password "
                  "stands in a file")
      ->required()
      ->envname("POLAIGA_DATABASE");
  add_listen_options(program, options.serving);
  add_access_options(program, options.serving);
  add_limit_options(program, options.serving);
  program.footer("'polaiga-web passwd --help' tells how to add users.");
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
