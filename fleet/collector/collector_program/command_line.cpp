#include "collector_program/command_line.h"

#include <CLI/CLI.hpp>

#include "base/quantities.h"
#include "base/status.h"

namespace polaiga::fleet {
namespace {

using std::chrono::duration_cast;
using std::chrono::hours;
using std::chrono::seconds;

constexpr int kMostInboxes = 256;
constexpr int kMostNodes = 16;

std::string check_broker(const std::string& text) {
  if (parse_broker_url(text)) return {};
  // What stands before an '@' may be a password, which is not to be shown.
  const std::string what = text.find('@') == std::string::npos ? "'" + text + "'" : "what stands there";
  return what +
         " is no broker; give amqp://HOST[:PORT][/VHOST] or amqps://..., and user and password by --user and "
         "--password-file";
}

// A whole number with s, m, h or d, between two of them.
CLI::Validator time_between(const std::string& least, const std::string& most) {
  return {[least, most](const std::string& text) -> std::string {
            const auto time = engine::parse_age(text);
            if (time && *time >= *engine::parse_age(least) && *time <= *engine::parse_age(most)) return {};
            return "'" + text + "' must be a whole number with s, m, h or d, from " + least + " to " + most;
          },
          "TIME"};
}

seconds time_of(const std::string& text) { return seconds(*engine::parse_age(text)); }

struct Texts {
  std::vector<std::string> brokers;
  std::string silent_after = "100s";
  std::string group_window = "60s";
  std::string keep_changes = "30d";
  std::string keep_alarms = "90d";
};

void add_broker_options(CLI::App& program, CollectorOptions& options, Texts& texts) {
  BrokerSettings& broker = options.collector.broker;
  program
      .add_option("--amqp", texts.brokers,
                  "Broker: amqp://HOST[:PORT][/VHOST] or amqps://...; the nodes of a cluster one after the other")
      ->check(check_broker)
      ->expected(1, kMostNodes)
      ->envname("POLAIGA_AMQP");
  auto* const user = program.add_option("--user", broker.user, "User of the broker");
  program
      .add_option("--password-file", broker.password_file,
                  "File with the user's password in its first line, which nobody else may read")
      ->needs(user);
  user->needs(program.get_option("--password-file"));
  program.add_option("--tls-ca", broker.tls_ca,
                     "File with the certificates of who vouches for the broker; amqps needs it");
  auto* const certificate = program.add_option("--tls-cert", broker.tls_cert,
                                               "File with the certificate of this client, who then needs no --user");
  auto* const key =
      program.add_option("--tls-key", broker.tls_key, "File with its private key, which nobody else may read")
          ->needs(certificate);
  certificate->needs(key);
}

void add_collecting_options(CLI::App& program, CollectorOptions& options, Texts& texts) {
  program.add_option("--queues", options.collector.inboxes, "Inboxes, each of which one collector reads at a time")
      ->check(CLI::Range(1, kMostInboxes))
      ->capture_default_str();
  program
      .add_option("--silent-after", texts.silent_after,
                  "A controller that was not heard for so long is silent, which is an alarm")
      ->check(time_between("10s", "1d"))
      ->capture_default_str();
  program
      .add_option("--group-window", texts.group_window,
                  "Alarms of one fault that begin within this time on several controllers of a site are one group")
      ->check(time_between("1s", "1h"))
      ->capture_default_str();
  program.add_option("--keep-changes", texts.keep_changes, "How long changes are kept")
      ->check(time_between("1d", "3650d"))
      ->capture_default_str();
  program.add_option("--keep-alarms", texts.keep_alarms, "How long alarms are kept that are over")
      ->check(time_between("1d", "3650d"))
      ->capture_default_str();
}

// What one option cannot say alone; empty: nothing is wrong.
std::string check(const CollectorOptions& options) {
  if (options.is_migration) return {};
  const BrokerSettings& broker = options.collector.broker;
  if (broker.nodes.empty()) return "--amqp is required: the broker from which messages are taken";
  for (const BrokerNode& node : broker.nodes) {
    if (node.is_encrypted && broker.tls_ca.empty()) return "amqps:// needs --tls-ca, by which the broker is known";
  }
  return {};
}

}  // namespace

std::optional<CollectorOptions> read_command_line(int argc, const char* const* argv, int& status) {
  CLI::App program("Takes the changes of many controllers from an AMQP broker into a PostgreSQL database",
                   "polaiga-collector");
  program.set_version_flag("--version", "polaiga-collector " POLAIGA_VERSION);
  CollectorOptions options;
  Texts texts;
  program
      .add_option("--database", options.database,
                  "Database: postgresql://[USER@]HOST[:PORT][,...]/NAME[?...]. Its password is in the file that "
                  "PGPASSFILE or passfile= names")
      ->required()
      ->envname("POLAIGA_DATABASE");
  add_broker_options(program, options, texts);
  add_collecting_options(program, options, texts);
  const CLI::App* const migrate =
      program.add_subcommand("migrate", "Makes the schema in the database, or brings it up to date")->fallthrough();
  program.footer(
      "Exit status: 0 it was asked to end; 1 it could not go on, and may be started again; 2 wrong usage, or something "
      "that does not mend by itself.");
  try {
    program.parse(argc, argv);
    options.is_migration = migrate->parsed();
    for (const std::string& one : texts.brokers) options.collector.broker.nodes.push_back(*parse_broker_url(one));
    const std::string wrong = check(options);
    if (!wrong.empty()) throw CLI::ValidationError(wrong);
  } catch (const CLI::ParseError& error) {
    status = program.exit(error) == 0 ? engine::kDone : engine::kFailed;
    return std::nullopt;
  }
  options.collector.silent_after = time_of(texts.silent_after);
  options.collector.group_window = time_of(texts.group_window);
  options.collector.keep_changes = duration_cast<hours>(time_of(texts.keep_changes));
  options.collector.keep_alarms = duration_cast<hours>(time_of(texts.keep_alarms));
  return options;
}

}  // namespace polaiga::fleet
