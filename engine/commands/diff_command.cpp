#include "commands/diff_command.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "compare/diff.h"

namespace polaiga::engine {

Command diff_command(CLI::App& program) {
  const auto options = std::make_shared<DiffOptions>();
  CLI::App* const app = program.add_subcommand("diff", "Compare two builds of the library, record by record");
  app->footer(
      "Example:\n  polaiga diff /usr/lib/libpolaiga.so.1 build/libpolaiga.so.1 day.jsonl\n\n"
      "The events go through both builds, each in a process of its own. Every field of the\n"
      "two records is compared, except created and created_time, the stamps of the clock.\n"
      "So are the caller's event after the call (caller_event) and the fault that the\n"
      "library withdraws (withdrawn). Events that both builds reject are compared, too.\n\n"
      "Exit status: 0 when nothing differs, 1 when something does or a build crashes, 2 when\n"
      "lines were not events or the comparison failed.");
  app->add_option("A.so", options->a, "File of the one build")->required();
  app->add_option("B.so", options->b, "File of the other build")->required();
  app->add_option("FILE", options->files, "Files of events, one JSON object a line; - is standard input")->required();
  app->add_flag("--json", options->json, "Print differences and summary as JSON Lines");
  add_platform_option(*app, options->platform);
  add_tables_option(*app, options->tables);
  return {app, [options](StandardOutput& output) { return diff(*options, output); }};
}

}  // namespace polaiga::engine
