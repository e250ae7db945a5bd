#include "commands/operator_commands.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <ctime>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>

#include "base/messages.h"
#include "base/printable.h"
#include "commands/action_options.h"
#include "commands/options.h"
#include "commands/selection_options.h"
#include "ledger/reader.h"
#include "report/json_forms.h"
#include "report/shown.h"
#include "report/table.h"

namespace polaiga::engine {
namespace {

// A command of operators, and the words that tell of it.
struct Verb {
  const char* name;
  ActionKind kind;
  const char* help;
  const char* done;   // as in "Acknowledged 3 alarms"
  const char* asked;  // as in "Acknowledge these 3 alarms?"
  const char* example;
  bool wants_comment;
};

constexpr Verb kVerbs[] = {
    {"ack", ActionKind::kAcknowledge, "Say that you have seen alarms", "Acknowledged", "Acknowledge",
     "polaiga ack --under sys/rack-unit-1/psu-1 --comment \"spare part ordered\"", false},
    {"unack", ActionKind::kUnacknowledge, "Take back that alarms are acknowledged or closed", "Unacknowledged",
     "Unacknowledge", "polaiga unack sys/rack-unit-1/psu-1/fault-F0374", false},
    {"close", ActionKind::kClose, "Say that alarms are dealt with, though they are still active", "Closed", "Close",
     "polaiga close sys/rack-unit-1/psu-1/fault-F0374 --comment \"replaced, waits for the reset\"", true},
    {"comment", ActionKind::kComment, "Add a comment to alarms", "Commented on", "Comment on",
     "polaiga comment sys/rack-unit-1/psu-1/fault-F0374 --comment \"ticket 4711\"", true},
    {"shelve", ActionKind::kShelve, "Silence alarms for a limited time", "Shelved", "Shelve",
     "polaiga shelve --under sys/rack-unit-1/fan-module-1-1 --for 2h --comment \"fan is being replaced\"", true},
    {"unshelve", ActionKind::kUnshelve, "End the silence of alarms before its time", "Unshelved", "Unshelve",
     "polaiga unshelve --all", false},
};

constexpr const char* kDoneBefore = "This was done before, under the same id.\n";

struct OperatorOptions {
  std::string ledger;
  std::string control;
  std::vector<std::string> names;
  AlarmSelection selection;
  ActionText text;
  SilenceEnd ending;
  bool missed = false;
  bool dry_run = false;
  bool yes = false;
};

// The number of an alarm that is named by its id or by its number; 0: it is named in another way.
ChangeNumber number_in(const std::string& name, const std::string& ledger_id) {
  const std::size_t dash = name.find('-');
  const bool has_ledger = dash == ledger_id.size() && name.starts_with(ledger_id);
  return parse_whole_number(has_ledger ? name.substr(dash + 1) : name).value_or(0);
}

// Alarms that are named: each of them must be active.
std::vector<ActiveRow> named(const std::vector<std::string>& names, std::vector<ActiveRow> active,
                             const std::string& ledger_id) {
  std::set<ChangeNumber> chosen;
  for (const std::string& name : names) {
    const ChangeNumber number = number_in(name, ledger_id);
    const auto found = std::ranges::find_if(active, [&](const ActiveRow& row) {
      return row.fault.fault_dn == name || (number > 0 && row.fault.alarm == number);
    });
    if (found == active.end()) {
      throw UsageError("There is no active alarm '" + printable(name) +
                       "': it is over, or there never was one. `polaiga active --all` lists those that are active");
    }
    chosen.insert(found->fault.alarm);
  }
  std::erase_if(active, [&](const ActiveRow& row) { return !chosen.contains(row.fault.alarm); });
  return active;
}

// Whether the action can do something with the alarm. Those that are selected are taken as far as it can.
bool is_possible(ActionKind kind, const ActiveRow& row) {
  if (kind == ActionKind::kUnacknowledge) return row.standing.acknowledged != 0 || row.standing.closed != 0;
  if (kind == ActionKind::kUnshelve) return row.standing.shelved != 0;
  return true;
}

std::vector<ActiveRow> chosen_alarms(const OperatorOptions& options, ActionKind kind, LedgerReader& reader) {
  if (options.names.empty() == !options.selection.is_given()) {
    throw UsageError(
        "Name the alarms, by the DN of a fault or by the id of an alarm, or select them with --under, --severity and "
        "so on; --all selects all");
  }
  if (!options.names.empty()) return named(options.names, reader.active({}, std::nullopt), reader.ledger_id());
  AlarmSelection selection = options.selection;
  if (kind == ActionKind::kUnshelve) selection.all = true;
  auto active = reader.active(selection.at(std::time(nullptr)), std::nullopt);
  std::erase_if(active, [&](const ActiveRow& row) { return !selection.has(row) || !is_possible(kind, row); });
  return active;
}

std::string listed(const std::vector<ActiveRow>& alarms, Room room) {
  Rows rows{{"SINCE", "SEVERITY", "ALARM", "OBJECT", "DESCRIPTION"}};
  for (const ActiveRow& row : alarms) {
    rows.push_back({format_moment(row.fault.since), std::string(severity_word(row.fault.severity)),
                    std::to_string(row.fault.alarm), printable(row.fault.fault_dn),
                    shown_description(field_text(row.shown.record.descr))});
  }
  constexpr std::size_t kObject = 3;
  constexpr std::size_t kDescription = 4;
  return aligned(rows, {.room = room, .giving_way = {{kDescription, 12}, {kObject, 24, true}, {kDescription, 4}}});
}

bool is_at_terminal() { return ::isatty(STDIN_FILENO) != 0 && ::isatty(STDERR_FILENO) != 0; }

// Asks the person; anything but "y" or "yes" means no.
bool says_yes(const std::string& question) {
  std::fputs((question + " [y/N] ").c_str(), stderr);
  char answer[16] = {};
  if (std::fgets(answer, sizeof answer, stdin) == nullptr) return false;
  const std::string_view given(answer);
  return given == "y\n" || given == "yes\n" || given == "Y\n";
}

// Whether to go on. Nobody is asked who is not at a terminal.
bool is_sure(const OperatorOptions& options, const Verb& verb, const std::vector<ActiveRow>& alarms,
             StandardOutput& output) {
  if (options.yes) return true;
  const bool closes = verb.kind == ActionKind::kClose;
  const std::string still_active =
      closes ? (alarms.size() == 1 ? "It is still active. " : "They are still active. ") : std::string();
  if (!is_at_terminal()) {
    if (closes) throw UsageError(still_active + "To close what is still active, add --yes");
    return true;
  }
  if (alarms.size() == 1 && !closes) return true;
  output.write(listed(alarms, output.width()));
  output.flush();
  const std::string these = alarms.size() == 1 ? "this alarm" : "these " + std::to_string(alarms.size()) + " alarms";
  return says_yes(still_active + verb.asked + " " + these + "?");
}

// Alarms that end after they were counted here are missed yet.
Status acknowledge_missed(const OperatorOptions& options, StandardOutput& output) {
  const MissedCount missed = LedgerReader(options.ledger).count_missed();
  const std::string alarms = plural(missed.alarms, "missed alarm") + ".\n";
  if (options.dry_run) {
    output.write("Would acknowledge " + alarms);
  } else if (ActionRequestLine(ActionKind::kAcknowledgeMissed, options.text)
                 .through(missed.through)
                 .send(options.control)
                 .is_new) {
    output.write("Acknowledged " + alarms);
  } else {
    output.write(kDoneBefore);
  }
  output.flush();
  return kDone;
}

Status act(const OperatorOptions& options, const Verb& verb, StandardOutput& output) {
  if (verb.kind == ActionKind::kShelve) must_end(options.ending);
  ActionRequestLine request(verb.kind, options.text);
  if (options.missed) {
    if (!options.names.empty() || options.selection.is_given()) {
      throw UsageError("--missed is about all alarms that were missed; it is typed without names and other choices");
    }
    return acknowledge_missed(options, output);
  }
  LedgerReader reader(options.ledger);
  const std::vector<ActiveRow> alarms = chosen_alarms(options, verb.kind, reader);
  const bool is_damaged = tell_left_out(reader);
  if (alarms.empty()) {
    output.write("No active alarm is selected.\n");
  } else if (options.dry_run) {
    output.write(listed(alarms, output.width()));
  } else if (!is_sure(options, verb, alarms, output)) {
    output.write("Nothing was done.\n");
  } else {
    std::vector<ChangeNumber> numbers;
    numbers.reserve(alarms.size());
    for (const ActiveRow& row : alarms) numbers.push_back(row.fault.alarm);
    request.about(std::move(numbers), reader.ledger_id());
    if (options.names.empty()) request.selected();
    if (verb.kind == ActionKind::kShelve) request.lasting(options.ending);
    const ActionDone done = request.send(options.control);
    output.write(done.is_new
                     ? std::string(verb.done) + " " + plural(static_cast<std::uint64_t>(done.changes), "alarm") + ".\n"
                     : std::string(kDoneBefore));
  }
  output.flush();
  return is_damaged ? kDamaged : kDone;
}

Command operator_command(CLI::App& program, const Verb& verb) {
  const auto options = std::make_shared<OperatorOptions>();
  CLI::App* const app = program.add_subcommand(verb.name, verb.help);
  app->footer(std::string("Example:\n  ") + verb.example +
              "\n\nThe alarms are named, by the DNs of their faults or by their ids, or selected by options as of\n"
              "`polaiga active`. All of them are changed, or none is. " +
              (verb.kind == ActionKind::kClose
                   ? "At a terminal you are always asked before\n"
                     "an alarm is closed. Where there is no terminal, as in a script, closing needs --yes. The\n"
                     "ledger keeps who did it, when and why."
                   : "At a terminal you are asked before more\n"
                     "than one alarm is changed. The ledger keeps who did it, when and why.") +
              "\n\n"
              "Exit status: 0 when it was done, 1 when damaged rows were left out, 2 when it was refused or\n"
              "the engine cannot be reached.");
  add_ledger_option(*app, options->ledger);
  add_control_option(*app, options->control);
  add_alarm_selection_options(*app, options->selection);
  add_action_text_options(*app, verb.wants_comment, options->text);
  if (verb.kind == ActionKind::kShelve) add_ending_options(*app, options->ending);
  if (verb.kind == ActionKind::kAcknowledge) {
    add_switch(*app, "--missed", "Say that you have seen the alarms that `polaiga missed` lists", options->missed);
  }
  add_switch(*app, "--dry-run", "Only list the alarms that would be changed", options->dry_run);
  add_switch(*app, "--yes", "Do not ask", options->yes);
  add_names(*app, "ALARM", options->names, "DNs of faults, or ids or numbers of alarms");
  return {app, [options, &verb](StandardOutput& output) { return act(*options, verb, output); }};
}

}  // namespace

std::vector<Command> operator_commands(CLI::App& program) {
  std::vector<Command> commands;
  for (const Verb& verb : kVerbs) commands.push_back(operator_command(program, verb));
  return commands;
}

}  // namespace polaiga::engine
