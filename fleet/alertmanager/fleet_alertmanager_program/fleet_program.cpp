#include "fleet_alertmanager_program/fleet_program.h"

#include <algorithm>
#include <exception>
#include <memory>
#include <stdexcept>
#include <utility>

#include "base/messages.h"
#include "base/status.h"
#include "delivery/curl_post.h"
#include "fleet_alertmanager_program/fleet_options.h"
#include "fleet_alerts/fleet_reader.h"
#include "fleet_alerts/fleet_telling.h"
#include "publisher/service.h"

namespace polaiga::alertmanager {
namespace {

using engine::Priority;
using std::chrono::milliseconds;

// It could not go on. The service manager may start it again after this status, and not after engine::kFailed.
constexpr int kUndone = 1;

// How often a reading is looked for.
constexpr milliseconds kLook{200};

class Program {
 public:
  explicit Program(const FleetOptions& options)
      : options_(options),
        service_("polaiga-alertmanager-fleet"),
        post_(service_.clock()),
        telling_(options.alertmanagers, options.resend,
                 {.post = post_,
                  .clock = service_.clock(),
                  .tell = [this](Priority priority, const std::string& text) { service_.say(priority, text); },
                  .random = output::random_number}),
        reader_(options.database, options.page_url, options.every) {}

  int run();

 private:
  void use_files();
  void reload();
  void take_reading();
  void wait();

  const FleetOptions& options_;
  output::Service service_;
  CurlPost post_;
  FleetTelling telling_;
  FleetReader reader_;
};

void Program::use_files() {
  auto access = std::make_shared<Access>();
  read_access(options_.files, *access);
  for (const Address& one : options_.alertmanagers) {
    if (one.is_secure || access->credentials.of(one).is_empty()) continue;
    service_.say(Priority::kWarning,
                 one.peer + ": the credentials are sent in plain text; use https unless the peer is on this machine");
  }
  post_.use(std::move(access));
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

void Program::take_reading() {
  const auto reading = reader_.take();
  if (!reading) return;
  if (reading->problem.empty()) {
    telling_.take(reading->found);
  } else {
    telling_.cannot_read(reading->problem);
  }
}

void Program::wait() {
  std::vector<pollfd> polled = post_.polled();
  service_.wait(polled, std::min({kLook, telling_.until_next(), post_.until_next()}));
  post_.step(polled);
}

int Program::run() {
  use_files();
  service_.ready(telling_.status());
  service_.say(Priority::kInfo, "ready: telling " + std::to_string(options_.alertmanagers.size()) +
                                    " Alertmanagers what is in the fleet's database");
  while (!service_.must_stop()) {
    take_reading();
    telling_.go_on();
    service_.status(telling_.status());
    wait();
    if (service_.take_reload()) reload();
  }
  service_.stopping();
  return engine::kDone;
}

}  // namespace

int run_fleet_program(int argc, const char* const* argv) {
  int status = engine::kDone;
  const auto options = read_fleet_options(argc, argv, status);
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
  } catch (const std::invalid_argument& error) {
    engine::say(error.what());
    return engine::kFailed;
  } catch (const std::exception& error) {
    engine::say(error.what());
  }
  return kUndone;
}

}  // namespace polaiga::alertmanager
