// polaiga-web: a page, an API, Redfish and metrics of an engine's alarms.
#include <poll.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
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
#include "base/accounts.h"
#include "base/messages.h"
#include "base/private_file.h"
#include "base/service_manager.h"
#include "base/signals.h"
#include "base/unblocked_output.h"
#include "control/control_client.h"
#include "http/host_names.h"
#include "http/open_files.h"
#include "http/server.h"
#include "metrics/metrics.h"
#include "page/page.h"
#include "redfish/redfish.h"
#include "restconf/restconf.h"

namespace {

using namespace polaiga::web;
using polaiga::engine::Messages;
using polaiga::engine::Priority;

struct Options {
  std::string ledger;
  ServerLimits limits;
  std::string control = polaiga::engine::kControlSocket;
  std::string listen;
  std::string program = "polaiga";
  std::vector<std::string> hosts;
  std::size_t most_series = Metrics::kMostSeries;
  // These say who may see alarms, and who may act on them.
  AccessOptions access;
  std::string proxy_user;
  std::string certificate;
  std::string key;
  std::string client_authority;
  // Of events that are pushed to Redfish's subscribers.
  std::string state;
  polaiga::web::PushOptions push;
  int push_retry = 30;  // seconds
};

std::optional<TlsIdentity> read_identity(const Options& options) {
  if (options.certificate.empty()) return std::nullopt;
  TlsIdentity identity{.certificate = polaiga::engine::read_file(options.certificate, "the certificate"),
                       .key = polaiga::engine::read_private_file(options.key, "the key"),
                       .client_authority = {}};
  if (!options.client_authority.empty()) {
    identity.client_authority =
        polaiga::engine::read_file(options.client_authority, "the certificate of the clients' authority");
  }
  return identity;
}

AccessOptions access_options(const Options& options) {
  AccessOptions access = options.access;
  if (options.proxy_user.empty()) return access;
  access.proxy_user = polaiga::engine::find_user(options.proxy_user);
  if (!access.proxy_user) throw std::runtime_error("--proxy-user: there is no user '" + options.proxy_user + "'");
  return access;
}

// The limits, as far as the system allows so many open files. `tell` is told when it does not.
ServerLimits server_limits(const Options& options, std::optional<uid_t> proxy,
                           const std::function<void(const std::string&)>& tell) {
  // For the ledger, its readers, pushes, programs that are run.
  constexpr std::size_t kOtherFiles = 160;
  constexpr std::size_t kFewest = 16;
  ServerLimits limits = options.limits;
  limits.proxy = proxy;
  const std::size_t others = kOtherFiles + Server::kBeyondLimit;
  const std::size_t files = allow_open_files(limits.connections + others);
  const std::size_t room = std::max(kFewest, files - std::min(files, others));
  if (room < limits.connections) {
    limits.connections = static_cast<unsigned>(room);
    tell("Only " + std::to_string(limits.connections) + " connections are taken in place of " +
         std::to_string(options.limits.connections) + ", since this process may have no more than " +
         std::to_string(files) +
         " files open. Raise that limit (LimitNOFILE= of a unit), or give a lower --connections");
  }
  // So that streams cannot take all places.
  constexpr unsigned kPerFreeConnection = 11;
  limits.streams = std::min(limits.streams, limits.connections - limits.connections / kPerFreeConnection);
  return limits;
}

// Reads the certificate, the key and the clients' authority anew.
void reload(Server& server, const Options& options, const std::function<void(Priority, const std::string&)>& say) {
  try {
    server.use(*read_identity(options));
    say(Priority::kInfo, "the certificate and its key were read anew");
  } catch (const std::exception& error) {
    say(Priority::kWarning, std::string(error.what()) +
                                "; new connections go on with the certificate and the key that were read before. Mend "
                                "the files, and send SIGHUP again");
  }
}

int serve(const Options& options) {
  const auto address = parse_listen_address(options.listen);
  if (!address) {
    throw std::runtime_error("--listen is '" + options.listen +
                             "'; it may be unix:PATH, 127.0.0.1:PORT or [::1]:PORT, and with TLS any address of this "
                             "machine");
  }
  const std::optional<TlsIdentity> identity = read_identity(options);
  if (!address->is_local() && !identity) {
    throw std::runtime_error("Without TLS the server listens at this machine alone; give --tls-cert and --tls-key");
  }
  if (!address->is_local() && options.access.users.empty()) {
    throw std::runtime_error("Without users the server listens at this machine alone; give --users");
  }
  const polaiga::engine::SystemClock clock;
  Messages messages(clock);
  std::mutex saying;
  const auto say = [&](Priority priority, const std::string& text) {
    const std::lock_guard lock(saying);
    messages.say(priority, text);
  };
  const polaiga::engine::Signals signals(2, std::chrono::seconds(10), messages.output(), "");
  Listener listener(*address);  // before there are threads, which should not meet its umask
  LiveLedger live(options.ledger, [&](const std::string& text) { say(Priority::kWarning, text); });
  Readers readers(options.ledger);
  EngineLink engine(options.control);
  const AccessOptions who_may = access_options(options);
  Access gate(who_may, clock, say);
  Catalog catalog(options.program);
  Site site{live, readers, engine, gate, options.program, options.ledger};
  Api api(site, catalog);
  Application application(gate, HostNames(options.hosts));
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
                         .sessions = options.access.users.empty() ? nullptr : &gate,
                         .catalog = [&catalog] { return *catalog.lines(); },
                         .tell = say,
                         .wake_streams = [&waking] { waking.notify(); }});
  application.add("redfish", redfish);
  const auto warn = [&](const std::string& text) { say(Priority::kWarning, text); };
  Server server(listener, application, server_limits(options, who_may.proxy_user, warn), identity, warn);
  metrics.watch(server);
  waking.set([&server] { server.wake(); });
  live.on_change([&server, &redfish] {
    server.wake();
    redfish.wake();
  });
  engine.on_change([&server] { server.wake(); });
  const std::string place = listener.address().text(identity.has_value());
  say(Priority::kInfo, "ready: " + place);
  polaiga::engine::ServiceManager manager(clock);
  manager.ready(place);
  pollfd waiting{.fd = signals.fd(), .events = POLLIN, .revents = 0};
  for (bool is_over = false; !is_over;) {
    const auto until_tick = manager.until_tick();
    ::poll(&waiting, 1, until_tick ? static_cast<int>(until_tick->count()) : -1);
    manager.tick();
    while (const auto signal = signals.take()) {
      if (*signal == SIGHUP) {
        manager.reloading();
        gate.reload();
        if (identity) reload(server, options, say);
        manager.ready(place);
      }
      is_over = is_over || *signal != SIGHUP;
    }
  }
  manager.stopping();
  catalog.stop();  // before the server ends, which waits for requests that wait for the catalog
  live.on_change({});
  engine.on_change({});
  waking.set({});
  return 0;
}

