// What programs with a web server of their own share: the options that say where it listens and who may come, and its
// way from its start to the signal that ends it.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "access/access.h"
#include "base/clock.h"
#include "base/messages.h"
#include "base/signals.h"
#include "http/listener.h"
#include "http/server.h"
#include "http/tls_credentials.h"

namespace CLI {
class App;
}

namespace polaiga::web {

struct ServingOptions {
  std::string listen;
  std::vector<std::string> hosts;
  ServerLimits limits;
  // These say who may see alarms, and who may act on them.
  AccessOptions access;
  std::string proxy_user;
  std::string certificate;
  std::string key;
  std::string client_authority;
};

void add_listen_options(CLI::App& program, ServingOptions& options);
void add_access_options(CLI::App& program, ServingOptions& options);
void add_limit_options(CLI::App& program, ServingOptions& options);

using Say = std::function<void(engine::Priority, const std::string&)>;

// The identity of the server, and where it listens. Throws std::runtime_error when the options do not go together, or
// when a file of them cannot be read.
class Serving {
 public:
  explicit Serving(ServingOptions options);

  const ListenAddress& address() const { return address_; }
  const std::optional<TlsIdentity>& identity() const { return identity_; }
  AccessOptions access() const;
  // The limits, as far as the system allows so many open files. `tell` is told when it does not.
  ServerLimits limits(std::optional<uid_t> proxy, const std::function<void(const std::string&)>& tell) const;

  // Tells that the server is ready, serves until a signal ends it, and reads users and certificates anew at SIGHUP.
  void run(Server& server, const Listener& listener, Access& gate, const engine::Signals& signals,
           const engine::Clock& clock, const Say& say) const;

 private:
  void reload(Server& server, const Say& say) const;

  ServingOptions options_;
  ListenAddress address_;
  std::optional<TlsIdentity> identity_;
};

}  // namespace polaiga::web
