#include "mqtt_program/command_line.h"

#include <CLI/CLI.hpp>
#include <map>

#include "base/status.h"
#include "control/control_client.h"
#include "messages/broker_address.h"
#include "messages/topics.h"

namespace polaiga::mqtt {
namespace {

std::string check_topic_part(const std::string& text) {
  if (is_topic_part(text)) return {};
  return "'" + text + "' is not allowed; a name has 1 to 64 letters, digits, '_', '.' and '-'";
}

std::string check_broker(const std::string& text) {
  if (parse_broker_address(text)) return {};
  return "'" + text + "' is no broker; give HOST, HOST:PORT or [ADDRESS]:PORT";
}

void add_broker_options(CLI::App& program, Options& options, std::string& broker, std::string& protocol) {
  Settings& settings = options.settings;
  program
      .add_option("--broker", broker,
                  "Broker: HOST, HOST:PORT or [ADDRESS]:PORT. The port is 1883 or, with --tls-ca, 8883 without this")
      ->required()
      ->check(check_broker);
  program.add_option("--site", options.origin.site, "Name of the site, a part of all topics")
      ->required()
      ->check(check_topic_part);
  program.add_option("--controller", options.origin.controller, "Name of the controller, a part of all topics")
      ->required()
      ->check(check_topic_part);
  auto* const ca = program.add_option(
      "--tls-ca", settings.tls_ca, "File with the certificates of who vouches for the broker; encrypts the connection");
  auto* const certificate =
      program.add_option("--tls-cert", settings.tls_cert, "File with the certificate of this client")->needs(ca);
  auto* const key =
      program.add_option("--tls-key", settings.tls_key, "File with its private key, which nobody else may read")
          ->needs(certificate);
  certificate->needs(key);
  auto* const user = program.add_option("--user", settings.user, "User of the broker");
  program
      .add_option("--password-file", settings.password_file,
                  "File with the user's password, which nobody else may read")
      ->needs(user);
  program.add_option("--protocol", protocol, "Version of MQTT: any, which tries 5 and then 3.1.1; 5; or 3.1.1")
      ->check(CLI::IsMember({"any", "5", "3.1.1"}))
      ->capture_default_str();
  program.add_flag("--clean-session", settings.is_session_clean,
                   "Let the broker forget the subscriptions when the connection ends");
}

}  // namespace

std::optional<Options> read_command_line(int argc, const char* const* argv, int& status) {
  CLI::App program("Tells an MQTT broker what happens to the alarms of an engine's ledger", "polaiga-mqtt");
  program.set_version_flag("--version", "polaiga-mqtt " POLAIGA_VERSION);
  Options options;
  options.control = engine::kControlSocket;
  std::string broker;
  std::string protocol = "any";
  std::string confirm = "broker";
  program.add_option("--ledger", options.ledger, "Ledger of the engine")->required()->envname("POLAIGA_LEDGER");
  program.add_option("--control", options.control, "Control socket of the engine")
      ->envname("POLAIGA_CONTROL")
      ->capture_default_str();
  add_broker_options(program, options, broker, protocol);
  program
      .add_option(
          "--confirm", confirm,
          "Who confirms that a change has arrived: the broker; or a collector, which says so on the topic 'ack'")
      ->check(CLI::IsMember({"broker", "collector"}))
      ->capture_default_str();
  program.add_flag("--accept-actions", options.accepts_actions,
                   "Do what operators of the fleet ask for on the topic 'action'; the engine must name this program's "
                   "user with --gateway");
  program.add_flag("!--no-list", options.tells_list,
                   "Leave out the list of the active alarms, and remove the one that the broker has");
  program.add_option("--heartbeat", options.heartbeat, "Seconds from one status to the next")
      ->check(CLI::Range(1, 3600))
      ->capture_default_str();
  program.footer(
      "SIGHUP lets it connect anew, with certificates and password read again.\n"
      "Exit status: 0 it was asked to end; 1 it could not go on, and may be started again; 2 wrong usage, or something "
      "that does not mend by itself.");
  try {
    program.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    status = program.exit(error) == 0 ? engine::kDone : engine::kFailed;
    return std::nullopt;
  }
  options.settings.broker = *parse_broker_address(broker);
  options.settings.protocol = protocol == "5"       ? ProtocolChoice::kMqtt5
                              : protocol == "3.1.1" ? ProtocolChoice::kMqtt311
                                                    : ProtocolChoice::kAny;
  options.confirmed_by = confirm == "collector" ? ConfirmedBy::kCollector : ConfirmedBy::kBroker;
  return options;
}

}  // namespace polaiga::mqtt
