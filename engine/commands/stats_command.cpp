#include "commands/stats_command.h"

#include <CLI/CLI.hpp>
#include <ctime>
#include <memory>

#include "commands/chattering_option.h"
#include "commands/options.h"
#include "commands/rfc8632_option.h"
#include "commands/selection_options.h"
#include "ledger/reader.h"
#include "report/bar.h"
#include "report/measured.h"
#include "report/measures_forms.h"

namespace polaiga::engine {
namespace {

struct StatsOptions {
  std::string ledger;
  bool json = false;
  bool rfc8632 = false;
  Selection selection;
  std::optional<Moment> newer_than;  // seconds
  ChatteringLimit chattering;
};

Status stats(const StatsOptions& options, StandardOutput& output) {
  LedgerReader reader(options.ledger);
  if (options.rfc8632) {
    bool is_damaged = false;
    output.write(rfc8632_summary(reader, options.selection.under, is_damaged));
    output.flush();
    return is_damaged ? kDamaged : kDone;
  }
  const Measured measured = measure(
      reader, {.under = options.selection.under, .newer_than = options.newer_than, .chattering = options.chattering},
      std::time(nullptr));
  if (options.json) {
    output.write(measures_form(measured, reader.ledger_id()).line());
  } else {
    output.write(measures_text(measured, bar_style(output), output.width()));
  }
  output.flush();
  return tell_left_out(reader) ? kDamaged : kDone;
}

}  // namespace

Command stats_command(CLI::App& program) {
  const auto options = std::make_shared<StatsOptions>();
  CLI::App* const app = program.add_subcommand("stats", "Measure the alarms of the ledger: rates, floods, offenders");
  app->footer(
      "Example:\n  polaiga stats --newer-than 7d\n\n"
      "Counts the active alarms and the new ones. Tells when there were floods, which faults\n"
      "are chattering or stale, which faults raise the most alarms, and the mean time to\n"
      "acknowledge and to clear an alarm. docs/alarms.md defines each measure.\n\n"
      "AGE is a number with a unit: s, m, h or d. What is active, and what is new in the last\n"
      "10 minutes, hour and day, does not depend on it.\n\n"
      "--rfc8632 counts the same alarms as `polaiga history --rfc8632 --limit 0`, but for --under.\n\n"
      "Exit status: 0 when all is well, 1 when damaged rows were left out, 2 when the ledger\n"
      "cannot be read.");
  add_ledger_option(*app, options->ledger);
  CLI::Option* const json = add_switch(*app, "--json", "Print a JSON object", options->json);
  CLI::Option* const rfc8632 = add_rfc8632_option(*app, json, options->rfc8632);
  add_under_option(*app, options->selection);
  add_chattering_option(*app, options->chattering);
  rfc8632->excludes(
      add_age_option(*app, "--newer-than", options->newer_than, "Measure what was raised less than this long ago"));
  return {app, [options](StandardOutput& output) { return stats(*options, output); }};
}

}  // namespace polaiga::engine
