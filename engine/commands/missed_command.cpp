#include "commands/missed_command.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "base/printable.h"
#include "commands/options.h"
#include "ledger/reader.h"
#include "report/json_forms.h"
#include "report/shown.h"
#include "report/table.h"

namespace polaiga::engine {
namespace {

struct MissedOptions {
  std::string ledger;
  bool json = false;
  std::int64_t limit = 100;
};

std::string missed_text(const std::vector<StoredAlarm>& alarms, Room room) {
  if (alarms.empty()) return "No alarm was missed.\n";
  Rows rows{{"CREATED", "ENDED", "LASTED", "WORST", "CODE", "OBJECT", "NAME"}};
  for (const StoredAlarm& alarm : alarms) {
    const StoredFault& last = alarm.steps.back();
    rows.push_back({format_moment(alarm.created), format_moment(alarm.ended_at),
                    duration_text(alarm.ended_at - alarm.created), std::string(severity_word(alarm.worst)),
                    code_text(last.code), printable(alarm.dn), printable(last.name)});
  }
  constexpr std::size_t kEnded = 1;
  constexpr std::size_t kObject = 5;
  constexpr std::size_t kName = 6;
  return aligned(rows, {.room = room, .giving_way = {{kName, 12}, {kObject, 24, true}, {kEnded, 0}, {kName, 4}}}) +
         "\nWhen you have seen them, type: polaiga ack --missed\n";
}

Status missed(const MissedOptions& options, StandardOutput& output) {
  LedgerReader reader(options.ledger);
  const auto alarms = reader.missed(options.limit);
  if (options.json) {
    const std::string ledger_id = reader.ledger_id();
    for (const StoredAlarm& alarm : alarms) output.write(alarm_form(alarm, ledger_id, reader.profile()).line());
  } else {
    output.write(missed_text(alarms, output.width()));
  }
  output.flush();
  return tell_left_out(reader) ? kDamaged : kDone;
}

}  // namespace

Command missed_command(CLI::App& program) {
  const auto options = std::make_shared<MissedOptions>();
  CLI::App* const app = program.add_subcommand("missed", "List the alarms that came and went while nobody looked");
  app->footer(
      "An alarm is missed when it is over and nobody acknowledged, closed or shelved it. Alarms that were\n"
      "silenced from beginning to end, by maintenance, are not missed. The list begins anew when\n"
      "somebody types `polaiga ack --missed`.\n\n"
      "Exit status: 0 when all is well, 1 when damaged rows were left out, 2 when the ledger\n"
      "cannot be read.");
  add_ledger_option(*app, options->ledger);
  add_switch(*app, "--json", "Print JSON Lines, one alarm a line", options->json);
  add_number_option(*app, {"--limit", "N", "Only the latest N; 0 lists all (default 100)"},
                    {.least = 0, .most = kMostRows, .example = 100},
                    [options](std::int64_t number) { options->limit = number; });
  return {app, [options](StandardOutput& output) { return missed(*options, output); }};
}

}  // namespace polaiga::engine
