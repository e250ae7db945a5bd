#include "commands/outputs_command.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <ctime>
#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

#include "base/printable.h"
#include "commands/action_options.h"
#include "commands/options.h"
#include "control/control_client.h"
#include "control/output_status.h"
#include "report/shown.h"
#include "report/table.h"

namespace polaiga::engine {
namespace {

constexpr std::chrono::seconds kAnswerWithin{5};

struct OutputsOptions {
  std::string control;
  std::string forget;  // empty: they are listed
  bool json = false;
};

[[noreturn]] void reject_answer(const std::string& control, const std::string& answer) {
  throw std::runtime_error(printable(control) + ": the engine's answer is not understood: " + in_quotes(answer));
}

std::vector<OutputStatus> ask_outputs(const std::string& control) {
  const std::string answer = ControlClient(control, kAnswerWithin).ask("{\"do\":\"status\"}\n");
  auto outputs = outputs_in(answer);
  if (!outputs) reject_answer(control, answer);
  return std::move(*outputs);
}

Status forget(const OutputsOptions& options, StandardOutput& output) {
  const std::string request = JsonObject().add("do", "forget").add("publisher", options.forget).line();
  const std::string answer = ControlClient(options.control, kAnswerWithin).ask(request);
  const auto complaint = complaint_in(answer);
  if (!complaint) reject_answer(options.control, answer);
  if (!complaint->empty()) throw std::runtime_error(printable(*complaint));
  output.write("The output " + in_quotes(options.forget) + " is forgotten. Retention waits for it no longer.\n");
  output.flush();
  return kDone;
}

// The clock may have jumped since.
std::string ago(Moment then, Moment now) { return duration_text(std::max<Moment>(now - then, 0)) + " ago"; }

std::string error_text(const OutputStatus& output, Moment now) {
  if (!output.last_error) return "-";
  const std::string what = printable(*output.last_error);
  return output.last_error_at ? ago(*output.last_error_at, now) + ": " + what : what;
}

std::string count_text(const std::optional<std::uint64_t>& count) { return count ? std::to_string(*count) : "-"; }

std::string outputs_text(const std::vector<OutputStatus>& outputs, Moment now, Room room) {
  if (outputs.empty()) return "No output has told the engine how far it has come.\n";
  Rows rows{{"OUTPUT", "STATE", "BEHIND", "THROUGH", "LAST SUCCESS", "LOST", "CUT", "PEER", "LAST ERROR"}};
  for (const OutputStatus& one : outputs) {
    rows.push_back({printable(one.publisher), state_text(one), std::to_string(one.behind), std::to_string(one.through),
                    one.last_success ? ago(*one.last_success, now) : "-", count_text(one.lost), count_text(one.cut),
                    one.peer ? printable(*one.peer) : "-", error_text(one, now)});
  }
  constexpr std::size_t kState = 1;
  constexpr std::size_t kThrough = 3;
  constexpr std::size_t kLastSuccess = 4;
  constexpr std::size_t kCut = 6;
  constexpr std::size_t kPeer = 7;
  constexpr std::size_t kLastError = 8;
  return aligned(rows, {.room = room,
                        .giving_way = {{kLastError, 16},
                                       {kPeer, 16},
                                       {kThrough, 0},
                                       {kCut, 0},
                                       {kLastError, 4},
                                       {kPeer, 4},
                                       {kState, 13},
                                       {kLastSuccess, 0}}});
}

Status outputs(const OutputsOptions& options, StandardOutput& output) {
  if (!options.forget.empty()) return forget(options, output);
  const std::vector<OutputStatus> found = ask_outputs(options.control);
  if (options.json) {
    for (const OutputStatus& one : found) output.write(output_form(one).line());
  } else {
    output.write(outputs_text(found, std::time(nullptr), output.width()));
  }
  output.flush();
  return kDone;
}

}  // namespace

Command outputs_command(CLI::App& program) {
  const auto options = std::make_shared<OutputsOptions>();
  CLI::App* const app =
      program.add_subcommand("outputs", "List the outputs: whom they tell of alarms, and how it goes");
  app->footer(
      "An output is a program that tells other systems of alarms, such as polaiga-snmp. It says to the engine\n"
      "how far it has come. One that was not heard for over 30 s is silent; look whether it runs. One that is\n"
      "not used any more is to be forgotten, since retention keeps changes for it. That is for root.\n\n"
      "Exit status: 0 when the engine has answered, 2 when it cannot be reached or refuses.");
  add_control_option(*app, options->control);
  CLI::Option* const json = add_switch(*app, "--json", "Print JSON Lines, one output a line", options->json);
  add_name_option(*app, {"--forget", "NAME", "Forget how far this output has come"}, "snmp", options->forget)
      ->excludes(json);
  return {app, [options](StandardOutput& output) { return outputs(*options, output); }};
}

}  // namespace polaiga::engine
