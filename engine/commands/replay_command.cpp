#include "commands/replay_command.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "commands/options.h"
#include "commands/replay.h"
#include "model/entities.h"

namespace polaiga::engine {
namespace {

std::string entity_names() {
  std::string names;
  for (const Entity& entity : entities()) names += (names.empty() ? "" : ", ") + std::string(entity.name);
  return names;
}

}  // namespace

Command replay_command(CLI::App& program) {
  const auto options = std::make_shared<ReplayOptions>();
  CLI::App* const app = program.add_subcommand("replay", "Replay sensor events, given as JSON Lines");
  app->footer(std::string(kReplayExample) + "  polaiga replay --json day.jsonl\n\nEntities: " + entity_names() +
              "\n\nPrints each record and what it did to the alarms, then the active faults and the counts.\n\n"
              "Exit status: 0 when all is well, 1 when some lines were not events, 2 when the replay failed.");
  add_names(*app, "FILE", options->files, "Files of events, one JSON object a line; - reads standard input")
      ->required();
  add_switch(*app, "--json", "Print records and summary as JSON Lines", options->json);
  add_switch(*app, "--strict", "Stop at the first line that is not an event", options->strict);
  add_colour_option(*app, options->colour);
  add_platform_option(*app, options->platform);
  add_tables_option(*app, options->tables);
  add_log_option(*app, options->log);
  return {app, [options](StandardOutput& output) { return replay(*options, output); }};
}

}  // namespace polaiga::engine
