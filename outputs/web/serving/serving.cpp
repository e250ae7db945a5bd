#include "serving/serving.h"

#include <poll.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <stdexcept>
#include <utility>

#include "base/accounts.h"
#include "base/private_file.h"
#include "base/service_manager.h"
#include "http/open_files.h"

namespace polaiga::web {
namespace {

using engine::Priority;

std::optional<TlsIdentity> read_identity(const ServingOptions& options) {
  if (options.certificate.empty()) return std::nullopt;
  TlsIdentity identity{.certificate = engine::read_file(options.certificate, "the certificate"),
                       .key = engine::read_private_file(options.key, "the key"),
                       .client_authority = {}};
  if (!options.client_authority.empty()) {
    identity.client_authority =
        engine::read_file(options.client_authority, "the certificate of the clients' authority");
  }
  return identity;
}

ListenAddress read_address(const std::string& listen) {
  const auto address = parse_listen_address(listen);
  if (!address) {
    throw std::runtime_error("--listen is '" + listen +
                             "'; it may be unix:PATH, 127.0.0.1:PORT or [::1]:PORT, and with TLS any address of this "
                             "machine");
  }
  return *address;
}

}  // namespace

Serving::Serving(ServingOptions options)
    : options_(std::move(options)), address_(read_address(options_.listen)), identity_(read_identity(options_)) {
  if (!address_.is_local() && !identity_) {
    throw std::runtime_error("Without TLS the server listens at this machine alone; give --tls-cert and --tls-key");
  }
  if (!address_.is_local() && options_.access.users.empty()) {
    throw std::runtime_error("Without users the server listens at this machine alone; give --users");
  }
}

AccessOptions Serving::access() const {
  AccessOptions access = options_.access;
  if (options_.proxy_user.empty()) return access;
  access.proxy_user = engine::find_user(options_.proxy_user);
  if (!access.proxy_user) throw std::runtime_error("--proxy-user: there is no user '" + options_.proxy_user + "'");
  return access;
}

ServerLimits Serving::limits(std::optional<uid_t> proxy, const std::function<void(const std::string&)>& tell) const {
  // For ledgers and databases, their readers, pushes, programs that are run.
  constexpr std::size_t kOtherFiles = 160;
  constexpr std::size_t kFewest = 16;
  ServerLimits limits = options_.limits;
  limits.proxy = proxy;
  const std::size_t others = kOtherFiles + Server::kBeyondLimit;
  const std::size_t files = allow_open_files(limits.connections + others);
  const std::size_t room = std::max(kFewest, files - std::min(files, others));
  if (room < limits.connections) {
    limits.connections = static_cast<unsigned>(room);
    tell("Only " + std::to_string(limits.connections) + " connections are taken in place of " +
         std::to_string(options_.limits.connections) + ", since this process may have no more than " +
         std::to_string(files) +
         " files open. Raise that limit (LimitNOFILE= of a unit), or give a lower --connections");
  }
  // So that streams cannot take all places.
  constexpr unsigned kPerFreeConnection = 11;
  limits.streams = std::min(limits.streams, limits.connections - limits.connections / kPerFreeConnection);
  return limits;
}

// Reads the certificate, the key and the clients' authority anew.
void Serving::reload(Server& server, const Say& say) const {
  try {
    server.use(*read_identity(options_));
    say(Priority::kInfo, "the certificate and its key were read anew");
  } catch (const std::exception& error) {
    say(Priority::kWarning, std::string(error.what()) +
                                "; new connections go on with the certificate and the key that were read before. Mend "
                                "the files, and send SIGHUP again");
  }
}

void Serving::run(Server& server, const Listener& listener, Access& gate, const engine::Signals& signals,
                  const engine::Clock& clock, const Say& say) const {
  const std::string place = listener.address().text(identity_.has_value());
  say(Priority::kInfo, "ready: " + place);
  engine::ServiceManager manager(clock);
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
        if (identity_) reload(server, say);
        manager.ready(place);
      }
      is_over = is_over || *signal != SIGHUP;
    }
  }
  manager.stopping();
}

void add_listen_options(CLI::App& program, ServingOptions& options) {
  program.add_option("--listen", options.listen, "Where to listen: unix:PATH, 127.0.0.1:PORT or [::1]:PORT")
      ->required();
  program
      .add_option(
          "--host", options.hosts,
          "Name by which others reach the server, beside localhost; needed without TLS. May be given repeatedly")
      ->allow_extra_args(false);
}

void add_access_options(CLI::App& program, ServingOptions& options) {
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

void add_limit_options(CLI::App& program, ServingOptions& options) {
  ServerLimits& limits = options.limits;
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

}  // namespace polaiga::web