void add_access_options(CLI::App& program, Options& options) {
  program.add_option("--users", options.access.users,
                     "File of users, which 'polaiga-web passwd' edits; without it everybody may look, and nobody may "
                     "act but some users of this machine at a Unix socket");
  program.add_option("--operators-group", options.access.groups.operators,
                     "Members of this group of the machine are operators at a Unix socket");
  program.add_option("--viewers-group", options.access.groups.viewers,
                     "Members of this group of the machine are viewers at a Unix socket");
  auto* const users = program.get_option("--users");
  auto* const proxy = program.add_option("--proxy-user", options.proxy_user,
                                         "User of this machine, as the name of a proxy's, whose --proxy-user-header is "
                                         "believed at a Unix socket");
  program
      .add_option("--proxy-user-header", options.access.proxy_user_header,
                  "Header that tells who has logged in at the proxy, such as X-Remote-User")
      ->needs(proxy)
      ->needs(users);
  auto* const certificate = program.add_option("--tls-cert", options.certificate,
                                               "Certificate of the server with those that signed it, as PEM");
  auto* const key = program.add_option("--tls-key", options.key, "Its key, as PEM; only its owner may read the file");
  certificate->needs(key);
  key->needs(certificate);
  program
      .add_option("--tls-client-ca", options.client_authority,
                  "Certificate of the authority that signs certificates of clients, as PEM; the common name is that of "
                  "a user")
      ->needs(certificate)
      ->needs(users);
}

void add_limit_options(CLI::App& program, ServerLimits& limits) {
  constexpr unsigned kMost = 100'000;
  program.add_option("--connections", limits.connections, "How many connections there may be at once")
      ->check(CLI::Range(1U, kMost))
      ->capture_default_str();
  program
      .add_option("--connections-per-address", limits.per_address,
                  "How many of them from one internet address, or of one user of this machine at a Unix socket")
      ->check(CLI::Range(1U, kMost))
      ->capture_default_str();
  program.add_option("--streams", limits.streams, "How many of them may be event streams")
      ->check(CLI::Range(0U, kMost))
      ->capture_default_str();
}

int run(int argc, char** argv) {
  if (argc > 1 && std::string_view(argv[1]) == "passwd") return passwd_command(argc - 1, argv + 1);
  CLI::App program("Shows the alarms of an engine to browsers and programs", "polaiga-web");
  program.set_version_flag("--version", "polaiga-web " POLAIGA_VERSION);
  Options options;
  program.add_option("--ledger", options.ledger, "Ledger of the engine")->required()->envname("POLAIGA_LEDGER");
  program.add_option("--control", options.control, "Control socket of the engine")->envname("POLAIGA_CONTROL");
  program.add_option("--listen", options.listen, "Where to listen: unix:PATH, 127.0.0.1:PORT or [::1]:PORT")
      ->required();
  program
      .add_option(
          "--host", options.hosts,
          "Name by which others reach the server, beside localhost; needed without TLS. May be given repeatedly")
      ->allow_extra_args(false);
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
  add_access_options(program, options);
  add_limit_options(program, options.limits);
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
