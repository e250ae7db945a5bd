// The polaiga program: its command line.
#include <CLI/CLI.hpp>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <sstream>

#include "catalog_command.h"
#include "entities.h"
#include "replay.h"

namespace {

using namespace polaiga::engine;

constexpr const char* kExample =
    "Example:\n"
    "  echo '{\"entity\":\"fan\",\"sensor\":\"FAN1_TACH1\",\"offset\":3,\"state\":1}' | polaiga replay -\n";

std::string entity_names() {
  std::string names;
  for (const Entity& entity : entities()) names += (names.empty() ? "" : ", ") + std::string(entity.name);
  return names;
}

int run(int argc, char** argv, Output& output) {
  ReplayOptions options;
  CLI::App app("Takes sensor events of a rack server to fault records, and tells which faults are active.", "polaiga");
  app.set_version_flag("--version", "polaiga " POLAIGA_VERSION);
  app.footer(kExample);
  app.require_subcommand(1);

  CLI::App* const command = app.add_subcommand("replay", "Replay sensor events, given as JSON Lines");
  command->footer(std::string(kExample) + "  polaiga replay --json day.jsonl\n\nEntities: " + entity_names() +
                  "\n\nExit status: 0 when all is well, 1 when lines were no events, 2 when the replay failed.");
  command->add_option("FILE", options.files, "Files of events, one JSON object a line; - is standard input")
      ->required();
  command->add_flag("--json", options.json, "Print records and summary as JSON Lines");
  command->add_flag("--strict", options.strict, "Stop at the first line that is no event");
  std::string colour = "auto";
  command->add_option("--color", colour, "Colour the severities: auto, always or never (default auto)")
      ->check(CLI::IsMember({"auto", "always", "never"}))
      ->option_text("WHEN");
  command->add_option("--platform", options.platform, "Number of the platform, 0 to 17 (default 0)")
      ->check(CLI::Range(0, kPlatforms - 1))
      ->option_text("N");
  command->add_option("--tables", options.tables, "Directory of nm.tsv, cmc.tsv and drive_bp.tsv")->option_text("DIR");
  std::string log = "off";
  command->add_option("--log", log, "Diagnostics on standard error: debug or off (default off)")
      ->check(CLI::IsMember({"debug", "off"}))
      ->option_text("LEVEL");

  CatalogOptions faults;
  CLI::App* const list = app.add_subcommand("catalog", "List every fault that the library can raise");
  list->footer("Example:\n  polaiga catalog --json\n\nEvents are given as OFFSETS: STATES.");
  bool as_json = false;
  bool as_markdown = false;
  list->add_flag("--markdown", as_markdown, "Print a page of documentation")
      ->excludes(list->add_flag("--json", as_json, "Print JSON Lines, a fault each"));
  list->add_option("--tables", faults.tables, "Directory of nm.tsv, cmc.tsv and drive_bp.tsv")->option_text("DIR");

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    std::ostringstream answer;
    std::ostringstream complaint;
    const int status = app.exit(error, answer, complaint);
    output.write(answer.str());
    output.flush();
    std::fputs(complaint.str().c_str(), stderr);
    return status == 0 ? kDone : kFailed;
  }
  if (list->parsed()) {
    if (as_json) faults.form = CatalogForm::kJson;
    if (as_markdown) faults.form = CatalogForm::kMarkdown;
    catalog(faults, output);
    return kDone;
  }
  if (colour != "auto") options.colour = colour == "always" ? Colour::kAlways : Colour::kNever;
  if (log == "debug") options.log = Log::kDebug;
  return replay(options, output);
}

}  // namespace

int main(int argc, char** argv) {
  // A reader that has gone away is then an error of the write.
  std::signal(SIGPIPE, SIG_IGN);
  try {
    Output output;
    return run(argc, argv, output);
  } catch (const WriteError& error) {
    if (error.code().value() == EPIPE) return kDone;
    std::fprintf(stderr, "polaiga: cannot write to standard output: %s\n", error.code().message().c_str());
  } catch (const std::exception& error) {
    std::fprintf(stderr, "polaiga: %s\n", error.what());
  }
  return kFailed;
}
