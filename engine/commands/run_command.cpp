#include "commands/run_command.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "daemon/run.h"

namespace polaiga::engine {

Command run_command(CLI::App& program) {
  const auto options = std::make_shared<RunOptions>();
  CLI::App* const app = program.add_subcommand("run", "Stay, take events, and keep faults through restarts");
  app->footer(
      "Takes events as JSON Lines at the socket and on standard input, and answers each line:\n"
      "{\"seq\":N} once the event is durable, or {\"error\":\"WHAT\"}.\n"
      "SIGTERM takes what has come and stops; SIGHUP loads the tables anew.\n\n"
      "Example:\n  polaiga run --ledger ledger.db --socket events.sock\n\n"
      "Exit status: 0 when it was stopped or the input ended, 1 when lines of standard input were no events and there\n"
      "is no socket, 2 when it failed.");
  add_ledger_option(*app, options->ledger);
  app->add_option("--socket", options->socket, "Path of the Unix stream socket to listen at")->option_text("PATH");
  add_platform_option(*app, options->platform);
  add_tables_option(*app, options->tables);
  Retention& retention = options->retention;
  app->add_option("--keep-events", retention.events,
                  "Events that are kept; 0 keeps all (default " + std::to_string(retention.events) + ")")
      ->check(CLI::NonNegativeNumber)
      ->option_text("N");
  app->add_option("--keep-days", retention.days,
                  "Days that events are kept; 0 keeps all (default " + std::to_string(retention.days) + ")")
      ->check(CLI::Range(0, 36500))
      ->option_text("N");
  add_log_option(*app, options->log);
  return {app, [options](StandardOutput& output) { return run(*options, output); }};
}

}  // namespace polaiga::engine
