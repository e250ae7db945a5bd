#include "fleet_alertmanager_program/fleet_options.h"

#include <CLI/CLI.hpp>

#include "alertmanager_program/peer_options.h"
#include "base/status.h"

namespace polaiga::alertmanager {
namespace {

constexpr std::size_t kMostPeers = 16;

void finish(const PeerTexts& texts, int every, FleetOptions& options) {
  for (const std::string& one : texts.urls)
    options.alertmanagers.push_back(read_address("--url", one, Query::kRefused));
  if (options.alertmanagers.empty()) throw CLI::ValidationError("give an Alertmanager with --url");
  if (options.alertmanagers.size() > kMostPeers) {
    throw CLI::ValidationError("there are more than " + std::to_string(kMostPeers) + " URLs; start a second program");
  }
  options.page_url = read_page_url(texts);
  options.resend = read_resend(texts);
  options.every = std::chrono::seconds(every);
  check_access(options.files);
}

}  // namespace

std::optional<FleetOptions> read_fleet_options(int argc, const char* const* argv, int& status) {
  CLI::App program("Tells Alertmanagers of the alarms of a fleet, from its database", "polaiga-alertmanager-fleet");
  program.set_version_flag("--version", "polaiga-alertmanager-fleet " POLAIGA_VERSION);
  FleetOptions options;
  PeerTexts texts;
  int every = 10;
  program
      .add_option("--fleet", options.database,
                  "The fleet's database, as postgresql://polaiga_viewer@HOST/fleet, without a password: that is in the "
                  "file that PGPASSFILE or passfile= names")
      ->required();
  program.add_option("--every", every, "Seconds from one reading of the database to the next")
      ->check(CLI::Range(1, 300))
      ->capture_default_str();
  add_peer_options(program, texts, options.files);
  program.footer(
      "SIGHUP makes it read the files for credentials and certificates anew.\n"
      "Exit status: 0 it was asked to end; 1 it could not go on and may be started again; 2 the options or the files "
      "are wrong.");
  try {
    program.parse(argc, argv);
    finish(texts, every, options);
    return options;
  } catch (const CLI::ParseError& error) {
    status = program.exit(error) == 0 ? engine::kDone : engine::kFailed;
    return std::nullopt;
  }
}

}  // namespace polaiga::alertmanager
