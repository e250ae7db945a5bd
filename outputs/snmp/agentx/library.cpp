#include "agentx/library.h"

#include <net-snmp/net-snmp-config.h>
// The library's headers need the first one first.
#include <net-snmp/net-snmp-includes.h>

#include <initializer_list>
#include <string_view>
#include <utility>

namespace polaiga::snmp {
namespace {

std::function<void(const std::string&)>& teller() {
  static std::function<void(const std::string&)> tell;
  return tell;
}

int pass_on(int /*major*/, int /*minor*/, void* message, void* /*unused*/) {
  const auto* const said = static_cast<const snmp_log_message*>(message);
  std::string_view text = said->msg;
  while (text.ends_with('\n')) text.remove_suffix(1);
  if (!text.empty() && teller()) teller()("libsnmp: " + std::string(text));
  return 0;
}

}  // namespace

void prepare_library(std::function<void(const std::string&)> tell) {
  teller() = std::move(tell);
  for (const int never :
       {NETSNMP_DS_LIB_DONT_READ_CONFIGS, NETSNMP_DS_LIB_DONT_PERSIST_STATE, NETSNMP_DS_LIB_DISABLE_CONFIG_LOAD,
        NETSNMP_DS_LIB_DISABLE_PERSISTENT_LOAD, NETSNMP_DS_LIB_DISABLE_PERSISTENT_SAVE}) {
    netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, never, 1);
  }
  snmp_disable_log();
  netsnmp_register_loghandler(NETSNMP_LOGHANDLER_CALLBACK, LOG_DEBUG);
  snmp_register_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_LOGGING, pass_on, nullptr);
}

}  // namespace polaiga::snmp
