#include "commands/active_command.h"

#include <CLI/CLI.hpp>
#include <ctime>
#include <memory>

#include "base/printable.h"
#include "commands/options.h"
#include "commands/selection_options.h"
#include "ledger/reader.h"
#include "model/record_text.h"
#include "report/colour.h"
#include "report/json_forms.h"
#include "report/shown.h"
#include "report/table.h"

namespace polaiga::engine {
namespace {

struct ActiveOptions {
  std::string ledger;
  bool json = false;
  Colour colour = Colour::kAuto;
  Selection selection;
  std::optional<Moment> older_than;  // seconds
  std::optional<Moment> newer_than;
  std::optional<Moment> at;
};

void add_age_option(CLI::App& app, const std::string& name, std::optional<Moment>& age, const std::string& help) {
  static constexpr Unit kUnits[] = {{"s", 1}, {"m", 60}, {"h", 3'600}, {"d", 86'400}};
  add_value_option(app, {name, "AGE", help}, {"a whole number with s, m, h or d", "2h"},
                   [&age](const std::string& text) {
                     age = parse_quantity(text, kUnits);
                     return age && *age <= kLastMoment;
                   });
}

void add_at_option(CLI::App& app, std::optional<Moment>& at) {
  add_value_option(app, {"--at", "TIME", "List what was active at this time: RFC 3339, or seconds since 1970"},
                   {"an RFC 3339 time or seconds since 1970", "2025-03-12T09:12:20Z"}, [&at](const std::string& text) {
                     at = parse_moment(text);
                     if (!at) at = parse_whole_number(text);
                     return at && *at >= 0 && *at <= kLastMoment;
                   });
}

Selection selection_of(const ActiveOptions& options) {
  Selection selection = options.selection;
  const Moment now = options.at.value_or(std::time(nullptr));
  if (options.older_than) selection.raised_by = now - *options.older_than;
  if (options.newer_than) selection.raised_after = now - *options.newer_than;
  return selection;
}

std::string as_text(const std::vector<ActiveRow>& active, bool coloured, Room room) {
  if (active.empty()) return "No faults are active.\n";
  Rows rows{{"SINCE", "SEVERITY", "CODE", "REPORTERS", "OBJECT", "DESCRIPTION"}};
  for (const auto& [fault, alarm_since, stored] : active) {
    const fe_fault_record& record = stored.record;
    rows.push_back({format_moment(fault.since), shown(fault.severity, coloured),
                    printable(field_text(record.code_text)), std::to_string(fault.reporters), printable(fault.dn),
                    shown_description(field_text(record.descr))});
  }
  constexpr std::size_t kReporters = 3;
  constexpr std::size_t kObject = 4;
  constexpr std::size_t kDescription = 5;
  return aligned(
      rows, {.room = room,
             .giving_way = {
                 {kDescription, 12}, {kObject, 24, true}, {kReporters, 0}, {kObject, 12, true}, {kDescription, 4}}});
}

Status active(const ActiveOptions& options, StandardOutput& output) {
  LedgerReader reader(options.ledger);
  const auto found = reader.active(selection_of(options), options.at);
  if (options.json) {
    const std::string ledger_id = reader.ledger_id();
    for (const ActiveRow& row : found) output.write(active_row_form(row, ledger_id, reader.profile()).line());
  } else {
    output.write(as_text(found, wants_colour(options.colour, output), output.width()));
  }
  output.flush();
  return tell_left_out(reader) ? kDamaged : kDone;
}

}  // namespace

Command active_command(CLI::App& program) {
  const auto options = std::make_shared<ActiveOptions>();
  CLI::App* const app = program.add_subcommand("active", "List the active faults of the ledger");
  app->footer(
      "Example:\n  polaiga active --severity major --older-than 2h\n\n"
      "REPORTERS is how many sensors report the fault. Each of them must take its report\n"
      "back before the fault is cleared.\n\n"
      "AGE is a number with a unit: s, m, h or d. A fault's age is counted from now, or\n"
      "from the TIME of --at, back to when the fault was raised. A fault of exactly AGE\n"
      "counts as older.\n\n"
      "Exit status: 0 when all is well, 1 when damaged rows were left out, 2 when the ledger\n"
      "cannot be read.");
  add_ledger_option(*app, options->ledger);
  add_switch(*app, "--json", "Print JSON Lines, one fault a line", options->json);
  add_selection_options(*app, options->selection);
  add_entity_option(*app, options->selection);
  add_age_option(*app, "--older-than", options->older_than, "Only faults raised at least this long ago");
  add_age_option(*app, "--newer-than", options->newer_than, "Only faults raised less than this long ago");
  add_at_option(*app, options->at);
  add_colour_option(*app, options->colour);
  return {app, [options](StandardOutput& output) { return active(*options, output); }};
}

}  // namespace polaiga::engine
