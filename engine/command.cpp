#include "command.h"

#include "catalog_command.h"
#include "diff_command.h"
#include "replay_command.h"
#include "services.h"
#include "worker_command.h"

namespace polaiga::engine {

void add_tables_option(CLI::App& command, std::string& tables) {
  command.add_option("--tables", tables, "Directory of nm.tsv, cmc.tsv and drive_bp.tsv")->option_text("DIR");
}

void add_platform_option(CLI::App& command, std::int32_t& platform) {
  command.add_option("--platform", platform, "Number of the platform, 0 to 17 (default 0)")
      ->check(CLI::Range(0, kPlatforms - 1))
      ->option_text("N");
}

std::vector<Command> add_commands(CLI::App& program) {
  return {
      replay_command(program),
      catalog_command(program),
      diff_command(program),
      worker_command(program),
  };
}

}  // namespace polaiga::engine
