#include "commands/history_command.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <ctime>
#include <memory>

#include "base/messages.h"
#include "base/printable.h"
#include "commands/options.h"
#include "commands/rfc8632_option.h"
#include "ledger/reader.h"
#include "report/change_text.h"
#include "report/json_forms.h"
#include "report/shown.h"
#include "report/steps.h"
#include "report/table.h"

namespace polaiga::engine {
namespace {

struct HistoryOptions {
  std::string ledger;
  std::string fault_dn;  // empty: all alarms
  bool json = false;
  bool rfc8632 = false;
  std::int64_t limit = 100;
};

std::string numbered(std::string_view what, ChangeNumber number) {
  return std::string(what) + " " + std::to_string(number);
}

std::string ending_text(const StoredAlarm& alarm) {
  std::string text;
  if (alarm.ended && alarm.ending == ChangeKind::kMerged) {
    text = numbered("merged into alarm", alarm.merged_into);
  } else if (alarm.ended) {
    text = change_word(alarm.ending);
  }
  if (alarm.related != 0) text += (text.empty() ? "" : ", ") + numbered("related to alarm", alarm.related);
  return text;
}

std::string severity_text(const StoredAlarm& alarm) {
  const std::string now(severity_word(alarm.severity));
  return alarm.worst == alarm.severity ? now : now + ", was " + std::string(severity_word(alarm.worst));
}

// A fault that is active when its alarm is merged goes on in the other alarm.
std::string step_ending_text(const StoredAlarm& alarm, const StoredFault& step) {
  const bool goes_on = !step.ended && alarm.merged_into != 0;
  return goes_on ? numbered("goes on in alarm", alarm.merged_into) : ending_text(alarm, step);
}

// From when to when, and for how long. What is active lasts until now.
void add_times(std::vector<std::string>& row, Moment from, std::optional<Moment> to, Moment now) {
  row.insert(row.end(),
             {format_moment(from), to ? format_moment(*to) : "active", duration_text(to.value_or(now) - from)});
}

std::string as_text(const std::vector<StoredAlarm>& alarms, Room room) {
  if (alarms.empty()) return "No alarm was ever raised.\n";
  Rows rows{{"ALARM AND ITS FAULTS", "FROM", "TO", "DURATION", "SEVERITY", "RECORDS", "ENDING"}};
  const auto ended_at = [](const auto& one) { return one.ended ? std::optional(one.ended_at) : std::nullopt; };
  const Moment now = std::time(nullptr);
  for (const StoredAlarm& alarm : alarms) {
    std::vector<std::string>& row = rows.emplace_back();
    row.push_back(numbered("alarm", alarm.number) + std::string(kGap) + printable(alarm.dn));
    add_times(row, alarm.created, ended_at(alarm), now);
    row.insert(row.end(), {severity_text(alarm), "", ending_text(alarm)});
    for (const StoredFault& step : alarm.steps) {
      std::vector<std::string>& line = rows.emplace_back();
      line.push_back(std::string(kGap) + code_text(step.code) + std::string(kGap) + printable(step.name));
      add_times(line, step.since, ended_at(step), now);
      line.insert(line.end(), {std::string(severity_word(step.severity)), std::to_string(step.count),
                               step_ending_text(alarm, step)});
    }
    for (const AlarmAction& action : alarm.actions) {
      rows.push_back({std::string(kGap) + change_text(action), format_moment(action.at), "", "", "", "",
                      person_text(action.action ? &*action.action : nullptr)});
    }
  }
  constexpr std::size_t kName = 0;
  constexpr std::size_t kTo = 2;
  constexpr std::size_t kSeverity = 4;
  constexpr std::size_t kRecords = 5;
  constexpr std::size_t kEnding = 6;
  return aligned(rows,
                 {.room = room,
                  .giving_way = {{kName, 28}, {kEnding, 12}, {kRecords, 0}, {kTo, 0}, {kSeverity, 11}, {kName, 12}}});
}

Status no_history(const HistoryOptions& options) {
  complain("The ledger has no history of " + options.fault_dn + ".");
  return kUnknown;
}

Status history_as_rfc8632(const HistoryOptions& options, LedgerReader& reader, StandardOutput& output) {
  const ToldAlarms told = reader.tell_history(options.fault_dn, options.limit);
  if (told.alarms.empty() && !options.fault_dn.empty()) return no_history(options);
  output.write(rfc8632_answer(told, options.ledger));
  output.flush();
  return tell_left_out(reader) ? kDamaged : kDone;
}

Status history(const HistoryOptions& options, StandardOutput& output) {
  LedgerReader reader(options.ledger);
  if (options.rfc8632) return history_as_rfc8632(options, reader, output);
  const auto alarms = reader.history(options.fault_dn, options.limit);
  if (alarms.empty() && !options.fault_dn.empty()) return no_history(options);
  if (options.json) {
    const std::string ledger_id = reader.ledger_id();
    for (const StoredAlarm& alarm : alarms) output.write(alarm_form(alarm, ledger_id, reader.profile()).line());
  } else {
    output.write(as_text(alarms, output.width()));
  }
  output.flush();
  return tell_left_out(reader) ? kDamaged : kDone;
}

}  // namespace

Command history_command(CLI::App& program) {
  const auto options = std::make_shared<HistoryOptions>();
  CLI::App* const app = program.add_subcommand("history", "List the alarms of the ledger, from raise to end");
  app->footer(
      "Example:\n  polaiga history sys/rack-unit-1/psu-1/fault-F0383\n\n"
      "Each alarm is a line with its number and object. Indented below it are its faults:\n"
      "the levels that it went through. RECORDS is how many records raised or refreshed\n"
      "the fault. The duration of what is active is counted until now.\n\n"
      "--rfc8632 tells the same alarms, as docs/alarms.md describes.\n\n"
      "Exit status: 0 when all is well, 1 when the ledger does not know FAULT_DN or\n"
      "damaged rows were left out, 2 when the ledger cannot be read.");
  add_name(*app, "FAULT_DN", options->fault_dn, "Only alarms that this fault took part in");
  add_ledger_option(*app, options->ledger);
  CLI::Option* const json = add_switch(*app, "--json", "Print JSON Lines, one alarm a line", options->json);
  add_rfc8632_option(*app, json, options->rfc8632);
  add_number_option(*app, {"--limit", "N", "At most the last N alarms; 0 lists all (default 100)"},
                    {.least = 0, .most = kMostRows, .example = 100},
                    [options](std::int64_t number) { options->limit = number; });
  return {app, [options](StandardOutput& output) { return history(*options, output); }};
}

}  // namespace polaiga::engine
