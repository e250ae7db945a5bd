#include "commands/run_command.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>

#include "base/accounts.h"
#include "base/clock.h"
#include "commands/chattering_option.h"
#include "commands/options.h"
#include "daemon/run.h"

namespace polaiga::engine {
namespace {

using namespace std::chrono_literals;

constexpr std::int64_t kKi = 1024;
constexpr std::int64_t kMi = kKi * kKi;
constexpr std::int64_t kGi = kMi * kKi;
constexpr std::int64_t kTi = kGi * kKi;
constexpr std::int64_t kPi = kTi * kKi;
constexpr Unit kSizeUnits[] = {{"", 1},      {"b", 1},    {"kib", kKi}, {"mib", kMi}, {"gib", kGi}, {"tib", kTi},
                               {"pib", kPi}, {"ki", kKi}, {"mi", kMi},  {"gi", kGi},  {"ti", kTi},  {"pi", kPi},
                               {"kb", kKi},  {"mb", kMi}, {"gb", kGi},  {"tb", kTi},  {"pb", kPi},  {"k", kKi},
                               {"m", kMi},   {"g", kGi},  {"t", kTi},   {"p", kPi}};
constexpr Unit kTimeUnits[] = {{"ms", 1}, {"s", 1000}};

struct TimeOption {
  const char* name;
  std::chrono::milliseconds least;
  std::chrono::milliseconds most;
  const char* allowed;
  const char* example;
  const char* help;
};

void add_time_option(CLI::App& command, const TimeOption& option, std::chrono::milliseconds& time) {
  add_value_option(command, {option.name, "TIME", option.help}, {option.allowed, option.example},
                   [&time, option](const std::string& text) {
                     const auto given = parse_quantity(text, kTimeUnits);
                     if (given) time = std::chrono::milliseconds(*given);
                     return given && option.least <= time && time <= option.most;
                   });
}

// Whoever may speak for all others is to be one of few.
constexpr std::size_t kMostGateways = 8;

void add_gateway(std::vector<uid_t>& gateways, uid_t user) {
  if (std::ranges::find(gateways, user) != gateways.end()) return;
  if (gateways.size() == kMostGateways) {
    throw UsageError("--gateway names more than " + std::to_string(kMostGateways) + " users; leave out some of them");
  }
  gateways.push_back(user);
}

void add_retention_options(CLI::App& command, Retention& retention) {
  constexpr std::int64_t kMostEvents = 1'000'000'000'000;
  constexpr std::int64_t kMostDays = 36'500;
  constexpr std::int64_t kMostBytes = kPi;
  add_number_option(command,
                    {"--keep-events", "N",
                     "How many events are kept; 0 sets no limit (default " + std::to_string(retention.events) + ")"},
                    {.least = 0, .most = kMostEvents, .example = retention.events},
                    [&retention](std::int64_t number) { retention.events = number; });
  add_number_option(command,
                    {"--keep-days", "N",
                     "How many days events are kept; 0 sets no limit (default " + std::to_string(retention.days) + ")"},
                    {.least = 0, .most = kMostDays, .example = retention.days},
                    [&retention](std::int64_t number) { retention.days = number; });
  add_value_option(
      command,
      {"--keep-bytes", "SIZE",
       "How large the ledger's file and its log may be together, such as 8MiB; 0 sets no limit (default 64MiB)"},
      {"a size from 0 to 1PiB, with KiB, MiB, GiB or TiB behind the number", "64MiB"},
      [&retention](const std::string& text) {
        const auto bytes = parse_quantity(text, kSizeUnits);
        if (bytes) retention.bytes = *bytes;
        return bytes && *bytes <= kMostBytes;
      });
}

}  // namespace

Command run_command(CLI::App& program) {
  const auto options = std::make_shared<RunOptions>();
  CLI::App* const app =
      program.add_subcommand("run", "Run the engine: take events as they come, and keep alarms through restarts");
  app->footer(
      "The engine takes events as JSON Lines at the socket and on standard input. It answers each line\n"
      "with {\"seq\":N} once the event is durable, or with {\"error\":\"WHAT\"}.\n"
      "SIGTERM makes it take what has been sent and stop. SIGHUP makes it load the tables again.\n\n"
      "Example:\n  polaiga run --ledger ledger.db --socket events.sock --control control.sock\n\n"
      "Exit status: 0 when the engine was stopped or the input ended; 1 when lines of standard input were not\n"
      "events and there is no socket; 2 when the engine failed.");
  add_ledger_option(*app, options->ledger);
  add_name_option(*app, {"--socket", "PATH", "Path of the Unix stream socket that takes events"}, "events.sock",
                  options->socket);
  add_name_option(*app, {"--control", "PATH", "Path of the Unix stream socket that takes requests"}, "control.sock",
                  options->control);
  add_value_option(*app, {"--control-group", "NAME", "Group whose members may connect to the control socket, too"},
                   {"the name or the number of a group of this machine", "polaiga-operators"},
                   [options](const std::string& name) {
                     options->control_group = find_group(name);
                     return options->control_group.has_value();
                   });
  // The package of the web server sets this option in a drop-in of the unit. Those that an administrator gives in
  // POLAIGA_OPTIONS come to it.
  add_value_option(
      *app,
      {"--gateway", "USER", "User who may act on behalf of others at the control socket; may be given repeatedly"},
      {"the name or the number of a user of this machine", "polaiga-web"},
      [options](const std::string& name) {
        const auto user = find_user(name);
        if (user) add_gateway(options->gateways, *user);
        return user.has_value();
      })
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
      ->trigger_on_parse();
  add_value_option(*app,
                   {"--publisher", "USER",
                    "User who may move the cursors of publishers, and may not act on alarms; may be given repeatedly"},
                   {"the name or the number of a user of this machine", "polaiga-snmp"},
                   [options](const std::string& name) {
                     const auto user = find_user(name);
                     if (user) options->publishers.push_back(*user);
                     return user.has_value();
                   })
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
      ->trigger_on_parse();
  add_switch(*app, "--renew-acknowledgements", "Take an acknowledgement back when the alarm gets worse",
             options->renew_acknowledgements);
  add_chattering_option(*app, options->chattering);
  add_platform_option(*app, options->platform);
  add_tables_option(*app, options->tables);
  add_number_option(*app,
                    {"--max-active", "N",
                     "How many active faults are tracked; one counts once for each of its reporters (default " +
                         std::to_string(options->most_active) + ")"},
                    {.least = 1, .most = 1'000'000, .example = static_cast<std::int64_t>(options->most_active)},
                    [options](std::int64_t number) { options->most_active = static_cast<std::size_t>(number); });
  add_retention_options(*app, options->retention);
  add_time_option(*app,
                  {"--commit-within", 0ms, 10s, "a time from 0ms to 10s, with ms or s behind the number", "50ms",
                   "How long an event may wait so that others share its write; its acknowledgement waits as long "
                   "(default 0ms)"},
                  options->commit_within);
  add_time_option(*app,
                  {"--idle-within", 1ms, 3600s, "a time from 1ms to 3600s, with ms or s behind the number", "30s",
                   "After how long without a whole line a client leaves if others wait for its place (default 30s)"},
                  options->idle_within);
  add_log_option(*app, options->log);
  return {app, [options](StandardOutput& output) { return run(*options, output, SystemClock()); }};
}

}  // namespace polaiga::engine
