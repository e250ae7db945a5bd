#include "alertmanager_program/command_line.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <array>
#include <set>
#include <string>
#include <vector>

#include "alertmanager_program/peer_options.h"
#include "base/status.h"
#include "control/control_client.h"

namespace polaiga::alertmanager {
namespace {

// The engine knows at most 32 publishers.
constexpr std::size_t kMostPeers = 16;

constexpr const char* kVersion = "polaiga-alertmanager " POLAIGA_VERSION;

std::string host_name() {
  std::array<char, 256> name{};
  if (::gethostname(name.data(), name.size() - 1) != 0 || name[0] == '\0') return "localhost";
  return name.data();
}

// What is given as text, and read afterwards.
struct Texts {
  PeerTexts peers;
  std::vector<std::string> webhooks;
};

void read_addresses(const Texts& texts, Options& options) {
  std::set<std::string> known;
  const auto add = [&](const char* option, const std::string& text, Query query, std::vector<Address>& to) {
    to.push_back(read_address(option, text, query));
    if (!known.insert(option + to.back().url).second) {
      throw CLI::ValidationError(option, to.back().peer + " is given twice");
    }
  };
  for (const std::string& one : texts.peers.urls) add("--url", one, Query::kRefused, options.peers.alertmanagers);
  for (const std::string& one : texts.webhooks) add("--webhook", one, Query::kAllowed, options.peers.webhooks);
  if (known.empty()) throw CLI::ValidationError("give an Alertmanager with --url, or a webhook with --webhook");
  if (known.size() > kMostPeers) {
    throw CLI::ValidationError("there are more than " + std::to_string(kMostPeers) + " URLs; start a second program");
  }
  options.identity.page_url = read_page_url(texts.peers);
}

void check_name(const char* option, const std::string& name) {
  if (const std::string why = why_no_name(name); !why.empty()) throw CLI::ValidationError(option, why);
}

// What no option says by itself.
void finish(const Texts& texts, Options& options, bool has_site) {
  read_addresses(texts, options);
  check_name("--controller", options.identity.controller);
  if (has_site) check_name("--site", options.identity.site);
  options.resend = read_resend(texts.peers);
  check_access(options.files);
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
  add_peer_options(program, texts.peers, options.files);
  program
      .add_option("--webhook", texts.webhooks,
                  "Address that is told every change as a CloudEvent. May be given repeatedly")
      ->allow_extra_args(false);
  program.add_option("--controller", options.identity.controller, "Name of the server, for labels and events")
      ->capture_default_str();
  auto* const site = program.add_option("--site", options.identity.site, "Name of the site, for labels and events");
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
