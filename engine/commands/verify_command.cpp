#include "commands/verify_command.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "base/printable.h"
#include "commands/options.h"
#include "ledger/verification.h"
#include "report/json_object.h"

namespace polaiga::engine {
namespace {

struct VerifyOptions {
  std::string ledger;
  bool json = false;
};

std::string text_form(const std::string& path, const Verification& found) {
  std::string text = "Ledger " + found.ledger_id + " in " + printable(path) + ": checked " +
                     std::to_string(found.inputs) + " inputs, " + std::to_string(found.changes) + " changes and " +
                     std::to_string(found.rows) + " rows.\n";
  for (const std::string& lost : found.lost) text += "Known: " + printable(lost) + ".\n";
  for (const Finding& finding : found.findings) text += "Damaged: " + printable(finding.what) + ".\n";
  if (found.found > found.findings.size()) {
    text += "And " + std::to_string(found.found - found.findings.size()) + " more.\n";
  }
  return text + (found.found == 0 ? "The ledger is sound.\n" : "The ledger is damaged.\n");
}

std::string json_form(const Verification& found) {
  JsonArray findings;
  for (const Finding& finding : found.findings) {
    JsonObject object;
    object.add("what", finding.what);
    if (finding.first > 0) object.add("first_seq", finding.first).add("last_seq", finding.last);
    findings.add(object);
  }
  JsonArray lost;
  for (const std::string& one : found.lost) lost.add(one);
  return JsonObject()
      .add("ledger_id", found.ledger_id)
      .add("sound", found.found == 0)
      .add("inputs", found.inputs)
      .add("changes", found.changes)
      .add("rows", found.rows)
      .add("found", found.found)
      .add("findings", findings)
      .add("lost", lost)
      .line();
}

Status verify(const VerifyOptions& options, StandardOutput& output) {
  const Verification found = verify_ledger(options.ledger);
  output.write(options.json ? json_form(found) : text_form(options.ledger, found));
  output.flush();
  return found.found == 0 ? kDone : kDamaged;
}

}  // namespace

Command verify_command(CLI::App& program) {
  const auto options = std::make_shared<VerifyOptions>();
  CLI::App* const app = program.add_subcommand("verify", "Check that the ledger is what its engine wrote");
  app->footer(
      "Example:\n  polaiga verify\n\n"
      "Checks the checksum of every row, the chain of the batches' digests, the numbers of\n"
      "inputs and changes, the structure of the file, whether what is active is what the\n"
      "changes say, and that the ledger has all that was acknowledged. It names the inputs\n"
      "that damage touches. An engine may use the ledger meanwhile; nothing is changed.\n\n"
      "Exit status: 0 when the ledger is sound, 1 when it is damaged, 2 when it cannot be\n"
      "checked.");
  add_ledger_option(*app, options->ledger);
  add_switch(*app, "--json", "Print a JSON object", options->json);
  return {app, [options](StandardOutput& output) { return verify(*options, output); }};
}

}  // namespace polaiga::engine
