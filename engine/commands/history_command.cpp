#include "commands/history_command.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <ctime>
#include <memory>

#include "base/printable.h"
#include "ledger/ledger_query.h"
#include "report/json_text.h"
#include "report/shown.h"

namespace polaiga::engine {
namespace {

struct HistoryOptions {
  std::string ledger;
  std::string fault_dn;  // empty: of all faults
  bool json = false;
  std::int64_t limit = 100;
};

// In its two largest units, as in "2h 5m". The clocks of senders may make it negative.
std::string duration_text(Moment seconds) {
  struct Unit {
    Moment seconds;
    const char* name;
  };
  constexpr Unit kUnits[] = {{86'400, "d"}, {3'600, "h"}, {60, "m"}, {1, "s"}};
  if (seconds < 0) return "-" + duration_text(-seconds);
  std::string text;
  int shown = 0;
  for (const Unit& unit : kUnits) {
    const Moment count = seconds / unit.seconds;
    seconds %= unit.seconds;
    if (shown > 0) ++shown;
    if (shown > 2) break;
    if (count == 0) continue;
    text += (text.empty() ? "" : " ") + std::to_string(count) + unit.name;
    shown = std::max(shown, 1);
  }
  return text.empty() ? "0s" : text;
}

std::string ending_text(const Episode& episode) {
  if (episode.ending != "superseded") return episode.ending;
  return "superseded by " + printable(episode.end_code);
}

std::string as_text(const std::vector<Episode>& episodes) {
  if (episodes.empty()) return "No fault was ever raised.\n";
  std::vector<std::vector<std::string>> rows{
      {"RAISED", "ENDED", "DURATION", "FAULT", "RAISED BY", "ENDED BY", "REPORTS", "ENDING"}};
  const Moment now = std::time(nullptr);
  for (const Episode& one : episodes) {
    rows.push_back({format_moment(one.raised_at), one.ended ? format_moment(one.ended_at) : "active",
                    duration_text((one.ended ? one.ended_at : now) - one.raised_at), printable(one.fault_dn),
                    std::to_string(one.raised), one.ended ? std::to_string(*one.ended) : "",
                    std::to_string(one.reports), ending_text(one)});
  }
  return aligned(rows);
}

std::string as_json(const Episode& episode) {
  nlohmann::ordered_json object = {{"fault_dn", episode.fault_dn},
                                   {"active", !episode.ended},
                                   {"raised", format_moment(episode.raised_at)},
                                   {"raised_seq", episode.raised},
                                   {"updated", format_moment(episode.updated_at)},
                                   {"last_seq", episode.last},
                                   {"reports", episode.reports}};
  if (episode.ended) {
    object["ended"] = format_moment(episode.ended_at);
    object["ended_seq"] = *episode.ended;
    object["ending"] = episode.ending;
    if (episode.ending == "superseded") object["superseded_by"] = episode.end_code;
    object["seconds"] = episode.ended_at - episode.raised_at;
  }
  return json_text(object) + "\n";
}

Status history(const HistoryOptions& options, StandardOutput& output) {
  const auto episodes = LedgerReader(options.ledger).history(options.fault_dn, options.limit);
  if (episodes.empty() && !options.fault_dn.empty()) {
    std::fprintf(stderr, "No history of %s.\n", printable(options.fault_dn).c_str());
    return kUnknown;
  }
  if (options.json) {
    for (const Episode& one : episodes) output.write(as_json(one));
  } else {
    output.write(as_text(episodes));
  }
  output.flush();
  return kDone;
}

}  // namespace

Command history_command(CLI::App& program) {
  const auto options = std::make_shared<HistoryOptions>();
  CLI::App* const app = program.add_subcommand("history", "List when faults were raised and how they ended");
  app->footer(
      "Example:\n  polaiga history sys/rack-unit-1/psu-1/fault-F0383\n\n"
      "RAISED BY and ENDED BY are the numbers of the events; REPORTS is how many records\n"
      "raised or refreshed the fault. What is active lasts until now.\n\n"
      "Exit status: 0 when all is well, 1 when FAULT_DN never was, 2 when the ledger\n"
      "cannot be read.");
  app->add_option("FAULT_DN", options->fault_dn, "Of this fault alone");
  add_ledger_option(*app, options->ledger);
  app->add_flag("--json", options->json, "Print JSON Lines, an episode each");
  app->add_option("--limit", options->limit, "At most the last N; 0 is all (default 100)")
      ->check(CLI::NonNegativeNumber)
      ->option_text("N");
  return {app, [options](StandardOutput& output) { return history(*options, output); }};
}

}  // namespace polaiga::engine
