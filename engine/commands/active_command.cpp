#include "commands/active_command.h"

#include <CLI/CLI.hpp>
#include <ctime>
#include <memory>

#include "base/printable.h"
#include "commands/options.h"
#include "commands/rfc8632_option.h"
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
  bool rfc8632 = false;
  Colour colour = Colour::kAuto;
  AlarmSelection selection;
  std::optional<Moment> at;
};

CLI::Option* add_at_option(CLI::App& app, std::optional<Moment>& at) {
  return add_value_option(app, {"--at", "TIME", "List what was active at this time: RFC 3339, or seconds since 1970"},
                          {"an RFC 3339 time or seconds since 1970", "2025-03-12T09:12:20Z"},
                          [&at](const std::string& text) {
                            at = parse_moment(text);
                            if (!at) at = parse_whole_number(text);
                            return at && *at >= 0 && *at <= kLastMoment;
                          });
}

// Those that are silenced are counted beside the list that leaves them out.
struct Silenced {
  std::size_t shelved = 0;
  std::size_t out_of_service = 0;
};

Silenced silenced_among(const std::vector<ActiveRow>& active) {
  Silenced silenced;
  for (const ActiveRow& row : active) {
    if (row.standing.shelved != 0) {
      ++silenced.shelved;
    } else if (row.is_out_of_service) {
      ++silenced.out_of_service;
    }
  }
  return silenced;
}

std::string silenced_text(const Silenced& silenced) {
  std::string text;
  if (silenced.shelved > 0) text = std::to_string(silenced.shelved) + " shelved";
  if (silenced.out_of_service > 0) {
    text += (text.empty() ? "" : ", ") + std::to_string(silenced.out_of_service) + " out of service";
  }
  return text.empty() ? "" : "Silenced: " + text + ". --shelved lists them.\n";
}

// What operators have made of the alarm, by whom and how long ago.
std::string state_text(const ActiveRow& row, Moment now) {
  const OperatorState state = row.standing.state();
  if (row.is_out_of_service && state != OperatorState::kShelved) return "out of service";
  if (state == OperatorState::kNone) return "";
  std::string text(operator_state_word(state));
  if (!row.state_by) return text;
  if (state == OperatorState::kShelved) return text + " until " + format_moment(row.standing.shelved_until);
  if (const auto& action = row.state_by->action; action && !action->person.empty()) {
    text += " by " + printable(action->on_behalf_of.value_or(action->person));
  }
  return text + ", " + duration_text(std::max<Moment>(now - row.state_by->at, 0)) + " ago";
}

// The same, and whether the fault is chattering.
std::string state_and_chattering(const ActiveRow& row, Moment now) {
  std::string text = state_text(row, now);
  if (!row.chattering) return text;
  return text.append(text.empty() ? "" : "; ").append("chattering, ").append(plural(row.chattering->raises, "raise"));
}

std::string as_text(const std::vector<ActiveRow>& active, Moment now, bool coloured, Room room) {
  if (active.empty()) return "";
  const auto has_state = [now](const ActiveRow& row) { return !state_and_chattering(row, now).empty(); };
  const bool with_state = std::ranges::any_of(active, has_state);
  Rows rows{{"SINCE", "SEVERITY", "CODE", "REPORTERS", "OBJECT"}};
  if (with_state) rows.front().emplace_back("STATE");
  rows.front().emplace_back("DESCRIPTION");
  for (const ActiveRow& row : active) {
    const StoredFault& fault = row.fault;
    const fe_fault_record& record = row.shown.record;
    rows.push_back({format_moment(fault.since), shown(fault.severity, coloured),
                    printable(field_text(record.code_text)), std::to_string(fault.reporters), printable(fault.dn)});
    if (with_state) rows.back().push_back(state_and_chattering(row, now));
    rows.back().push_back(shown_description(field_text(record.descr)));
  }
  constexpr std::size_t kReporters = 3;
  constexpr std::size_t kObject = 4;
  constexpr std::size_t kState = 5;
  const std::size_t description = rows.front().size() - 1;
  std::vector<GivingWay> giving_way{{description, 12}, {kObject, 24, true}, {kReporters, 0}};
  if (with_state) giving_way.push_back({kState, 12});
  giving_way.insert(giving_way.end(), {{kObject, 12, true}, {description, 4}});
  return aligned(rows, {.room = room, .giving_way = giving_way});
}

Status active(const ActiveOptions& options, StandardOutput& output) {
  LedgerReader reader(options.ledger);
  const Moment now = options.at.value_or(std::time(nullptr));
  if (options.rfc8632) {  // it has a list of its own for those that are shelved
    AlarmSelection told = options.selection;
    told.all = true;
    output.write(rfc8632_answer(
        reader.tell_active(told.at(now), [&told](const ActiveRow& row) { return told.has(row); }), options.ledger));
    output.flush();
    return tell_left_out(reader) ? kDamaged : kDone;
  }
  auto found = reader.active(options.selection.at(now), options.at);
  Silenced silenced = silenced_among(found);
  std::erase_if(found, [&options](const ActiveRow& row) { return !options.selection.has(row); });
  const Silenced listed = silenced_among(found);
  silenced.shelved -= listed.shelved;
  silenced.out_of_service -= listed.out_of_service;
  if (options.json) {
    const std::string ledger_id = reader.ledger_id();
    for (const ActiveRow& row : found) output.write(active_row_form(row, ledger_id, reader.profile()).line());
  } else {
    output.write(as_text(found, now, wants_colour(options.colour, output), output.width()));
    const std::string left_out = silenced_text(silenced);
    if (found.empty()) output.write(left_out.empty() ? "No faults are active.\n" : "No other faults are active.\n");
    output.write(left_out);
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
      "back before the fault is cleared. STATE is what operators have made of the alarm,\n"
      "and how often its fault was raised if it is chattering.\n\n"
      "Alarms that are shelved, or of objects that are out of service, are not listed, but\n"
      "counted; --shelved lists them alone, and --all lists them, too.\n\n"
      "AGE is a number with a unit: s, m, h or d. A fault's age is counted from now, or\n"
      "from the TIME of --at, back to when the fault was raised. A fault of exactly AGE\n"
      "counts as older.\n\n"
      "--rfc8632 tells the alarms of these faults, as docs/alarms.md describes.\n\n"
      "Exit status: 0 when all is well, 1 when damaged rows were left out, 2 when the ledger\n"
      "cannot be read.");
  add_ledger_option(*app, options->ledger);
  CLI::Option* const json = add_switch(*app, "--json", "Print JSON Lines, one fault a line", options->json);
  CLI::Option* const rfc8632 = add_rfc8632_option(*app, json, options->rfc8632);
  add_alarm_selection_options(*app, options->selection);
  rfc8632->excludes(add_at_option(*app, options->at));
  add_colour_option(*app, options->colour);
  return {app, [options](StandardOutput& output) { return active(*options, output); }};
}

}  // namespace polaiga::engine
