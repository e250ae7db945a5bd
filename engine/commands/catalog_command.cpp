#include "commands/catalog_command.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "commands/options.h"
#include "explore/catalog_forms.h"
#include "filter/alarm_profile_file.h"
#include "filter/host_tables.h"

namespace polaiga::engine {
namespace {

enum class CatalogForm : std::uint8_t { kText, kJson, kMarkdown };

struct CatalogOptions {
  CatalogForm form = CatalogForm::kText;
  std::string tables;  // directory; empty: the program's own
};

std::string in_form(CatalogForm form, std::span<const FoundFilter> filters, const AlarmProfile& profile) {
  switch (form) {
    case CatalogForm::kJson:
      return catalog_as_json(filters, profile);
    case CatalogForm::kMarkdown:
      return catalog_as_markdown(filters);
    default:
      return catalog_as_text(filters, profile);
  }
}

void catalog(const CatalogOptions& options, StandardOutput& output) {
  const auto tables = tables_directory(options.tables);
  load_host_tables(tables);
  const AlarmProfile profile = read_alarm_profile(tables);
  StandardOutput::divert(Others::kDiscarded);
  output.write(in_form(options.form, find_faults(), profile));
  output.flush();
}

}  // namespace

Command catalog_command(CLI::App& program) {
  const auto options = std::make_shared<CatalogOptions>();
  CLI::App* const app = program.add_subcommand("catalog", "List every fault that the library can raise");
  app->footer(
      "Example:\n  polaiga catalog --json\n\nEvents are written as OFFSETS: STATES.\n"
      "What alarms.tsv says of a fault is told with it, but not by --markdown.");
  const auto add_form = [&](const char* name, CatalogForm form, const char* help) {
    return add_switch(*app, name, help, [options, form] { options->form = form; });
  };
  add_form("--markdown", CatalogForm::kMarkdown, "Print a page of documentation")
      ->excludes(add_form("--json", CatalogForm::kJson, "Print JSON Lines, one fault a line"));
  add_tables_option(*app, options->tables);
  return {app, [options](StandardOutput& output) {
            catalog(*options, output);
            return kDone;
          }};
}

}  // namespace polaiga::engine
