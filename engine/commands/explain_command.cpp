#include "commands/explain_command.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "base/messages.h"
#include "commands/explain_forms.h"
#include "commands/options.h"
#include "filter/alarm_profile_file.h"
#include "filter/host_tables.h"
#include "ledger/reader.h"

namespace polaiga::engine {
namespace {

struct ExplainOptions {
  std::string ledger;
  std::string fault_dn;
  bool json = false;
  std::string tables;  // directory; empty: those of the ledger
};

Status explain(const ExplainOptions& options, StandardOutput& output) {
  LedgerReader reader(options.ledger);
  const auto found = reader.explain(options.fault_dn);
  if (!found) {
    complain("The ledger has no history of " + options.fault_dn + ".");
    return kUnknown;
  }
  if (options.tables.empty()) {
    install_host_tables(found->tables, options.ledger);
  } else {
    load_host_tables(options.tables);
  }
  const AlarmProfile profile = options.tables.empty() ? reader.profile() : read_alarm_profile(options.tables);
  StandardOutput::divert(Others::kDiscarded);
  const auto rule = rule_of(found->raise);
  const std::string ledger_id = reader.ledger_id();
  output.write(options.json ? explain_as_json(*found, rule, ledger_id, profile)
                            : explain_as_text(*found, rule, ledger_id, output.width(), profile));
  output.flush();
  return tell_left_out(reader) ? kDamaged : kDone;
}

}  // namespace

Command explain_command(CLI::App& program) {
  const auto options = std::make_shared<ExplainOptions>();
  CLI::App* const app = program.add_subcommand("explain", "Tell why a fault was raised, and what would end it");
  app->footer(
      "Example:\n  polaiga explain sys/rack-unit-1/psu-1/fault-F0383\n\n"
      "Tells of the fault that is active or, if it is not, of the last time that it was:\n"
      "its alarm with all faults and the latest changes, who reports it, the event that\n"
      "raised it, the record, and which events would end it by the rules of the filter.\n"
      "Without --tables, the host's sensors are those of the time of the raise, and the\n"
      "site's words are those that the engine uses.\n\n"
      "Exit status: 0 when all is well, 1 when the ledger does not know FAULT_DN or\n"
      "damaged rows were left out, 2 when the ledger or the tables cannot be read.");
  add_name(*app, "FAULT_DN", options->fault_dn, "The fault: the DN of its object, /fault- and the code")->required();
  add_ledger_option(*app, options->ledger);
  add_switch(*app, "--json", "Print a JSON object", options->json);
  add_tables_option(*app, options->tables);
  return {app, [options](StandardOutput& output) { return explain(*options, output); }};
}

}  // namespace polaiga::engine
