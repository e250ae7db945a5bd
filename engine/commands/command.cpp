#include "commands/command.h"

#include <CLI/CLI.hpp>

#include "commands/active_command.h"
#include "commands/catalog_command.h"
#include "commands/diff_command.h"
#include "commands/explain_command.h"
#include "commands/history_command.h"
#include "commands/replay_command.h"
#include "commands/run_command.h"
#include "commands/tail_command.h"
#include "commands/verify_command.h"
#include "commands/worker_command.h"

namespace polaiga::engine {

void add_tables_option(CLI::App& command, std::string& tables) {
  command.add_option("--tables", tables, "Directory of nm.tsv, cmc.tsv and drive_bp.tsv")->option_text("DIR");
}

void add_platform_option(CLI::App& command, std::int32_t& platform) {
  command.add_option("--platform", platform, "Number of the platform, 0 to 17 (default 0)")
      ->check(CLI::Range(0, kPlatforms - 1))
      ->option_text("N");
}

void add_log_option(CLI::App& command, Log& log) {
  command
      .add_option_function<std::string>(
          "--log", [&log](const std::string& level) { log = level == "debug" ? Log::kDebug : Log::kOff; },
          "Diagnostics on standard error: debug or off (default off)")
      ->check(CLI::IsMember({"debug", "off"}))
      ->option_text("LEVEL");
}

void add_ledger_option(CLI::App& command, std::string& ledger) {
  ledger = "/var/lib/polaiga/ledger.db";
  command.add_option("--ledger", ledger, "File of the ledger (default POLAIGA_LEDGER, or " + ledger + ")")
      ->envname("POLAIGA_LEDGER")
      ->option_text("FILE");
}

std::vector<Command> add_commands(CLI::App& program) {
  return {
      replay_command(program),  run_command(program),     active_command(program),
      history_command(program), explain_command(program), tail_command(program), verify_command(program),
      catalog_command(program), diff_command(program),    worker_command(program),
  };
}

}  // namespace polaiga::engine
