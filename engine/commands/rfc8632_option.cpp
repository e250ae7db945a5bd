#include "commands/rfc8632_option.h"

#include "base/standard_output.h"
#include "commands/options.h"
#include "explore/alarm_types.h"
#include "filter/host_tables.h"
#include "report/rfc8632.h"

namespace polaiga::engine {
namespace {

AlarmTypes types_with(const std::optional<HostTables>& tables, const std::string& ledger) {
  if (tables) {
    install_host_tables(*tables, ledger);
  } else {
    load_host_tables(tables_directory(""));
  }
  StandardOutput::divert(Others::kDiscarded);
  return alarm_types(find_faults(Thoroughness::kOnlyFaults));
}

}  // namespace

CLI::Option* add_rfc8632_option(CLI::App& command, CLI::Option* json, bool& on) {
  return add_switch(command, "--rfc8632", "Print JSON of the module ietf-alarms (RFC 8632)", on)->excludes(json);
}

std::string rfc8632_answer(const ToldAlarms& told, const std::string& ledger) {
  return rfc8632_document(told, types_with(told.tables, ledger));
}

std::string rfc8632_summary(LedgerReader& reader, const std::string& under, bool& is_damaged) {
  const AlarmTypes types = types_with(reader.latest_tables(), reader.path());
  is_damaged = tell_left_out(reader);
  AlarmSumming summing(types);
  reader.alarm_facts(under, [&summing](const AlarmFact& fact) { summing.add(fact); });
  is_damaged |= tell_left_out(reader);
  return rfc8632_document(summing.summary());
}

}  // namespace polaiga::engine
