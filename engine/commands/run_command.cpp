#include "commands/run_command.h"

#include <CLI/CLI.hpp>
#include <map>
#include <memory>

#include "base/clock.h"
#include "daemon/run.h"

namespace polaiga::engine {
namespace {

// As 50ms or 2s.
void add_time_option(CLI::App& command, const std::string& name, std::chrono::milliseconds& time, int least, int most,
                     const std::string& help) {
  const std::map<std::string, std::int64_t> kUnits{{"ms", 1}, {"s", 1000}};
  command
      .add_option_function<std::int64_t>(
          name, [&time](std::int64_t value) { time = std::chrono::milliseconds(value); }, help)
      ->transform(CLI::AsNumberWithUnit(kUnits, CLI::AsNumberWithUnit::UNIT_REQUIRED))
      ->check(CLI::Range(least, most))
      ->option_text("TIME");
}

void add_retention_options(CLI::App& command, Retention& retention) {
  command
      .add_option("--keep-events", retention.events,
                  "How many events are kept; 0 sets no limit (default " + std::to_string(retention.events) + ")")
      ->check(CLI::NonNegativeNumber)
      ->option_text("N");
  command
      .add_option("--keep-days", retention.days,
                  "How many days events are kept; 0 sets no limit (default " + std::to_string(retention.days) + ")")
      ->check(CLI::Range(0, 36500))
      ->option_text("N");
  command
      .add_option("--keep-bytes", retention.bytes,
                  "How large the ledger's file and its log may be together, as 8MiB; 0 sets no limit (default 64MiB)")
      ->transform(CLI::AsSizeValue(false))
      ->check(CLI::NonNegativeNumber)
      ->option_text("SIZE");
}

}  // namespace

Command run_command(CLI::App& program) {
  const auto options = std::make_shared<RunOptions>();
  CLI::App* const app = program.add_subcommand("run", "Stay, take events, and keep alarms through restarts");
  app->footer(
      "The engine takes events as JSON Lines at the socket and on standard input. It answers each line\n"
      "with {\"seq\":N} once the event is durable, or with {\"error\":\"WHAT\"}.\n"
      "SIGTERM makes it take what has been sent and stop. SIGHUP makes it load the tables again.\n\n"
      "Example:\n  polaiga run --ledger ledger.db --socket events.sock --control control.sock\n\n"
      "Exit status: 0 when the engine was stopped or the input ended; 1 when lines of standard input were no\n"
      "events and there is no socket; 2 when the engine failed.");
  add_ledger_option(*app, options->ledger);
  app->add_option("--socket", options->socket, "Path of the Unix stream socket that takes events")->option_text("PATH");
  app->add_option("--control", options->control, "Path of the Unix stream socket that takes requests")
      ->option_text("PATH");
  add_platform_option(*app, options->platform);
  add_tables_option(*app, options->tables);
  app->add_option("--max-active", options->most_active,
                  "How many active faults are tracked; one counts once for each of its reporters (default " +
                      std::to_string(options->most_active) + ")")
      ->check(CLI::Range(1, 1'000'000))
      ->option_text("N");
  add_retention_options(*app, options->retention);
  add_time_option(
      *app, "--commit-within", options->commit_within, 0, 10'000,
      "How long an event may wait so that others share its write; it is acknowledged as late (default 0ms)");
  add_time_option(*app, "--idle-within", options->idle_within, 1, 3'600'000,
                  "After how long without a whole line a client leaves if others wait for its place (default 30s)");
  add_log_option(*app, options->log);
  return {app, [options](StandardOutput& output) { return run(*options, output, SystemClock()); }};
}

}  // namespace polaiga::engine
