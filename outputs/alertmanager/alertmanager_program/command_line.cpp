#include "alertmanager_program/command_line.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <set>
#include <stdexcept>
#include <vector>

#include "base/printable.h"
#include "base/status.h"
#include "control/control_client.h"
#include "model/moment.h"

namespace polaiga::alertmanager {
namespace {

// The engine knows at most 32 publishers.
constexpr std::size_t kMostPeers = 16;
constexpr engine::Moment kLongestResend = 3600;

constexpr const char* kVersion = "polaiga-alertmanager " POLAIGA_VERSION;

std::string host_name() {
  std::array<char, 256> name{};
  if (::gethostname(name.data(), name.size() - 1) != 0 || name[0] == '\0') return "localhost";
  return name.data();
}

// What is given as text, and read afterwards.
struct Texts {
  std::vector<std::string> urls;
  std::vector<std::string> webhooks;
  std::string page;
  std::string resend = "1m";
};

// Neither a URL nor what is wrong with it is repeated, since it may hold a password.
Address address(const char* option, const std::string& text, Query query) {
  try {
    return parse_address(text, query);
  } catch (const std::runtime_error& error) {
    throw CLI::ValidationError(option, error.what());
  }
}

void read_addresses(const Texts& texts, Options& options) {
  std::set<std::string> known;
  const auto add = [&](const char* option, const std::string& text, Query query, std::vector<Address>& to) {
    to.push_back(address(option, text, query));
    if (!known.insert(option + to.back().url).second) {
      throw CLI::ValidationError(option, to.back().peer + " is given twice");
    }
  };
  for (const std::string& one : texts.urls) add("--url", one, Query::kRefused, options.peers.alertmanagers);
  for (const std::string& one : texts.webhooks) add("--webhook", one, Query::kAllowed, options.peers.webhooks);
  if (known.empty()) throw CLI::ValidationError("give an Alertmanager with --url, or a webhook with --webhook");
  if (known.size() > kMostPeers) {
    throw CLI::ValidationError("there are more than " + std::to_string(kMostPeers) + " URLs; start a second program");
  }
  if (!texts.page.empty()) options.identity.page_url = address("--page-url", texts.page, Query::kRefused).url;
}

void check_name(const char* option, const std::string& name) {
  if (const std::string why = why_no_name(name); !why.empty()) throw CLI::ValidationError(option, why);
}

// What no option says by itself.
void finish(const Texts& texts, Options& options, bool has_site) {
  read_addresses(texts, options);
  check_name("--controller", options.identity.controller);
  if (has_site) check_name("--site", options.identity.site);
  const auto resend = engine::parse_age(texts.resend);
  if (!resend || *resend < 1 || *resend > kLongestResend) {
    throw CLI::ValidationError("--resend", "give a time from 1s to 1h, as 30s or 1m");
  }
  options.resend = std::chrono::seconds(*resend);
  if (options.files.certificate.empty() != options.files.key.empty()) {
    throw CLI::ValidationError("--tls-cert and --tls-key need each other");
  }
}

}  // namespace

std::optional<Options> read_command_line(int argc, const char* const* argv, int& status) {
  CLI::App program("Tells Alertmanagers and webhooks what the ledger says of alarms", "polaiga-alertmanager");
  program.set_version_flag("--version", kVersion);
  Options options;
  options.control = engine::kControlSocket;
  options.identity.controller = host_name();
  Texts texts;
  program.add_option("--ledger", options.ledger, "File of the ledger")
      ->envname("POLAIGA_LEDGER")
      ->capture_default_str();
  program.add_option("--control", options.control, "Control socket of the engine")
      ->envname("POLAIGA_CONTROL")
      ->capture_default_str();
  program.add_option("--url", texts.urls, "Alertmanager, as http://127.0.0.1:9093. May be given repeatedly")
      ->allow_extra_args(false);
  program
      .add_option("--webhook", texts.webhooks,
                  "Address that is told every change as a CloudEvent. May be given repeatedly")
      ->allow_extra_args(false);
  program.add_option("--controller", options.identity.controller, "Name of the server, for labels and events")
      ->capture_default_str();
  auto* const site = program.add_option("--site", options.identity.site, "Name of the site, for labels and events");
  program.add_option("--page-url", texts.page, "Address of the page that shows this ledger, for links to alarms");
  program.add_option("--resend", texts.resend, "Time after which active alerts are told again, from 1s to 1h")
      ->capture_default_str();
  program.add_option(
      "--tls-ca", options.files.authorities,
      "File with the certificates of those who may sign the peers' certificates, in place of the system's");
  program.add_option("--tls-cert", options.files.certificate, "File with the certificate of this program");
  program.add_option("--tls-key", options.files.key, "File with its key, which nobody else may read");
  program.add_option("--credentials-file", options.files.credentials,
                     "File with users, passwords and tokens for the peers, which nobody else may read");
  program.footer(
      "SIGHUP makes it read the files for credentials and certificates anew.\n"
      "Exit status: 0 it was asked to end; 1 it could not go on and may be started again; 2 the options or the files "
      "are wrong.");
  try {
    program.parse(argc, argv);
    finish(texts, options, site->count() > 0);
    return options;
  } catch (const CLI::ParseError& error) {
    status = program.exit(error) == 0 ? engine::kDone : engine::kFailed;
    return std::nullopt;
  }
}

}  // namespace polaiga::alertmanager
