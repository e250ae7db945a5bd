#include "alertmanager_program/program.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "alertmanager_program/command_line.h"
#include "base/messages.h"
#include "base/status.h"
#include "delivery/curl_post.h"
#include "publisher/engine_teller.h"
#include "publisher/service.h"

namespace polaiga::alertmanager {
namespace {

using engine::Priority;

// It could not go on. The service manager may start it again after this status, and not after engine::kFailed.
constexpr int kUndone = 1;

// What is on its way at the end has so long to be answered, so that it need not be told again.
constexpr std::chrono::seconds kLastMoment{2};

class Program {
 public:
  explicit Program(const Options& options)
      : options_(options),
        service_("polaiga-alertmanager"),
        post_(service_.clock()),
        teller_(options.control, tell()),
        telling_(options.ledger, options.peers, options.identity, options.resend,
                 {.post = post_, .clock = service_.clock(), .tell = tell(), .random = output::random_number}) {}

  int run();

 private:
  PeerHealth::Tell tell() {
    return [this](Priority priority, const std::string& text) { service_.say(priority, text); };
  }
  void use_files();
  void warn_of_plain_addresses(const Access& access);
  void reload();
  void wait(std::chrono::milliseconds longest);
  void report();
  void finish();

  const Options& options_;
  output::Service service_;
  CurlPost post_;
  output::EngineTeller teller_;
  Telling telling_;
  std::map<std::string, output::Report> reported_;  // by the publisher
};

void Program::use_files() {
  auto access = std::make_shared<Access>();
  read_access(options_.files, *access);
  warn_of_plain_addresses(*access);
  post_.use(std::move(access));
}

void Program::warn_of_plain_addresses(const Access& access) {
  for (const auto* const list : {&options_.peers.alertmanagers, &options_.peers.webhooks}) {
    for (const Address& one : *list) {
      if (one.is_secure || access.credentials.of(one).is_empty()) continue;
      service_.say(Priority::kWarning,
                   one.peer + ": the credentials are sent in plain text; use https unless the peer is on this machine");
    }
  }
}

void Program::reload() {
  service_.reloading();
  try {
    use_files();
    service_.say(Priority::kInfo, "the files for credentials and certificates were read anew");
  } catch (const std::exception& error) {
    service_.say(Priority::kWarning,
                 std::string(error.what()) + "; what was read before goes on. Mend the file, and send SIGHUP again");
  }
  service_.ready(telling_.status());
}

void Program::wait(std::chrono::milliseconds longest) {
  std::vector<pollfd> polled = post_.polled();
  service_.wait(polled, std::min(longest, post_.until_next()));
  post_.step(polled);
}

void Program::report() {
  for (output::Report& one : telling_.reports()) {
    output::Report& before = reported_[one.publisher];
    if (before == one) continue;
    teller_.report(one);
    before = std::move(one);
  }
}

void Program::finish() {
  const auto end = service_.clock().steady() + kLastMoment;
  while (!post_.is_idle() && service_.clock().steady() < end) {
    wait(std::chrono::ceil<std::chrono::milliseconds>(end - service_.clock().steady()));
  }
  report();
}

int Program::run() {
  use_files();
  service_.ready(telling_.status());
  service_.say(Priority::kInfo, "ready: following the ledger " + options_.ledger);
  while (!service_.must_stop()) {
    telling_.go_on();
    report();
    service_.status(telling_.status());
    wait(telling_.until_next());
    if (service_.take_reload()) reload();
  }
  service_.stopping();
  finish();
  return engine::kDone;
}

}  // namespace

int run_program(int argc, const char* const* argv) {
  int status = engine::kDone;
  const auto options = read_command_line(argc, argv, status);
  if (!options) return status;
  try {
    Access access;
    read_access(options->files, access);
  } catch (const std::exception& error) {
    engine::say(error.what());
    return engine::kFailed;
  }
  try {
    return Program(*options).run();
  } catch (const std::exception& error) {
    engine::say(error.what());
  }
  return kUndone;
}

}  // namespace polaiga::alertmanager
