#include "alertmanager_program/peer_options.h"

#include <CLI/CLI.hpp>
#include <stdexcept>

#include "model/moment.h"

namespace polaiga::alertmanager {
namespace {

constexpr engine::Moment kLongestResend = 3600;

}  // namespace

void add_peer_options(CLI::App& program, PeerTexts& texts, AccessFiles& files) {
  program.add_option("--url", texts.urls, "Alertmanager, as http://127.0.0.1:9093. May be given repeatedly")
      ->allow_extra_args(false);
  program.add_option("--page-url", texts.page, "Address of the page that shows these alarms, for links to them");
  program.add_option("--resend", texts.resend, "Time after which active alerts are told again, from 1s to 1h")
      ->capture_default_str();
  program.add_option(
      "--tls-ca", files.authorities,
      "File with the certificates of those who may sign the peers' certificates, in place of the system's");
  program.add_option("--tls-cert", files.certificate, "File with the certificate of this program");
  program.add_option("--tls-key", files.key, "File with its key, which nobody else may read");
  program.add_option("--credentials-file", files.credentials,
                     "File with users, passwords and tokens for the peers, which nobody else may read");
}

// Neither a URL nor what is wrong with it is repeated, since it may hold a password.
Address read_address(const char* option, const std::string& text, Query query) {
  try {
    return parse_address(text, query);
  } catch (const std::runtime_error& error) {
    throw CLI::ValidationError(option, error.what());
  }
}

std::string read_page_url(const PeerTexts& texts) {
  return texts.page.empty() ? "" : read_address("--page-url", texts.page, Query::kRefused).url;
}

std::chrono::seconds read_resend(const PeerTexts& texts) {
  const auto resend = engine::parse_age(texts.resend);
  if (!resend || *resend < 1 || *resend > kLongestResend) {
    throw CLI::ValidationError("--resend", "give a time from 1s to 1h, as 30s or 1m");
  }
  return std::chrono::seconds(*resend);
}

void check_access(const AccessFiles& files) {
  if (files.certificate.empty() != files.key.empty()) {
    throw CLI::ValidationError("--tls-cert and --tls-key need each other");
  }
}

}  // namespace polaiga::alertmanager
