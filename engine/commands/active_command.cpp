#include "commands/active_command.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <ctime>
#include <memory>

#include "base/printable.h"
#include "commands/selection_options.h"
#include "ledger/ledger_query.h"
#include "model/record_text.h"
#include "report/colour.h"
#include "report/json_text.h"
#include "report/shown.h"

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

std::optional<Moment> whole_number(std::string_view text) {
  Moment number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end || number < 0 || number > kLastMoment) return std::nullopt;
  return number;
}

// In seconds.
std::optional<Moment> parse_age(std::string_view text) {
  constexpr std::string_view kUnits = "smhd";
  constexpr Moment kSeconds[] = {1, 60, 3'600, 86'400};
  const std::size_t unit = text.empty() ? std::string_view::npos : kUnits.find(text.back());
  if (unit == std::string_view::npos) return std::nullopt;
  const auto number = whole_number(text.substr(0, text.size() - 1));
  if (!number || *number > kLastMoment / kSeconds[unit]) return std::nullopt;
  return *number * kSeconds[unit];
}

void add_age_option(CLI::App& app, const std::string& name, std::optional<Moment>& age, const std::string& help) {
  app.add_option_function<std::string>(
         name,
         [name, &age](const std::string& text) {
           age = parse_age(text);
           if (!age) {
             throw CLI::ValidationError(name,
                                        in_quotes(text) + " is no age: a number with s, m, h or d, as in 90s or 2h");
           }
         },
         help)
      ->option_text("AGE");
}

void add_at_option(CLI::App& app, std::optional<Moment>& at) {
  app.add_option_function<std::string>(
         "--at",
         [&at](const std::string& text) {
           at = parse_moment(text);
           if (!at) at = whole_number(text);
           if (!at) {
             throw CLI::ValidationError("--at", in_quotes(text) +
                                                    " is neither an RFC 3339 time, as in "
                                                    "2025-03-12T09:12:20Z, nor seconds since 1970");
           }
         },
         "That were active at this time: RFC 3339, or seconds since 1970")
      ->option_text("TIME");
}

Selection selection_of(const ActiveOptions& options) {
  Selection selection = options.selection;
  const Moment now = options.at.value_or(std::time(nullptr));
  if (options.older_than) selection.raised_by = now - *options.older_than;
  if (options.newer_than) selection.raised_after = now - *options.newer_than;
  return selection;
}

std::string as_text(const std::vector<ActiveEpisode>& active, bool coloured) {
  if (active.empty()) return "No faults are active.\n";
  std::vector<std::vector<std::string>> rows{{"SINCE", "SEVERITY", "CODE", "OBJECT", "DESCRIPTION"}};
  for (const auto& [episode, stored, is_latest] : active) {
    const fe_fault_record& record = stored.record;
    rows.push_back({format_moment(episode.raised_at),
                    shown(find_severity(stored.severity).value_or(Severity::kIndeterminate), coloured),
                    printable(field_text(record.code_text)), printable(field_text(record.dn)),
                    shown_description(field_text(record.descr))});
  }
  return aligned(rows);
}

std::string as_json(const ActiveEpisode& active) {
  const auto& [episode, stored, is_latest] = active;
  const fe_fault_record& record = stored.record;
  nlohmann::ordered_json object = {{"fault_dn", episode.fault_dn},
                                   {"dn", field_text(record.dn)},
                                   {"code", record.code},
                                   {"code_text", field_text(record.code_text)},
                                   {"name", field_text(record.name)},
                                   {"severity", stored.severity},
                                   {"cause", field_text(record.cause)},
                                   {"descr", field_text(record.descr)},
                                   {"entity", stored.event.line.entity->name},
                                   {"since", format_moment(episode.raised_at)}};
  if (is_latest) {
    object["updated"] = format_moment(episode.updated_at);
    object["reports"] = episode.reports;
  }
  object["raised_seq"] = episode.raised;
  if (is_latest) object["last_seq"] = episode.last;
  return json_text(object) + "\n";
}

Status active(const ActiveOptions& options, StandardOutput& output) {
  const auto found = LedgerReader(options.ledger).active(selection_of(options), options.at);
  if (options.json) {
    for (const ActiveEpisode& one : found) output.write(as_json(one));
  } else {
    output.write(as_text(found, wants_colour(options.colour, output)));
  }
  output.flush();
  return kDone;
}

}  // namespace

Command active_command(CLI::App& program) {
  const auto options = std::make_shared<ActiveOptions>();
  CLI::App* const app = program.add_subcommand("active", "List the faults that are active, from the ledger");
  app->footer(
      "Example:\n  polaiga active --severity major --older-than 2h\n\n"
      "AGE is a number with its unit, s, m, h or d, and is counted from now, or from\n"
      "the TIME of --at, back to when a fault was raised. What is as old as the AGE is\n"
      "older. With --at, what later records have changed is left out of --json:\n"
      "updated, reports and last_seq.\n\n"
      "Exit status: 0 when all is well, 2 when the ledger cannot be read.");
  add_ledger_option(*app, options->ledger);
  app->add_flag("--json", options->json, "Print JSON Lines, a fault each");
  add_selection_options(*app, options->selection);
  add_entity_option(*app, options->selection);
  add_age_option(*app, "--older-than", options->older_than, "Raised at least this long ago");
  add_age_option(*app, "--newer-than", options->newer_than, "Raised less than this long ago");
  add_at_option(*app, options->at);
  add_colour_option(*app, options->colour);
  return {app, [options](StandardOutput& output) { return active(*options, output); }};
}

}  // namespace polaiga::engine
