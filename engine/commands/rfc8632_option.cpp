#include "commands/rfc8632_option.h"

#include "base/standard_output.h"
#include "commands/options.h"
#include "explore/alarm_types.h"
#include "filter/host_tables.h"
#include "report/rfc8632.h"

namespace polaiga::engine {

CLI::Option* add_rfc8632_option(CLI::App& command, CLI::Option* json, bool& on) {
  return add_switch(command, "--rfc8632", "Print a JSON document of ietf-alarms (RFC 8632)", on)->excludes(json);
}

std::string rfc8632_answer(const ToldAlarms& told, const std::string& ledger) {
  if (told.tables) {
    install_host_tables(*told.tables, ledger);
  } else {
    load_host_tables(tables_directory(""));
  }
  StandardOutput::divert(Others::kDiscarded);
  const auto filters = find_faults(Thoroughness::kOnlyFaults);
  return rfc8632_document(told, alarm_types(filters));
}

}  // namespace polaiga::engine
