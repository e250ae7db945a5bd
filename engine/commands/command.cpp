#include "commands/command.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "base/messages.h"
#include "commands/active_command.h"
#include "commands/catalog_command.h"
#include "commands/diff_command.h"
#include "commands/explain_command.h"
#include "commands/history_command.h"
#include "commands/maintain_command.h"
#include "commands/missed_command.h"
#include "commands/operator_commands.h"
#include "commands/options.h"
#include "commands/outputs_command.h"
#include "commands/replay_command.h"
#include "commands/run_command.h"
#include "commands/stats_command.h"
#include "commands/tail_command.h"
#include "commands/verify_command.h"
#include "commands/worker_command.h"
#include "ledger/reader.h"

namespace polaiga::engine {

void add_tables_option(CLI::App& command, std::string& tables) {
  add_name_option(command, {"--tables", "DIR", "Directory of nm.tsv, cmc.tsv, drive_bp.tsv and maybe alarms.tsv"},
                  "/usr/share/polaiga/tables", tables);
}

void add_platform_option(CLI::App& command, std::int32_t& platform) {
  constexpr std::int32_t kLast = kPlatforms - 1;
  add_number_option(command,
                    {"--platform", "N", "Number of the platform, 0 to " + std::to_string(kLast) + " (default 0)"},
                    {.least = 0, .most = kLast, .example = 0},
                    [&platform](std::int64_t number) { platform = static_cast<std::int32_t>(number); });
}

void add_log_option(CLI::App& command, Log& log) {
  add_choice_option(command, {"--log", "LEVEL", "Diagnostics on standard error: debug or off (default off)"},
                    {"debug", "off"},
                    [&log](const std::string& level) { log = level == "debug" ? Log::kDebug : Log::kOff; });
}

void add_ledger_option(CLI::App& command, std::string& ledger) {
  ledger = "/var/lib/polaiga/ledger.db";
  add_name_option(command, {"--ledger", "FILE", "File of the ledger (default POLAIGA_LEDGER, or " + ledger + ")"},
                  "ledger.db", ledger)
      ->envname("POLAIGA_LEDGER");
}

void add_colour_option(CLI::App& command, Colour& colour) {
  add_choice_option(command, {"--color", "WHEN", "Colour the severities: auto, always or never (default auto)"},
                    {"auto", "always", "never"}, [&colour](const std::string& when) {
                      if (when != "auto") colour = when == "always" ? Colour::kAlways : Colour::kNever;
                    });
}

bool tell_left_out(const LedgerReader& reader) {
  constexpr std::size_t kMostTold = 10;
  const std::vector<std::string>& left_out = reader.left_out();
  for (std::size_t i = 0; i < std::min(left_out.size(), kMostTold); ++i) say("left out: " + left_out[i]);
  if (left_out.size() > kMostTold) say(std::to_string(left_out.size() - kMostTold) + " more things were left out");
  if (!left_out.empty()) say(reader.path() + ": the ledger is damaged; `polaiga verify` tells more");
  return !left_out.empty();
}

std::vector<Command> add_commands(CLI::App& program) {
  std::vector<Command> commands{replay_command(program),  run_command(program),     active_command(program),
                                history_command(program), explain_command(program), tail_command(program),
                                stats_command(program),   missed_command(program)};
  std::ranges::move(operator_commands(program), std::back_inserter(commands));
  for (Command& command : std::vector<Command>{
           maintain_command(program), maintenance_command(program), outputs_command(program), verify_command(program),
           catalog_command(program), diff_command(program), worker_command(program)}) {
    commands.push_back(std::move(command));
  }
  return commands;
}

}  // namespace polaiga::engine
