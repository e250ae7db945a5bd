#include "agent/command_line.h"

#include <CLI/CLI.hpp>

#include "base/status.h"
#include "control/control_client.h"

namespace polaiga::snmp {
namespace {

constexpr std::size_t kMostPathBytes = 107;  // of a Unix socket

std::string check_master(const std::string& address) {
  constexpr std::string_view kUnix = "unix:";
  if (!address.starts_with(kUnix) || address.size() <= kUnix.size()) {
    return "the master agent is named by its Unix socket, as unix:/var/agentx/master";
  }
  if (address.size() - kUnix.size() > kMostPathBytes) return "the path of a Unix socket has at most 107 bytes";
  return {};
}

}  // namespace

std::optional<Options> read_command_line(int argc, const char* const* argv, int& status) {
  CLI::App program("Tells managers by SNMP what a ledger says, as a subagent of snmpd", "polaiga-snmp");
  program.set_version_flag("--version", "polaiga-snmp " POLAIGA_VERSION);
  Options options;
  options.control = engine::kControlSocket;
  program.add_option("--ledger", options.ledger, "Ledger of the engine")->envname("POLAIGA_LEDGER")->required();
  program
      .add_option("--control", options.control,
                  "Control socket of the engine, which is told how far the program has come")
      ->envname("POLAIGA_CONTROL")
      ->capture_default_str();
  program.add_option("--agentx", options.agentx, "Socket of the master agent, snmpd: unix:PATH")
      ->check(check_master)
      ->capture_default_str();
  program
      .add_option("--enterprise", options.enterprise,
                  "Enterprise number under which POLAIGA-MIB stands; the module has to have the same one")
      ->check(CLI::Range(1U, 4294967295U))
      ->capture_default_str();
  program
      .add_option("--heartbeat", options.heartbeat,
                  "Seconds from one notification that the program is there to the next; 0: none are sent")
      ->check(CLI::Range(0, 86400))
      ->capture_default_str();
  program.footer(
      "Exit status: 0 the program was asked to end; 2 the options are wrong, or it cannot go on and another start "
      "would not help.");
  try {
    program.parse(argc, argv);
    return options;
  } catch (const CLI::ParseError& error) {
    status = program.exit(error) == 0 ? engine::kDone : engine::kFailed;
    return std::nullopt;
  }
}

}  // namespace polaiga::snmp
