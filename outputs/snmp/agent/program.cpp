#include "agent/program.h"

#include <poll.h>

#include <array>
#include <exception>
#include <optional>
#include <span>

#include "agent/command_line.h"
#include "agent/publisher.h"
#include "agentx/library.h"
#include "base/messages.h"
#include "base/status.h"
#include "publisher/engine_teller.h"
#include "publisher/service.h"

namespace polaiga::snmp {
namespace {

using engine::Priority;

// The program could not go on; another start may help.
constexpr int kUndone = 1;

void run(output::Service& service, const Options& options) {
  const auto tell = [&service](Priority priority, const std::string& text) { service.say(priority, text); };
  prepare_library([&service](const std::string& text) { service.say(Priority::kDebug, text); });
  Publisher publisher(options, service.clock(), tell);
  output::EngineTeller teller(options.control, tell);
  std::optional<output::Report> reported;
  service.say(Priority::kInfo, "ready: following the ledger " + options.ledger);
  service.ready(publisher.status());
  while (!service.must_stop()) {
    publisher.go_on();
    const auto report = publisher.report();
    if (report && report != reported) {
      teller.report(*report);
      reported = report;
    }
    service.status(publisher.status());
    std::array<pollfd, 1> polled{{{.fd = publisher.fd(), .events = publisher.poll_events(), .revents = 0}}};
    service.wait(polled, publisher.until_next());
    if (service.take_reload()) service.say(Priority::kInfo, "there is nothing to read anew");
  }
  service.stopping();
}

}  // namespace

int run_program(int argc, const char* const* argv) {
  try {
    int status = engine::kDone;
    const auto options = read_command_line(argc, argv, status);
    if (!options) return status;
    output::Service service("polaiga-snmp");
    try {
      run(service, *options);
      return engine::kDone;
    } catch (const LedgerIsFull& error) {
      service.say(Priority::kError, error.what());
      return engine::kFailed;
    } catch (const std::exception& error) {
      service.say(Priority::kError, error.what());
    }
  } catch (const std::exception& error) {
    engine::say(error.what());
  }
  return kUndone;
}

}  // namespace polaiga::snmp
