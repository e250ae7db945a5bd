#include "commands/maintain_command.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>

#include "base/printable.h"
#include "commands/action_options.h"
#include "commands/options.h"
#include "ledger/reader.h"
#include "report/json_forms.h"
#include "report/shown.h"
#include "report/table.h"

namespace polaiga::engine {
namespace {

struct MaintainOptions {
  std::string control;
  std::string dn;
  std::string end;
  ActionText text;
  SilenceEnd ending;
};

Status maintain(const MaintainOptions& options, StandardOutput& output) {
  if (options.dn.empty() == options.end.empty()) {
    throw UsageError("Name the object that goes out of service, or the one that comes back with --end");
  }
  const bool begins = options.end.empty();
  if (begins && options.text.comment.empty()) throw UsageError("Say why, with --comment");
  ActionRequestLine request(begins ? ActionKind::kMaintain : ActionKind::kEndMaintenance, options.text);
  request.about(begins ? options.dn : options.end);
  if (begins) must_end(options.ending);
  if (begins) request.lasting(options.ending);
  const ActionDone done = request.send(options.control);
  if (done.is_new) {
    // One change is that of the object itself.
    const auto alarms = static_cast<std::uint64_t>(std::max<std::int64_t>(done.changes - 1, 0));
    output.write(printable(begins ? options.dn : options.end) +
                 (begins ? " is out of service; " : " is back in service; ") + plural(alarms, "active alarm") +
                 (alarms == 1 ? " is " : " are ") + (begins ? "silenced.\n" : "no longer silenced by it.\n"));
  } else {
    output.write("This was done before, under the same id.\n");
  }
  output.flush();
  return kDone;
}

struct MaintenanceOptions {
  std::string ledger;
  bool json = false;
};

std::string maintenance_text(const std::vector<StoredMaintenance>& objects, Room room) {
  if (objects.empty()) return "No object is out of service.\n";
  Rows rows{{"SINCE", "UNTIL", "PERSON", "OBJECT", "COMMENT"}};
  for (const auto& [maintenance, action] : objects) {
    rows.push_back({format_moment(maintenance.since_at), format_moment(maintenance.until),
                    action ? printable(action->on_behalf_of.value_or(action->person)) : "?", printable(maintenance.dn),
                    action ? printable(action->comment.value_or("")) : ""});
  }
  constexpr std::size_t kObject = 3;
  constexpr std::size_t kComment = 4;
  return aligned(rows, {.room = room, .giving_way = {{kComment, 16}, {kObject, 24, true}, {kComment, 4}}});
}

Status maintenance(const MaintenanceOptions& options, StandardOutput& output) {
  LedgerReader reader(options.ledger);
  const auto objects = reader.maintenance();
  if (options.json) {
    for (const StoredMaintenance& one : objects) output.write(maintenance_form(one).line());
  } else {
    output.write(maintenance_text(objects, output.width()));
  }
  output.flush();
  return tell_left_out(reader) ? kDamaged : kDone;
}

}  // namespace

Command maintain_command(CLI::App& program) {
  const auto options = std::make_shared<MaintainOptions>();
  CLI::App* const app =
      program.add_subcommand("maintain", "Take an object, and all below it, out of service for a time");
  app->footer(
      "Example:\n  polaiga maintain sys/rack-unit-1/psu-1 --for 4h --comment \"power supply is being replaced\"\n\n"
      "Alarms of an object that is out of service are recorded like all others, but they are silenced.\n"
      "It comes back by itself at its time, or with --end.\n\n"
      "Exit status: 0 when it was done, 2 when it was refused or the engine cannot be reached.");
  add_control_option(*app, options->control);
  add_ending_options(*app, options->ending);
  add_name_option(*app, {"--end", "DN", "End the maintenance of this object now"}, "sys/rack-unit-1/psu-1",
                  options->end)
      ->excludes(app->get_option("--for"))
      ->excludes(app->get_option("--until"));
  add_action_text_options(*app, false, options->text);
  add_name(*app, "DN", options->dn, "DN of the object");
  return {app, [options](StandardOutput& output) { return maintain(*options, output); }};
}

Command maintenance_command(CLI::App& program) {
  const auto options = std::make_shared<MaintenanceOptions>();
  CLI::App* const app = program.add_subcommand("maintenance", "List the objects that are out of service");
  app->footer(
      "Exit status: 0 when all is well, 1 when damaged rows were left out, 2 when the ledger\n"
      "cannot be read.");
  add_ledger_option(*app, options->ledger);
  add_switch(*app, "--json", "Print JSON Lines, one object a line", options->json);
  return {app, [options](StandardOutput& output) { return maintenance(*options, output); }};
}

}  // namespace polaiga::engine
