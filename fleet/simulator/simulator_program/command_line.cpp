#include "simulator_program/command_line.h"

#include <CLI/CLI.hpp>

#include "base/messages.h"
#include "base/status.h"
#include "simulated/pace.h"

namespace polaiga::fleet {
namespace {

std::string check_broker(const std::string& text) {
  if (mqtt::parse_broker_address(text)) return {};
  return "'" + text + "' is no broker; give HOST, HOST:PORT or [ADDRESS]:PORT";
}

void add_connection_options(CLI::App& program, mqtt::Settings& settings) {
  auto* const user = program.add_option("--user", settings.user, "User of the broker, for all controllers");
  program.add_option("--password-file", settings.password_file, "File with the user's password")->needs(user);
  auto* const ca = program.add_option("--tls-ca", settings.tls_ca, "Certificates of who vouches for the broker");
  auto* const certificate = program.add_option("--tls-cert", settings.tls_cert, "Certificate of all controllers");
  auto* const key = program.add_option("--tls-key", settings.tls_key, "Its private key");
  certificate->needs(ca)->needs(key);
  key->needs(certificate);
}

}  // namespace

std::optional<SimulatorOptions> read_simulator_options(int argc, const char* const* argv, int& status) {
  CLI::App program("Many simulated controllers that tell a broker of their changes", "fleet-sim");
  SimulatorOptions options;
  std::vector<std::string> brokers;
  program.add_option("--broker", brokers, "Broker of MQTT; several are the nodes of one cluster")
      ->required()
      ->check(check_broker);
  program.add_option("--recording", options.recording, "Lines of 'polaiga tail --json', which the controllers tell")
      ->required();
  program.add_option("--controllers", options.controllers, "How many controllers")
      ->check(CLI::Range(1, 100'000))
      ->capture_default_str();
  program.add_option("--sites", options.sites, "How many sites they are at")
      ->check(CLI::Range(1, 10'000))
      ->capture_default_str();
  program.add_option("--rate", options.rate, "Changes a second, of all controllers together")
      ->check(CLI::Range(0.0, 1e6))
      ->capture_default_str();
  program.add_flag("--burst", options.has_bursts,
                   "One in a hundred controllers has 50 changes in a minute, others in each minute");
  program.add_option("--duration", options.duration, "Seconds for which changes are made; 0: until SIGTERM")
      ->check(CLI::Range(0.0, 1e7))
      ->capture_default_str();
  program.add_option("--wait", options.wait, "Seconds, at the end, for acknowledgements that are missing")
      ->check(CLI::Range(0.0, 1e6))
      ->capture_default_str();
  program.add_option("--record", options.record, "File that gets what was made: what a database must have then");
  program.add_option("--connect-rate", options.connect_rate, "Connections a second that are begun")
      ->check(CLI::Range(0.1, 1e5))
      ->capture_default_str();
  program.add_option("--heartbeat", options.heartbeat, "Seconds from one status of a controller to the next")
      ->check(CLI::Range(1, 3600))
      ->capture_default_str();
  program.add_flag("--clean-session", options.is_session_clean,
                   "Let the broker forget the subscriptions of a controller when its connection ends");
  program.add_option("--kept", options.kept, "Changes of a controller that can be replayed")
      ->check(CLI::Range(1, 1'000'000'000))
      ->capture_default_str();
  program.add_option("--seed", options.seed, "What happens at random follows from it; 0: it differs each time")
      ->capture_default_str();
  add_connection_options(program, options.settings);
  program.footer(
      "Changes are made as soon as all controllers have connected once. Each second has a line of JSON with figures.\n"
      "Exit status: 0 all changes were acknowledged; 1 some were not; 2 wrong usage.");
  try {
    program.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    status = program.exit(error) == 0 ? engine::kDone : engine::kFailed;
    return std::nullopt;
  }
  for (const std::string& broker : brokers) options.brokers.push_back(*mqtt::parse_broker_address(broker));
  if (!Pace::is_enough(options.controllers, options.rate, options.has_bursts)) {
    engine::say("--burst needs a greater --rate: one in a hundred controllers alone makes 50 changes a minute");
    status = engine::kFailed;
    return std::nullopt;
  }
  return options;
}

}  // namespace polaiga::fleet
