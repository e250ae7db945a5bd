#include "commands/diff_command.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "commands/options.h"
#include "compare/diff.h"

namespace polaiga::engine {

Command diff_command(CLI::App& program) {
  const auto options = std::make_shared<DiffOptions>();
  CLI::App* const app = program.add_subcommand("diff", "Compare two builds of the library, record by record");
  app->footer(
      "Example:\n  polaiga diff /usr/lib/libpolaiga.so.1 build/libpolaiga.so.1 day.jsonl\n\n"
      "Both builds get the same events, each in a process of its own. All fields of\n"
      "the two records are compared, except the time stamps created and created_time.\n"
      "Also compared are what a filter writes to the caller's event (caller_event) and\n"
      "the fault that it withdraws (withdrawn). Events that both builds reject are\n"
      "compared as well.\n\n"
      "Exit status: 0 if nothing differs, 1 if something differs or a build crashes,\n"
      "2 if lines were not events or the comparison failed.");
  add_name(*app, "A.so", options->a, "File of the one build")->required();
  add_name(*app, "B.so", options->b, "File of the other build")->required();
  add_names(*app, "FILE", options->files, "Files of events, one JSON object a line; - is standard input")->required();
  add_switch(*app, "--json", "Print differences and summary as JSON Lines", options->json);
  add_platform_option(*app, options->platform);
  add_tables_option(*app, options->tables);
  return {app, [options](StandardOutput& output) { return diff(*options, output); }};
}

}  // namespace polaiga::engine
