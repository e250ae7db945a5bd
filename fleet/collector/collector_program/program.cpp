#include "collector_program/program.h"

#include <unistd.h>

#include <array>
#include <chrono>
#include <exception>
#include <optional>
#include <stdexcept>
#include <string>

#include "base/messages.h"
#include "base/status.h"
#include "collecting/collector.h"
#include "collector_program/command_line.h"
#include "database/database.h"
#include "database/schema.h"
#include "publisher/back_off.h"
#include "publisher/service.h"

namespace polaiga::fleet {
namespace {

using engine::Priority;
using std::chrono::milliseconds;
using std::chrono::seconds;

// It could not go on. The unit starts it again after this status, and not after engine::kFailed.
constexpr int kUndone = 1;

std::string own_name() {
  std::array<char, 256> host{};
  if (::gethostname(host.data(), host.size() - 1) != 0) return "unknown:" + std::to_string(::getpid());
  return std::string(host.data()) + ":" + std::to_string(::getpid());
}

class Program {
 public:
  explicit Program(const CollectorOptions& options)
      : database_(options.database, "polaiga-collector"),
        collector_(options.collector, database_, service_.clock(),
                   [this](Priority priority, const std::string& text) { service_.say(priority, text); }) {}

  int run();

 private:
  void wait(milliseconds most) { service_.wait({}, most); }
  void failed(const std::string& what, bool may_mend);
  void works();
  std::string failing_for() const;

  output::Service service_{"polaiga-collector"};
  Database database_;
  Collector collector_;
  output::BackOff back_off_{milliseconds(500), seconds(30), output::random_number};
  bool has_worked_ = false;
  std::optional<engine::Clock::Steady> failing_since_;
  bool must_end_ = false;
};

// What was refused at the start does not mend by itself; later it may have been taken away for a moment.
void Program::failed(const std::string& what, bool may_mend) {
  collector_.end();
  collector_.note_problem(what);
  if (!may_mend && !has_worked_) {
    service_.say(Priority::kError, what);
    must_end_ = true;
    return;
  }
  const std::string so_far = failing_since_ ? ". This has gone on for " + failing_for() : "";
  if (!failing_since_) failing_since_ = service_.clock().steady();
  service_.say(Priority::kWarning, what + ". What was not confirmed comes again; trying again soon" + so_far);
  service_.status(collector_.summary());
  wait(back_off_.next());
}

std::string Program::failing_for() const {
  const auto passed = service_.clock().steady() - failing_since_.value();
  return std::to_string(std::chrono::duration_cast<seconds>(passed).count()) + " s";
}

void Program::works() {
  has_worked_ = true;
  back_off_.reset();
  if (!failing_since_) return;
  service_.say(Priority::kInfo, "messages are taken again, after " + failing_for());
  failing_since_.reset();
}

int Program::run() {
  service_.ready("begins");
  service_.say(Priority::kInfo, "ready: taking what controllers send into the database");
  while (!service_.must_stop() && !must_end_) {
    try {
      if (!collector_.has_begun()) collector_.begin();
      collector_.go_on();
      works();
      service_.status(collector_.summary());
      wait(milliseconds(0));
    } catch (const DatabaseAway& error) {
      failed(error.what(), true);
    } catch (const BrokerAway& error) {
      failed(error.what(), true);
    } catch (const NotHere& error) {
      failed(error.what(), true);
    } catch (const std::runtime_error& error) {  // it is refused, or a file with a secret cannot be used
      failed(error.what(), false);
    }
  }
  service_.stopping();
  collector_.end();
  return must_end_ ? engine::kFailed : engine::kDone;
}

int migrate_database(const CollectorOptions& options) {
  Database database(options.database, "polaiga-collector migrate");
  const std::vector<std::string> done = migrate(database);
  for (const std::string& one : done) engine::say("done: " + one);
  if (done.empty()) engine::say("The schema is up to date.");
  return engine::kDone;
}

}  // namespace

int run_collector(int argc, const char* const* argv) {
  int status = engine::kDone;
  const auto options = read_command_line(argc, argv, status);
  if (!options) return status;
  try {
    if (options->is_migration) return migrate_database(*options);
    CollectorOptions named = *options;
    named.collector.name = own_name();
    return Program(named).run();
  } catch (const DatabaseAway& error) {
    engine::say(error.what());
    return kUndone;
  } catch (const std::exception& error) {
    engine::say(error.what());
  }
  return engine::kFailed;
}

}  // namespace polaiga::fleet
